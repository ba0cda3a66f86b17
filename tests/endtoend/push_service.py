"""A push service on loopback, and a browser's side of its subscriptions.

Run by itself, with a certificate and its key, it prints where it listens and one line of JSON for
each push that it gets.
"""

import base64
import hmac
import http.server
import json
import os
import queue
import ssl
import sys
import threading
import time

from cryptography.hazmat.primitives import hashes, serialization
from cryptography.hazmat.primitives.asymmetric import ec, utils
from cryptography.hazmat.primitives.ciphers.aead import AESGCM
from cryptography.hazmat.primitives.kdf.hkdf import HKDF

HUGE = 100 * 1024 * 1024


def encoded(data):
    return base64.urlsafe_b64encode(data).rstrip(b"=").decode()


def decoded(text):
    return base64.urlsafe_b64decode(text + "=" * (-len(text) % 4))


def key_of(info, salt, material, length):
    return HKDF(hashes.SHA256(), length, salt, info).derive(material)


class Subscription:
    """What a browser keeps of a subscription, by which it opens what is pushed (RFC 8291)."""

    def __init__(self, endpoint):
        self.endpoint = endpoint
        self.private = ec.generate_private_key(ec.SECP256R1())
        self.auth = os.urandom(16)
        self.public = self.private.public_key().public_bytes(
            serialization.Encoding.X962, serialization.PublicFormat.UncompressedPoint)

    def message(self, **members):
        """By which a phone tells it to the relay."""
        return json.dumps({"subscribe": {"endpoint": self.endpoint, "p256dh": encoded(self.public),
                                         "auth": encoded(self.auth), **members}})

    def topic(self, text):
        return encoded(hmac.digest(self.auth, text.encode(), "sha256")[:16])

    def opened(self, body):
        salt, size, sender, sealed = body[:16], body[20], body[21:86], body[86:]
        assert int.from_bytes(body[16:20], "big") == 4096 and size == 65 and len(body) <= 4096
        theirs = ec.EllipticCurvePublicKey.from_encoded_point(ec.SECP256R1(), sender)
        shared = self.private.exchange(ec.ECDH(), theirs)
        material = key_of(b"WebPush: info\0" + self.public + sender, self.auth, shared, 32)
        key = key_of(b"Content-Encoding: aes128gcm\0", salt, material, 16)
        nonce = key_of(b"Content-Encoding: nonce\0", salt, material, 12)
        text = AESGCM(key).decrypt(nonce, sealed, None)
        assert text.endswith(b"\2"), "the last record"
        return json.loads(text[:-1])


def claims_of(authorization, key):
    """What the relay says of itself, when it is signed by this key (RFC 8292)."""
    words = dict(word.strip().split("=", 1) for word in
                 authorization.removeprefix("vapid ").split(","))
    assert words["k"] == key, "the key that phones have subscribed for"
    head, claims, signature = words["t"].split(".")
    numbers = decoded(signature)
    der = utils.encode_dss_signature(int.from_bytes(numbers[:32], "big"),
                                     int.from_bytes(numbers[32:], "big"))
    ec.EllipticCurvePublicKey.from_encoded_point(ec.SECP256R1(), decoded(key)).verify(
        der, f"{head}.{claims}".encode(), ec.ECDSA(hashes.SHA256()))
    assert json.loads(decoded(head)) == {"alg": "ES256", "typ": "JWT"}
    return json.loads(decoded(claims))


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def do_POST(self):
        body = self.rfile.read(int(self.headers["Content-Length"]))
        push = {"path": self.path, "headers": dict(self.headers), "body": body,
                "at": time.monotonic()}
        self.server.pushes.put(push)
        how = self.path.split("/")[1]
        with self.server.lock:
            self.server.counts[self.path] = self.server.counts.get(self.path, 0) + 1
            is_first = self.server.counts[self.path] == 1
        if how == "hang":
            self.server.ended.wait()
            self.close_connection = True
        elif how == "garbage":
            self.wfile.write(b"\0\xff no HTTP at all\r\n" * 100)
            self.close_connection = True
        elif how == "huge":
            self.answer(400, {"Content-Length": HUGE})
            for _ in range(HUGE // 65536):
                self.wfile.write(bytes(65536))
        elif how == "busy" and is_first:
            self.answer(429, {"Retry-After": 3})
        elif how == "gone":
            self.answer(410)
        elif how == "elsewhere":
            self.answer(307, {"Location": f"https://localhost:{self.server.server_port}/ok/followed"})
        else:
            self.answer(201)

    def answer(self, status, fields=()):
        self.send_response(status)
        for name, value in {"Content-Length": 0, **dict(fields)}.items():
            self.send_header(name, value)
        self.end_headers()

    def log_message(self, *_):
        pass


class PushService(http.server.ThreadingHTTPServer):
    """Answers by the first word of the path: ok, gone, busy (once), hang, huge, garbage, elsewhere.
    What it gets is in `pushes`."""

    daemon_threads = True
    request_queue_size = 256

    def __init__(self, certificate, key):
        super().__init__(("127.0.0.1", 0), Handler)
        self.context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        self.context.load_cert_chain(certificate, key)
        self.pushes = queue.Queue()
        self.counts = {}
        self.lock = threading.Lock()
        self.ended = threading.Event()
        threading.Thread(target=self.serve_forever, daemon=True).start()

    def finish_request(self, request, client_address):
        # In the connection's own thread.
        try:
            with self.context.wrap_socket(request, server_side=True) as secure:
                super().finish_request(secure, client_address)
        except OSError:
            pass

    def url(self, path):
        return f"https://localhost:{self.server_port}/{path}"


def main():
    service = PushService(*sys.argv[1:3])
    print(service.server_port, flush=True)
    while True:
        push = service.pushes.get()
        print(json.dumps({**push, "body": encoded(push["body"])}), flush=True)


if __name__ == "__main__":
    main()
