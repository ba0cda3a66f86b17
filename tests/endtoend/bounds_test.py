"""What clients of a relay may do wrong, over real sockets: it neither grows, nor do others suffer."""

import errno
import fcntl
import itertools
import os
import resource
import signal
import socket
import ssl
import struct
import termios
import time

import programs
from programs import TIMEOUT, await_that, check, path, run
from websocket_client import Client, connect, frame

SILENT = 10_000
MIB = 1 << 20
# As many descriptors as there may be, here and in the relay.
most = resource.getrlimit(resource.RLIMIT_NOFILE)[1]
resource.setrlimit(resource.RLIMIT_NOFILE, (most, most))
addresses = (f"127.{a}.{b}.{c}" for a in range(1, 255) for b in range(255) for c in range(1, 255))
identifiers = (number.to_bytes(16, "big") for number in itertools.count(1))


class Relay(programs.Relay):
    """A relay whose memory is what it uses."""

    def __init__(self, *options):
        super().__init__("--store", "none", *options, environment={
            # What a sanitizer keeps of freed memory is no growth.
            "ASAN_OPTIONS": os.environ.get("ASAN_OPTIONS", "") + ":quarantine_size_mb=1"})

    def resident(self):
        return self.usage()["KiB resident"] * 1024

    def over_tls(self, **options):
        context = ssl.create_default_context(cafile=path("state/certificate.pem"))
        return context.wrap_socket(connect(self.port, **options), server_hostname="localhost")

    def mac(self, connection=None, before=b""):
        identifier = next(identifiers)
        return Client(connection or connect(self.plain, next(addresses)), "mac", identifier, identifier * 2, before)


def answers(client):
    client.send("ping")
    return client.until("pong")


def silent(relay, count):
    """Connections of many addresses that do not say a token: half of them begin with TLS and stop."""
    hello = b"\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03"
    made = []
    for number in range(count):
        one = socket.socket()
        one.setblocking(False)
        one.bind((next(addresses), 0))
        code = one.connect_ex(("127.0.0.1", relay.port))
        check(code in (0, errno.EINPROGRESS), f"connecting: {os.strerror(code)}")
        if number % 2:
            try:
                one.send(hello)
            except (BlockingIOError, BrokenPipeError, ConnectionResetError):
                pass
        made.append(one)
    return made


def those_without_a_token(relay):
    count = min(SILENT, (most - 500) // 2)
    early = relay.mac()
    grown = []
    for _ in range(3):
        crowd = silent(relay, count)
        began = time.monotonic()
        # Behind all of them; and the one that was there before does not notice.
        late = relay.mac(relay.over_tls(source=next(addresses)))
        waited = time.monotonic() - began
        answers(late)
        began = time.monotonic()
        answers(early)
        grown.append(relay.resident())
        print(f"{count} without a token: {grown[-1] / MIB:.1f} MiB resident, a new client waited {waited:.1f} s, "
              f"an old one {1000 * (time.monotonic() - began):.1f} ms")
        for one in crowd:
            one.close()
    # What is freed stays for a while under the address sanitizer; 4 KiB that each leaves behind are 37 MiB.
    check(grown[2] < max(grown[:2]) + 32 * MIB, f"it does not grow: {grown}")


def pings_whose_answers_nobody_reads(relay):
    mac = relay.mac(connect(relay.plain, receive_buffer=4096))
    mac.until('{"active":0,"viewers":0}')
    before = relay.resident()
    # The first fill what the system holds. All are within what a computer may send at once.
    mac.socket.sendall(frame(0x89, b"x" * 125) * (5 * MIB // 2 // 131))
    mac.socket.sendall(frame(0x89, b"") * (MIB // 6))
    unread = lambda: struct.unpack("i", fcntl.ioctl(mac.socket, termios.TIOCOUTQ, b"1234"))[0]
    await_that(lambda: not unread(), "the relay reads")
    answers(relay.mac())
    grown = relay.resident() - before
    print(f"{MIB // 6} pings unread: {grown / MIB:.1f} MiB more")
    check(grown < 8 * MIB, "pongs do not pile up")
    mac.socket.close()


def requests_before_the_upgrade(relay):
    """Over one connection, for identifiers of both event loops, and cut into single bytes."""
    for piece in (None, 1):
        for _ in range(8):
            mac = relay.mac(relay.over_tls(source=next(addresses)),
                            b"GET /healthz HTTP/1.1\r\nHost: localhost\r\n\r\n" * 3)
            mac.until('{"active":0,"viewers":0}')
            mac.send("ping", piece)
            mac.until("pong")


def connections_that_break(relay):
    """While they are written to: those that stay get everything."""
    identifier = next(identifiers)
    mac = Client(connect(relay.plain), "mac", identifier, identifier * 2)
    phones = [Client(connect(relay.plain, next(addresses)), "phone", identifier, identifier * 2) for _ in range(16)]
    mac.until('{"active":0,"viewers":16}')
    for number, phone in enumerate(phones[1:]):
        mac.send("x" * 30_000)
        phone.socket.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        phone.socket.close()
        mac.send(f"after {number}")
        check(phones[0].until(f"after {number}")[-1] == "x" * 30_000, "the others get it")
    mac.until('{"active":0,"viewers":1}')


def no_descriptor_left(relay):
    inside = [relay.mac() for _ in range(4)]
    for mac in inside:
        answers(mac)
    # One more than stay may be open at the moment of counting.
    resource.prlimit(relay.process.pid, resource.RLIMIT_NOFILE, (relay.usage()["descriptors"], most))
    outside = [connect(relay.plain, next(addresses)) for _ in range(3)]
    for one in outside:
        one.sendall(b"GET /healthz HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n")
    for mac in inside:
        answers(mac)
    check(not all(waits(one) for one in outside), "there is no room for more")
    for mac in inside[1:]:
        mac.socket.close()
    for one in outside:
        check(one.recv(100).startswith(b"HTTP/1.1 200"), "the relay recovers")
        one.close()
    answers(inside[0])
    resource.prlimit(relay.process.pid, resource.RLIMIT_NOFILE, (most, most))


def waits(connection):
    connection.setblocking(False)
    try:
        return bool(connection.recv(1, socket.MSG_PEEK))
    except BlockingIOError:
        return False
    finally:
        connection.settimeout(TIMEOUT)


def a_new_certificate(relay):
    """One of its own making, as it comes when the old one nears its end: it is not there any more."""
    before = relay.mac(relay.over_tls(source=next(addresses)))
    old = before.socket.getpeercert(binary_form=True)
    os.remove(path("state/certificate.pem"))
    relay.process.send_signal(signal.SIGHUP)
    await_that(lambda: os.path.exists(path("state/certificate.pem")) and presented(relay) != old,
               "a new certificate is made")
    answers(relay.mac(relay.over_tls(source=next(addresses))))
    answers(before)


def presented(relay):
    return ssl.PEM_cert_to_DER_cert(ssl.get_server_certificate(("127.0.0.1", relay.port)))


def test():
    for part in (those_without_a_token, pings_whose_answers_nobody_reads, requests_before_the_upgrade,
                 connections_that_break, no_descriptor_left, a_new_certificate):
        began = time.monotonic()
        relay = Relay("--threads", "2", "--drain", "0", "--max-new-per-address", "1000")
        part(relay)
        relay.ends()
        print(f"{part.__name__}: {time.monotonic() - began:.1f} s")


run(test)
