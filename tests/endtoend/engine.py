"""An engine of three nodes on loopback, and a network between them, and between them and relays, that a
test can cut."""

import asyncio
import json
import os
import shutil
import signal
import socket
import socketserver
import subprocess
import threading
import time
import urllib.request

from programs import TIMEOUT, check, path, running

USER, PASSWORD = "relay", "sesame"


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Network:
    """The thread in which all links pass on what comes."""

    def __init__(self):
        self.loop = asyncio.new_event_loop()
        threading.Thread(target=self.loop.run_forever, daemon=True).start()

    def do(self, work):
        return asyncio.run_coroutine_threadsafe(work, self.loop).result(TIMEOUT)


class Link:
    """A port that leads to another. A silent one passes on nothing and loses nothing, like a cable that
    is pulled out for a while; one that is shut refuses and ends what there is."""

    def __init__(self, network, target):
        self.network, self.target, self.port = network, target, free_port()
        self.ends = set()
        network.do(self._begin())

    async def _begin(self):
        self.passes = asyncio.Event()
        self.passes.set()
        await self._open()

    async def _open(self):
        self.server = await asyncio.start_server(self._serve, "127.0.0.1", self.port)

    async def _serve(self, reader, writer):
        await self.passes.wait()
        try:
            far_reader, far_writer = await asyncio.open_connection("127.0.0.1", self.target)
        except OSError:
            writer.transport.abort()
            return
        self.ends |= {writer, far_writer}
        await asyncio.gather(self._pump(reader, far_writer), self._pump(far_reader, writer))
        self.ends -= {writer, far_writer}

    async def _pump(self, reader, writer):
        try:
            while data := await reader.read(65536):
                await self.passes.wait()
                writer.write(data)
                await writer.drain()
        except OSError:
            pass
        writer.transport.abort()

    async def _silence(self, is_silent):
        if is_silent:
            self.passes.clear()
        else:
            self.passes.set()

    async def _shut(self):
        self.server.close()
        for end in list(self.ends):
            end.transport.abort()

    def silence(self):
        self.network.do(self._silence(True))

    def shut(self):
        self.network.do(self._shut())

    def heal(self):
        self.network.do(self._silence(False))
        if not self.server.is_serving():
            self.network.do(self._open())


class Node:
    """One node of the engine."""

    def __init__(self, name, configuration, port, monitor):
        self.name, self.port, self.monitor = name, port, monitor
        self.file = path(f"{name}.conf")
        with open(self.file, "w", encoding="ascii") as file:
            file.write(configuration)

    def start(self):
        found = shutil.which("nats-server", path=os.environ["PATH"] + ":/usr/sbin")
        with open(path(f"{self.name}.log"), "ab") as log:
            self.process = subprocess.Popen([found, "-c", self.file], stdout=log, stderr=log)
        running.append(self.process)

    def kill(self):
        self.process.send_signal(signal.SIGKILL)
        self.process.wait()

    def asked(self, question):
        """What the node says of itself; nothing while it does not."""
        try:
            with urllib.request.urlopen(f"http://127.0.0.1:{self.monitor}/{question}", timeout=1) as answer:
                return json.load(answer)
        except (OSError, ValueError):
            return {}

    def rss(self):
        """KiB of memory."""
        with open(f"/proc/{self.process.pid}/status", encoding="ascii") as file:
            return next(int(line.split()[1]) for line in file if line.startswith("VmRSS:"))


def single(name="alone", more="", password=PASSWORD, rights=""):
    """A node by itself, without JetStream unless that is what is added, whose user may do all but this."""
    port, monitor = free_port(), free_port()
    node = Node(name, f"""
listen: "127.0.0.1:{port}"
http: "127.0.0.1:{monitor}"
server_name: {name}
max_payload: 2MB
authorization {{ users: [{{ user: {USER}, password: {password}, permissions: {{ {rights} }} }}] }}
{more}
""", port, monitor)
    node.start()
    return node


def store(name, size="1GB"):
    return f'jetstream {{ store_dir: "{path(name)}", max_memory_store: 16MB, max_file_store: {size} }}'


class Engine:
    """Three nodes. What one has to say to another goes over a link of these two alone, or, without a
    network to cut, straight to it."""

    def __init__(self, network=None, file_size="1GB"):
        self.network = network
        ports = [free_port() for _ in range(3)]
        clusters = [free_port() for _ in range(3)]
        ways = [(a, b) for a in range(3) for b in range(3) if a != b]
        self.links = {way: Link(network, clusters[way[1]]) for way in ways} if network else {}
        ports_of = {way: self.links[way].port if network else clusters[way[1]] for way in ways}
        self.nodes = []
        for number in range(3):
            name, monitor = f"node{number}", free_port()
            routes = ", ".join(f'"nats-route://127.0.0.1:{ports_of[number, other]}"'
                               for other in range(3) if other != number)
            # What a node tells others of the third leads nowhere: no way is left around the links.
            self.nodes.append(Node(name, f"""
listen: "127.0.0.1:{ports[number]}"
http: "127.0.0.1:{monitor}"
server_name: {name}
max_payload: 2MB
ping_interval: "1s"
ping_max: 2
accounts {{
  RELAYS {{ jetstream: enabled, users: [{{ user: {USER}, password: {PASSWORD} }}] }}
}}
{store(name, file_size)}
cluster {{ name: engine, listen: "127.0.0.1:{clusters[number]}", advertise: "127.0.0.1:1", no_advertise: true
  routes: [{routes}] }}
""", ports[number], monitor))
            self.nodes[-1].start()

    def leader(self):
        """The node that leads what relays keep, or None."""
        for number, node in enumerate(self.nodes):
            if node.process.poll() is not None:
                continue
            for account in node.asked("jsz?accounts=1&streams=1").get("account_details", []):
                for stream in account.get("stream_detail", []):
                    leader = stream.get("cluster", {}).get("leader", "")
                    if leader == node.name:
                        return number
        return None

    def is_ready(self):
        """All nodes have found each other, and one leads them."""
        found = [node.asked("jsz").get("meta_cluster", {}) for node in self.nodes]
        return all(each.get("leader") and each.get("cluster_size") == 3 for each in found) \
            and all(node.asked("routez").get("num_routes", 0) >= 2 for node in self.nodes)

    def apart(self, number):
        """The links between this node and the others."""
        return [link for ends, link in self.links.items() if number in ends]


def address(*ports, scheme="nats", password=PASSWORD):
    """By which a relay is told of nodes at these ports."""
    first, *others = ports
    return ",".join([f"{scheme}://{USER}:{password}@127.0.0.1:{first}",
                     *(f"{scheme}://127.0.0.1:{port}" for port in others)])


class OldNode(socketserver.BaseRequestHandler):
    """A node from before there was anything to keep messages."""

    def handle(self):
        self.request.sendall(b'INFO {"server_id":"old","version":"2.1.9","proto":1,"max_payload":1048576}\r\n')
        try:
            while data := self.request.recv(65536):
                self.request.sendall(b"PONG\r\n" * data.count(b"PING\r\n"))
        except ConnectionError:
            pass


def old():
    """The port of one."""
    server = socketserver.ThreadingTCPServer(("127.0.0.1", 0), OldNode)
    server.daemon_threads = True
    threading.Thread(target=server.serve_forever, daemon=True).start()
    return server.server_address[1]


class Stranger:
    """Speaks to a node by its own few words."""

    def __init__(self, port):
        self.socket = socket.create_connection(("127.0.0.1", port), TIMEOUT)
        self.bytes = b""
        self.line()
        hello = {"user": USER, "pass": PASSWORD, "verbose": False, "headers": True}
        self.socket.sendall(f"CONNECT {json.dumps(hello)}\r\nPING\r\n".encode())
        check(self.line() == b"PONG", "the node takes us")

    def line(self):
        while b"\r\n" not in self.bytes:
            data = self.socket.recv(65536)
            check(data, "the node goes on")
            self.bytes += data
        line, _, self.bytes = self.bytes.partition(b"\r\n")
        return line

    def publish(self, subject, data, reply=""):
        self.socket.sendall(f"PUB {subject} {reply} {len(data)}\r\n".encode() + data + b"\r\n")

    def listen(self, subject):
        self.socket.sendall(f"SUB {subject} 1\r\nPING\r\n".encode())
        check(self.line() == b"PONG", "the node goes on")

    def message(self):
        """Subject and data of the next message."""
        deadline = time.monotonic() + TIMEOUT
        line = self.line()
        while not line.startswith((b"MSG", b"HMSG")):
            check(time.monotonic() < deadline, "a message comes")
            if line == b"PING":
                self.socket.sendall(b"PONG\r\n")
            line = self.line()
        size = int(line.split()[-1])
        while len(self.bytes) < size + 2:
            self.bytes += self.socket.recv(65536)
        data, self.bytes = self.bytes[:size], self.bytes[size + 2:]
        return line.split()[1].decode(), data

    def ask(self, subject, question):
        """The answer to a question in JSON."""
        self.socket.sendall(b"SUB inbox.stranger 2\r\n")
        self.publish(subject, json.dumps(question).encode() if question is not None else b"", "inbox.stranger")
        answer = self.message()[1]
        self.socket.sendall(b"UNSUB 2\r\n")
        return json.loads(answer)
