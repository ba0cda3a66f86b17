"""A network between two programs that does to them what real ones do."""

import asyncio
import socket
import struct
import threading
import time

PIECE = 16384
BUFFERED = 64  # pieces that are on their way; beyond that the sender has to wait


class Direction:
    """What happens to the bytes of one direction. All may be changed at any time."""

    def __init__(self):
        self.heal()

    def heal(self):
        self.stalled = False  # a black hole: nothing arrives any more
        self.delay = 0.0      # seconds
        self.rate = None      # bytes a second
        self.chance = None    # splits the bytes at random


class Connection:
    """One connection through the proxy."""

    def __init__(self, client, server):
        self.client, self.server = client, server
        self.is_lost = False  # neither bytes nor the end of one side reach the other any more
        self.ends = 0         # of its sides

    def reset(self):
        for each in (self.client, self.server):
            # Without waiting for what has been sent: the other side sees a reset.
            each.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
            each.close()


class FaultProxy:
    """Listens on a port of its own on loopback and passes on what comes to another one. May be
    used from any thread."""

    def __init__(self, target):
        self.target = target
        self.up, self.down = Direction(), Direction()  # from the client; to the client
        self.refuses = False
        self.connections = set()
        self.attempts = 0
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.listener.setblocking(False)
        self.port = self.listener.getsockname()[1]
        self.loop = asyncio.new_event_loop()
        threading.Thread(target=self._run, daemon=True).start()

    def heal(self):
        self.refuses = False
        self.up.heal()
        self.down.heal()

    def reset(self):
        """Ends all connections."""
        self._do(lambda connection: connection.task.cancel())

    def lose(self):
        """What is connected now stays so, and gets nothing through any more; both sides have to
        find out."""
        self._do(lambda connection: setattr(connection, "is_lost", True))

    def _do(self, action):
        async def on_loop():
            for connection in list(self.connections):
                action(connection)
        asyncio.run_coroutine_threadsafe(on_loop(), self.loop).result()

    def _run(self):
        self.loop.run_until_complete(self._accept())

    async def _accept(self):
        while True:
            try:
                client, _ = await self.loop.sock_accept(self.listener)
            except OSError:  # no descriptor is left, or the client has gone already
                await asyncio.sleep(0.1)
                continue
            self.attempts += 1
            client.setblocking(False)
            server = socket.socket()
            server.setblocking(False)
            connection = Connection(client, server)
            self.connections.add(connection)
            connection.task = self.loop.create_task(self._serve(connection))

    async def _serve(self, connection):
        try:
            if self.refuses:
                return
            await self.loop.sock_connect(connection.server, ("127.0.0.1", self.target))
            for each in (connection.client, connection.server):
                each.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            ways = [self._pass(connection, connection.client, connection.server, self.up),
                    self._pass(connection, connection.server, connection.client, self.down)]
            tasks = [self.loop.create_task(way) for way in ways]
            try:
                done, _ = await asyncio.wait(tasks, return_when=asyncio.FIRST_COMPLETED)
                if all(task.exception() is None for task in done):
                    await asyncio.wait(tasks, timeout=5)
            finally:
                for task in tasks:
                    task.cancel()
                await asyncio.gather(*tasks, return_exceptions=True)
        except (OSError, asyncio.CancelledError):
            pass
        finally:
            connection.reset()
            self.connections.discard(connection)

    async def _pass(self, connection, source, sink, direction):
        """Ends with the end of what comes from the source, and fails with a reset of either."""
        pieces = asyncio.Queue(BUFFERED)
        sender = self.loop.create_task(self._send(connection, pieces, sink, direction))
        reader = None
        try:
            while True:
                reader = self.loop.create_task(self._read(connection, source, pieces, direction))
                await asyncio.wait([reader, sender], return_when=asyncio.FIRST_COMPLETED)
                if sender.done():
                    sender.result()
                    return
                if not reader.result():  # the end
                    await sender
                    return
        finally:
            tasks = [task for task in (reader, sender) if task is not None]
            for task in tasks:
                task.cancel()
            # Before the sockets are closed, whose numbers the next connection may get.
            await asyncio.gather(*tasks, return_exceptions=True)

    async def _read(self, connection, source, pieces, direction):
        try:
            data = await self.loop.sock_recv(source, PIECE)
        except OSError:
            # A reset gets through a black hole no more than anything else does.
            if not connection.is_lost and not direction.stalled:
                raise
            data = b""
        connection.ends += not data
        await pieces.put((time.monotonic(), data))
        return bool(data)

    async def _send(self, connection, pieces, sink, direction):
        while True:
            arrived, data = await pieces.get()
            while connection.is_lost or direction.stalled or \
                    time.monotonic() < arrived + direction.delay:
                if connection.is_lost and connection.ends == 2:
                    return
                await asyncio.sleep(0.02)
            if not data:
                sink.shutdown(socket.SHUT_WR)
                return
            while data:
                size = len(data)
                if direction.chance:
                    size = direction.chance.randint(1, min(size, 64))
                if direction.rate:
                    size = min(size, max(1, direction.rate // 20))
                    await asyncio.sleep(size / direction.rate)
                await self.loop.sock_sendall(sink, data[:size])
                data = data[size:]
