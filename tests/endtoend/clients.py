"""Clients of a relay without TLS, message by message."""

import base64
import json
import socket
import struct

from programs import TIMEOUT, check


def base64url(data):
    return base64.urlsafe_b64encode(data).rstrip(b"=").decode()


class Client:
    """One WebSocket without TLS."""

    def __init__(self, port, role, identifier, token, **members):
        self.socket = socket.create_connection(("127.0.0.1", port), timeout=TIMEOUT)
        self.socket.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        self.bytes = b""
        self.socket.sendall(
            f"GET /v1/{role}/{base64url(identifier)} HTTP/1.1\r\nHost: localhost\r\n"
            "Connection: Upgrade\r\nUpgrade: websocket\r\nSec-WebSocket-Version: 13\r\n"
            "Sec-WebSocket-Key: AAAAAAAAAAAAAAAAAAAAAA==\r\n\r\n".encode())
        while b"\r\n\r\n" not in self.bytes:
            check(self.receive(), "the relay answers the upgrade")
        self.bytes = self.bytes.split(b"\r\n\r\n", 1)[1]
        self.send(json.dumps({"auth": base64url(token), **members}))

    def send(self, text):
        data = text.encode()
        size = bytes([0x80 | len(data)]) if len(data) < 126 else \
            bytes([0x80 | 126]) + struct.pack(">H", len(data))
        # A mask of zeros is one, too.
        self.socket.sendall(b"\x81" + size + bytes(4) + data)

    def receive(self):
        """Takes in what has come; False at the end of the connection."""
        try:
            data = self.socket.recv(65536)
        except ConnectionError:
            return False
        self.bytes += data
        return bool(data)

    def messages(self):
        """The whole messages that have come so far."""
        while len(self.bytes) >= 2:
            is_text, size, start = self.bytes[0] == 0x81, self.bytes[1], 2
            if size == 126:
                size, start = int.from_bytes(self.bytes[2:4], "big"), 4
            if len(self.bytes) < start + size:
                return
            message, self.bytes = self.bytes[start:start + size], self.bytes[start + size:]
            check(is_text, f"the relay goes on, and does not say {message}")
            yield message.decode()

    def until(self, wanted):
        """The messages before this one."""
        messages = []
        while True:
            for message in self.messages():
                if message == wanted:
                    return messages
                messages.append(message)
            check(self.receive(), f"{wanted} comes")
