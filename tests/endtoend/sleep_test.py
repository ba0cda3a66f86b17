#!/usr/bin/env python3
"""The application when the machine goes to sleep: sleep_test.py BUILD_FOLDER FIXTURES_FOLDER.

Relay and login manager are scripted: what counts is which of them hears what, and when."""

import base64
import fcntl
import hashlib
import os
import queue
import select
import signal
import socket
import ssl
import struct
import sys
import threading
import time

import dbus
import dbus.service

from desktop import Panel, await_that, start_application, start_bus, start_display
from programs import check, run

MANAGER = "org.freedesktop.login1.Manager"


class ScriptedRelay:
    """Accepts one computer at a time and writes down what it hears."""

    def __init__(self, fixtures):
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(f"{fixtures}/localhost.pem", f"{fixtures}/localhost.key.pem")
        self.socket = context.wrap_socket(socket.create_server(("127.0.0.1", 0)), server_side=True)
        self.url = f"wss://localhost:{self.socket.getsockname()[1]}"
        self.heard = queue.Queue()
        threading.Thread(target=self._serve, daemon=True).start()

    def _serve(self):
        while True:
            try:
                connection, _ = self.socket.accept()
                with connection, connection.makefile("rwb") as stream:
                    self._talk(stream)
            except (OSError, struct.error) as error:
                self.heard.put(error)

    def _talk(self, stream):
        key = None
        while (line := stream.readline().strip()):
            if line.lower().startswith(b"sec-websocket-key:"):
                key = line.split(b":")[1].strip()
        accepted = hashlib.sha1(key + b"258EAFA5-E914-47DA-95CA-C5AB0DC85B11").digest()
        stream.write(b"HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\n"
                     b"Connection: Upgrade\r\nSec-WebSocket-Accept: "
                     + base64.b64encode(accepted) + b"\r\n\r\n")
        stream.flush()
        while True:
            kind, payload = self._read(stream)
            if kind == 8:
                self.heard.put(struct.unpack(">H", payload[:2])[0])
                self._write(stream, 8, payload)
                return
            if kind == 1 and payload.startswith(b'{'):
                self.heard.put("token")
                self._write(stream, 1, b'{"viewers":0,"active":0}')

    @staticmethod
    def _read(stream):
        kind, size = struct.unpack(">BB", stream.read(2))
        size &= 127
        if size == 126:
            size = struct.unpack(">H", stream.read(2))[0]
        mask = stream.read(4)
        return kind & 15, bytes(b ^ mask[i % 4] for i, b in enumerate(stream.read(size)))

    @staticmethod
    def _write(stream, kind, payload):
        stream.write(struct.pack(">BB", 128 | kind, len(payload)) + payload)
        stream.flush()


class LoginManager(dbus.service.Object):
    """Announces sleep, and knows who holds it back."""

    def __init__(self, address):
        self.bus = dbus.bus.BusConnection(address)
        self.bus.request_name("org.freedesktop.login1")
        self.locks = []
        super().__init__(self.bus, "/org/freedesktop/login1")

    @dbus.service.method(MANAGER, in_signature="ssss", out_signature="h")
    def Inhibit(self, what, _who, _why, mode):
        check((what, mode) == ("sleep", "delay"), f"the lock is {mode} {what}")
        reading, writing = os.pipe()
        fcntl.fcntl(reading, fcntl.F_SETFL, os.O_NONBLOCK)
        self.locks.append(reading)
        lock = dbus.types.UnixFd(writing)
        os.close(writing)
        return lock

    @dbus.service.signal(MANAGER, signature="b")
    def PrepareForSleep(self, starts):
        pass

    def is_held(self):
        return bool(self.locks) and not select.select([self.locks[-1]], [], [], 0)[0]


def test():
    relay = ScriptedRelay(sys.argv[2])
    system_bus = start_bus("system")
    manager = LoginManager(system_bus)
    bus = start_bus("session")
    panel = Panel(bus)
    application = start_application(bus, start_display(), relay.url,
                                    f"{sys.argv[2]}/localhost.pem",
                                    DBUS_SYSTEM_BUS_ADDRESS=system_bus)
    panel.await_item()
    panel.await_status("● Online")
    await_that(manager.is_held, "sleep is held back")
    check(relay.heard.get_nowait() == "token", "the computer shows its token")

    manager.PrepareForSleep(True)
    await_that(lambda: not manager.is_held(), "the lock is released")
    check(relay.heard.get_nowait() == 1000, "the goodbye comes before the release")
    panel.await_status("Offline – reconnecting…")

    before = time.monotonic()
    manager.PrepareForSleep(False)
    panel.await_status("● Online")
    check(time.monotonic() - before < 2, "waking reconnects within two seconds")
    await_that(manager.is_held, "the next sleep is held back")

    # Paused, a machine that wakes stays silent.
    panel.click("Pause for 1 hour")
    await_that(lambda: panel.status().startswith("Paused until "), "the pause begins")
    relay.heard = queue.Queue()
    manager.PrepareForSleep(True)
    await_that(lambda: not manager.is_held(), "nothing holds the sleep back")
    manager.PrepareForSleep(False)
    await_that(manager.is_held, "the application has woken")
    check(relay.heard.empty(), "nothing is said to the relay")
    application.ends(signal.SIGTERM)


run(test)
