"""Alerts reach phones that are not looking, through a push service with real TLS: opened there as a
browser opens them, whatever else that service does, and after the relay was killed."""

import json
import os
import sys
import time
import urllib.request

import programs
from programs import TIMEOUT, await_that, check, run
from push_service import PushService, Subscription, claims_of
from websocket_client import Client, connect

MAC, TOKEN = os.urandom(16), os.urandom(32)
fixtures = sys.argv[2]


class Relay(programs.Relay):
    def __init__(self, service):
        super().__init__(
            "--drain", "0", "--metrics", "127.0.0.1:0", "--push-subject", "mailto:a@orvik.example",
            "--push-service", f"localhost:{service.server_port}", "--push-service", "*.localhost",
            "--push-trust", os.path.join(fixtures, "localhost.pem"))
        self.metrics_at = self.line().split(" at ")[1]

    def mac(self):
        mac = Client(connect(self.plain), "mac", MAC, TOKEN)
        check('{"push":true}' in mac.until('{"active":0,"viewers":0}'), "the computer is told")
        return mac

    def phone(self):
        phone = Client(connect(self.plain), "phone", MAC, TOKEN, last=0)
        phone.until('{"mac":true}')
        return phone

    def metric(self, name):
        with urllib.request.urlopen(self.metrics_at, timeout=TIMEOUT) as answer:
            lines = answer.read().decode().splitlines()
        return next(float(line.rsplit(" ", 1)[1]) for line in lines
                    if line.startswith(f"orvik_relay_{name} "))

    def await_metric(self, name, value):
        await_that(lambda: self.metric(name) == value, lambda: f"{name} is {self.metric(name)}, and not {value}")


def told(phone, start):
    """The value of the next message that has this one member."""
    while True:
        for message in phone.messages():
            if message.startswith(f'{{"{start}":'):
                return json.loads(message)[start]
        check(phone.receive(), f"{start} comes")


def alert(mac, number, **mark):
    if mark:
        mac.send(json.dumps({"next": mark}))
    text = json.dumps({"c": "x" * 300, "n": str(number), "t": "a", "v": 1})
    mac.send(text)
    return text


def check_push(push, subscription, key, envelope, service, **fields):
    message = subscription.opened(push["body"])
    shown = message["notification"]
    check(message["web_push"] == 8030 and shown["data"]["envelope"] == envelope, "the envelope")
    address = f"/orvik/p?c={shown['data']['mac']}"
    check((shown["title"], shown["navigate"]) == ("Orvik", address), "nothing of the content is shown")
    for name, value in {"TTL": "86400", "Content-Encoding": "aes128gcm", **fields}.items():
        check(push["headers"].get(name) == value, f"{name} is {push['headers'].get(name)}")
    claims = claims_of(push["headers"]["Authorization"], key)
    check(claims["aud"] == f"https://localhost:{service.server_port}", "the audience")
    check(claims["sub"] == "mailto:a@orvik.example", "the subject")
    check(0 < claims["exp"] - time.time() <= 86400, "a token for a day at most")
    return shown


def test():
    service = PushService(os.path.join(fixtures, "localhost.pem"),
                          os.path.join(fixtures, "localhost.key.pem"))
    relay = Relay(service)
    mac = relay.mac()
    phone = relay.phone()
    key = told(phone, "push")
    subscription = Subscription(service.url("ok/1"))
    phone.send(subscription.message())
    check(told(phone, "subscribed") == subscription.endpoint, "it is kept")

    # Connected, and not looked at.
    first = alert(mac, 1, topic="T" * 22, urgent=False)
    shown = check_push(service.pushes.get(timeout=TIMEOUT), subscription, key, first, service,
                       Urgency="normal", Topic=subscription.topic("T" * 22))
    check(shown["tag"] == "T" * 22, "the tag")
    # Looked at: only the second of these is pushed.
    phone.send('{"active":true}')
    mac.until('{"active":1,"viewers":1}')
    alert(mac, 2)
    phone.send('{"active":false}')
    mac.until('{"active":0,"viewers":1}')
    third = alert(mac, 3)
    check_push(service.pushes.get(timeout=TIMEOUT), subscription, key, third, service,
               Urgency="high", Topic=None)

    # Each fails in its own way, and delays none of the others. "a.localhost" leads to loopback,
    # which no service may do whose port is not named.
    others = {how: Subscription(service.url(f"{how}/1"))
              for how in ("hang", "huge", "garbage", "busy", "gone", "elsewhere")}
    others["local"] = Subscription("https://a.localhost/ok/1")
    for other in others.values():
        phone.send(other.message())
        check(told(phone, "subscribed") == other.endpoint, "it is kept")
    relay.await_metric("subscriptions", 8)
    fourth, sent = alert(mac, 4), time.monotonic()
    paths = {}
    while "/busy/1" not in paths or len(paths["/busy/1"]) < 2:
        push = service.pushes.get(timeout=TIMEOUT)
        paths.setdefault(push["path"], []).append(push["at"])
        if push["path"] == "/ok/1":
            check_push(push, subscription, key, fourth, service)
    # The one that hangs is given up after 10 s.
    check(paths["/ok/1"][0] - sent < 9, f"a phone waits for others: {paths}")
    check(paths["/busy/1"][1] - paths["/busy/1"][0] >= 3, "the service says when to come again")
    check("/ok/followed" not in paths, "no redirect is followed")
    relay.await_metric('push_failures_total{cause="forbidden_address"}', 1)
    relay.await_metric('push_failures_total{cause="refused"}', 2)
    # 410: the subscription is gone.
    relay.await_metric('push_failures_total{cause="gone"}', 1)
    relay.await_metric("subscriptions", 7)

    # Forwarding has not noticed, and what was kept outlives the relay.
    phone.send(json.dumps({"unsubscribe": others["hang"].endpoint}))
    relay.await_metric("subscriptions", 6)
    mac.send("live")
    phone.until("live")
    relay.kill()
    relay = Relay(service)
    mac = relay.mac()
    fifth = alert(mac, 5)
    while True:
        push = service.pushes.get(timeout=TIMEOUT)
        check(push["path"] not in ("/gone/1", "/hang/1"), "it was forgotten")
        if push["path"] == "/ok/1":
            break
    check_push(push, subscription, key, fifth, service)
    relay.ends()


run(test)
