"""WebSockets with as little between them and the wire as a test of a relay needs."""

import base64
import json
import socket
import struct

from programs import TIMEOUT, check


def base64url(data):
    return base64.urlsafe_b64encode(data).rstrip(b"=").decode()


def frame(kind, data):
    size = bytes([0x80 | len(data)]) if len(data) < 126 else \
        bytes([0x80 | 126]) + struct.pack(">H", len(data))
    # A mask of zeros is one, too.
    return bytes([kind]) + size + bytes(4) + data


def connect(port, source="127.0.0.1", receive_buffer=None, host="127.0.0.1"):
    """A TCP connection from that address."""
    made = socket.socket()
    made.settimeout(TIMEOUT)
    if receive_buffer:
        made.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, receive_buffer)
    made.bind((source, 0))
    made.connect((host, port))
    made.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
    return made


class Client:
    """One WebSocket, by itself without TLS, over a connection that may be used already."""

    def __init__(self, connection, role, identifier, token, before=b"", **members):
        self.socket = connection
        self.bytes = b""
        self.socket.sendall(
            before + f"GET /v1/{role}/{base64url(identifier)} HTTP/1.1\r\nHost: localhost\r\n"
            "Connection: Upgrade\r\nUpgrade: websocket\r\nSec-WebSocket-Version: 13\r\n"
            "Sec-WebSocket-Key: AAAAAAAAAAAAAAAAAAAAAA==\r\n\r\n".encode())
        while b"\r\n\r\n" not in self.bytes.partition(b"HTTP/1.1 101")[2]:
            check(self.receive(), "the relay answers the upgrade")
        self.bytes = self.bytes.partition(b"HTTP/1.1 101")[2].partition(b"\r\n\r\n")[2]
        self.send(json.dumps({"auth": base64url(token), **members}))

    def send(self, text, piece=None):
        """A text message, in pieces of so many bytes."""
        data = frame(0x81, text.encode())
        for start in range(0, len(data), piece or len(data)):
            self.socket.sendall(data[start:start + (piece or len(data))])

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
