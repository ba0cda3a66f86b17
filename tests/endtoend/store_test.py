"""Kills the relay again and again under load: no alert that it called safe may be lost."""

import json
import os
import random
import select
import time

from programs import TIMEOUT, Relay, check, path, run
from websocket_client import Client, connect

KILLS = 50
MACS = 4
ALERTS = 50  # of each Mac before a kill; the relay lets through bursts of 60 messages
KEPT = 20    # of each Mac


class Mac:
    def __init__(self):
        self.identifier, self.token = os.urandom(16), os.urandom(32)
        self.said = self.newest_safe = 0
        self.safe = set()
        self.last_number = 0

    def connect(self, port):
        self.client = Client(connect(port), "mac", self.identifier, self.token)
        self.first, self.sent = self.said + 1, 0
        check('{"safe":0}' in self.client.until('{"active":0,"viewers":0}'), "the relay keeps alerts")

    def alert(self):
        self.said += 1
        self.sent += 1
        self.client.send(json.dumps({"c": "x" * 400, "n": str(self.said), "t": "a", "v": 1}))

    def take(self):
        """What is called safe counts even when it is read after the relay's end."""
        for message in self.client.messages():
            for alert in range(self.first, self.first + json.loads(message).get("safe", 0)):
                self.safe.add(alert)

    def check(self, port):
        phone = Client(connect(port), "phone", self.identifier, self.token, last=0)
        if not self.safe:
            return
        phone.until('{"mac":false}')
        phone.send("ping")
        messages = [json.loads(message) for message in phone.until("pong")]
        numbers = [message["alert"] for message in messages[::2]]
        kept = [int(message["n"]) for message in messages[1::2]]
        check(numbers == sorted(set(numbers)) and kept == sorted(set(kept)), "alerts come in order")
        oldest = kept[0] if len(kept) == KEPT else 0
        lost = {alert for alert in self.safe if alert >= oldest} - set(kept)
        check(not lost, f"called safe, and lost: {sorted(lost)} of {kept}")
        fresh = [number for number, alert in zip(numbers, kept) if alert >= self.first]
        check(not fresh or fresh[0] > self.last_number, "no number is given twice")
        self.last_number = numbers[-1]


def load(macs, relay, chance):
    """All Macs send; somewhere on the way the relay is killed."""
    by_socket = {mac.client.socket: mac for mac in macs}
    left = chance.randrange(MACS * ALERTS)
    deadline = time.monotonic() + TIMEOUT
    before = sum(len(mac.safe) for mac in macs)
    while left > 0 or sum(len(mac.safe) for mac in macs) == before:
        check(time.monotonic() < deadline, "something is called safe")
        waiting = [mac for mac in macs if mac.sent < ALERTS]
        if waiting:
            chance.choice(waiting).alert()
        left -= 1
        # As much at once as makes the relay commit several together.
        pause = 0.01 if left % 8 == 0 else 0
        for ready in select.select(list(by_socket), [], [], pause)[0]:
            check(by_socket[ready].client.receive(), "the relay goes on")
            by_socket[ready].take()
    relay.kill()
    for mac in macs:
        while mac.client.receive():
            pass
        mac.take()


def test():
    chance = random.Random(1)
    macs = [Mac() for _ in range(MACS)]
    began = time.monotonic()
    relay = Relay()
    for _ in range(KILLS):
        for mac in macs:
            mac.connect(relay.plain)
        load(macs, relay, chance)
        relay = Relay()
        for mac in macs:
            mac.check(relay.plain)
    safe, said = (sum(map(count, macs)) for count in (lambda mac: len(mac.safe),
                                                      lambda mac: mac.said))
    check(safe > KILLS and not [name for name in os.listdir(path("state")) if "damaged" in name],
          "the store is used, and never damaged")
    relay.ends()
    print(f"{KILLS} kills in {time.monotonic() - began:.1f} s: {said} alerts sent, "
          f"{safe} called safe, none of them lost")


run(test)
