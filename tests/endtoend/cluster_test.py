"""Three relays on an engine of three nodes, of which parts are killed and cut off from each other while
alerts are raised: each alert comes to each phone once, wherever it and its computer are connected, is
pushed by one relay, and who is there is known right after.

    cluster_test.py BUILD FIXTURES [--long]"""

import collections
import contextlib
import itertools
import json
import os
import random
import re
import select
import shutil
import signal
import socket
import subprocess
import sys
import time
import urllib.error
import urllib.request

from engine import Engine, Link, Network, Stranger, address, free_port, old, single, store
from programs import TIMEOUT, Program, await_that, build, check, path, read, root, run, running
from push_service import PushService, Subscription
from websocket_client import Client, connect, frame

fixtures = sys.argv[2]
IS_LONG = "--long" in sys.argv
PAIRINGS, ALERTS = (40, 25) if IS_LONG else (6, 25)  # 60 alerts of one computer are pushed at once
PACE = 2.0 if IS_LONG else 0.8  # seconds from one alert of a computer to the next
RELAYS = 3
PATH = os.environ["PATH"] + ":/usr/sbin"
RIGHT = 5  # seconds from the end of a fault until presence has to be right
PORT, METRICS = free_port(), free_port()  # of each relay, on an address of its own


def asked(address_of):
    """The status of an answer, and what it says."""
    try:
        with urllib.request.urlopen(address_of, timeout=5) as answer:
            return answer.status, answer.read().decode().strip()
    except urllib.error.HTTPError as error:
        return error.code, error.read().decode().strip()
    except OSError as error:
        return 0, str(error)


class Relay:
    def __init__(self, number, engine, service):
        if number:
            # Phones subscribe with the key of any of them.
            key = path("state0/push-key.pem")
            await_that(lambda: os.path.exists(key) and os.path.getsize(key), "the first has made its key")
            os.makedirs(path(f"state{number}"), mode=0o700)
            shutil.copy(key, path(f"state{number}"))
        self.links = [Link(engine.network, node.port) for node in engine.nodes]
        self.host = f"127.0.0.{number + 1}"
        self.arguments = [
            "--listen", "127.0.0.1:0", "--listen-plain", f"{self.host}:{PORT}", "--drain", "5",
            "--state", path(f"state{number}"), "--metrics", f"{self.host}:{METRICS}",
            "--cluster", address(*(link.port for link in self.links)), "--push-subject", "mailto:a@orvik.example",
            "--push-service", f"localhost:{service.server_port}",
            "--cluster-storage", "8", "--push-trust", os.path.join(fixtures, "localhost.pem")]
        self.start()

    def start(self):
        # The engine's library forgets the buffer of a message of which it has a part when a connection ends.
        with open(path("leaks"), "w", encoding="ascii") as file:
            file.write("leak:natsBuf_Create\n")
        self.program = Program("orvik-relay", *self.arguments,
                               environment={"LSAN_OPTIONS": f"suppressions={path('leaks')}:print_suppressions=0"})

    def kill(self):
        self.program.kill()

    def readiness(self):
        return asked(f"http://{self.host}:{METRICS}/readyz")

    def is_ready(self):
        return self.readiness()[0] == 200


class Wire(Client):
    """A connection whose end has a code."""

    code = None

    def messages(self):
        while len(self.bytes) >= 4 and self.bytes[0] == 0x88:
            self.code = int.from_bytes(self.bytes[2:4], "big")
            self.bytes = b""
        while self.bytes and self.bytes[0] == 0x81:
            before = self.bytes
            for message in super().messages():
                yield message
                break
            if self.bytes == before:
                break
            if self.bytes[:1] == b"\x88":
                yield from self.messages()


class Side:
    """A computer or a phone: it comes back whenever its connection ends, to its own relay if that is
    there and else to the next."""

    role = ""

    def __init__(self, world, pairing, home):
        self.world, self.pairing, self.home = world, pairing, home
        self.wire, self.at, self.next_attempt, self.is_refused = None, None, 0.0, False
        self.turn = 0

    def connect(self):
        self.at = (self.home + self.turn) % RELAYS
        self.turn = (self.turn + 1) % RELAYS
        self.next_attempt = time.monotonic() + 0.5
        balancer, relay = self.world.balancer, self.world.relays[self.at]
        if not balancer and relay.program.process.poll() is not None:
            return
        try:
            way = connect(balancer.port) if balancer else connect(PORT, host=relay.host)
            self.wire = Wire(way, self.role, self.pairing.identifier, self.pairing.token, **self.members())
            self.began()
        except (AssertionError, OSError):
            self.wire = None

    def members(self):
        return {}

    def began(self):
        pass

    def take(self):
        goes_on = self.wire.receive()
        for message in self.wire.messages():
            self.hear(message)
        if self.wire.code == 4403:
            self.is_refused = True
            check(self.pairing.is_revoked, f"a {self.role} is wrongly told that its pairing is over")
        if not goes_on or self.wire.code:
            self.leave()

    def leave(self):
        with contextlib.suppress(OSError):
            # A phone that goes without a word may have seen nothing, and is pushed to.
            self.wire.socket.sendall(frame(0x88, (1000).to_bytes(2, "big")))
        self.wire.socket.close()
        if self.wire.code == 1001:
            # The relay has sent everybody away.
            self.next_attempt = time.monotonic() + 1 + 2 * self.world.chance.random()
        self.wire = None
        self.ended()

    def ended(self):
        pass

    def say(self, text):
        try:
            self.wire.send(text)
        except OSError:
            pass


class Mac(Side):
    """Keeps what it raises until a relay has called it safe, and says it again over each connection."""

    role = "mac"

    def __init__(self, *arguments):
        super().__init__(*arguments)
        self.waiting, self.raised, self.presence = [], 0, None
        self.raised_at = {}
        self.accepted = False

    def began(self):
        self.accepted, self.sent, self.safe = False, [], 0

    def ended(self):
        self.accepted, self.presence = False, None

    def hear(self, message):
        said = json.loads(message)
        if "safe" in said:
            for envelope in self.sent[self.safe:said["safe"]]:
                self.waiting.remove(envelope)
            self.safe = said["safe"]
        if "viewers" in said:
            self.presence, self.turn = (said["active"], said["viewers"]), 0
            if not self.accepted:
                self.accepted = True
                for envelope in self.waiting:
                    self.send(envelope)
                if self.pairing.is_revoked:
                    self.say('{"revoked":true}')

    def send(self, envelope):
        self.sent.append(envelope)
        self.say(envelope)

    def alert(self):
        self.raised += 1
        self.raised_at[self.raised] = time.monotonic()
        # What is sealed is of no interest here: the number stands for kind and time.
        envelope = json.dumps({"c": "x" * 400, "n": f"{self.pairing.number}.{self.raised}", "t": "a", "v": 1})
        self.waiting.append(envelope)
        self.pairing.envelopes[f"{self.pairing.number}.{self.raised}"] = envelope
        check(len(self.waiting) <= 20, f"a computer keeps 20: {self.world.state()}")
        if self.accepted:
            self.send(envelope)


class Phone(Side):
    """Counts, and drops what it has had: by kind and time, among the last 20."""

    role = "phone"

    def __init__(self, world, pairing, home, is_active):
        super().__init__(world, pairing, home)
        self.is_active, self.last, self.next_number = is_active, 0, None
        self.recent = collections.deque(maxlen=20)
        self.shown = collections.Counter()
        self.again, self.unopened, self.sees_mac = 0, 0, None
        self.lives, self.is_subscribed = set(), False
        self.subscription = Subscription(world.service.url(f"ok/{pairing.number}-{int(is_active)}"))

    def members(self):
        return {"last": self.last}

    def began(self):
        self.next_number, self.sees_mac = None, None

    def ended(self):
        self.sees_mac = None

    def hear(self, message):
        try:
            said = json.loads(message)
        except ValueError:
            said = {}
        if not isinstance(said, dict):
            return
        if "mac" in said:
            if self.sees_mac is None:
                if self.is_active:
                    self.say('{"active":true}')
                self.say(self.subscription.message())
            self.sees_mac, self.turn = said["mac"], 0
        elif "alert" in said:
            self.next_number = said["alert"]
        elif said.get("t") == "a":
            check(self.next_number, "each alert has its number")
            self.last, self.next_number = self.next_number, None
            alert = said.get("n")
            if message != self.pairing.envelopes.get(alert):
                # As one that does not open: a stranger's.
                self.unopened += 1
            elif alert in self.recent:
                self.again += 1
            else:
                self.recent.append(alert)
                self.shown[alert] += 1
        elif "subscribed" in said:
            self.is_subscribed = True
        elif said.get("t") == "s":
            self.lives.add(said["n"])


class Pairing:
    def __init__(self, world, number, homes):
        self.number, self.is_revoked = number, False
        self.identifier, self.token = os.urandom(16), os.urandom(32)
        self.envelopes = {}
        self.mac = Mac(world, self, homes[0])
        # The second is looked at all the time.
        self.phones = [Phone(world, self, homes[1 + each], each == 1) for each in range(2)]
        self.sides = [self.mac, *self.phones]


class World:
    def __init__(self):
        self.chance = random.Random(1)
        self.service = PushService(os.path.join(fixtures, "localhost.pem"),
                                   os.path.join(fixtures, "localhost.key.pem"))
        self.network = Network()
        self.engine = Engine(self.network)
        await_that(self.engine.is_ready, "the engine is ready")
        self.relays = []
        for number in range(RELAYS):
            self.relays.append(Relay(number, self.engine, self.service))
        await_that(lambda: all(relay.is_ready() for relay in self.relays), "the relays are ready")
        self.pairings = [Pairing(self, number, [(number + each) % RELAYS for each in range(3)])
                         for number in range(PAIRINGS - 1)]
        # One that meets on a relay: it needs nobody else.
        self.pairings.append(Pairing(self, PAIRINGS - 1, [0, 0, 1]))
        self.sides = [side for pairing in self.pairings for side in pairing.sides]
        self.away = set()
        self.balancer, self.most = None, ALERTS
        self.pushed = collections.Counter()
        self.may_be_unpushed = set()
        self.is_raising, self.next_alert = False, 0.0

    def step(self):
        """Lets everybody do what is due, for 20 ms at most."""
        now = time.monotonic()
        for side in self.sides:
            if side.wire is None and not side.is_refused and side not in self.away and now >= side.next_attempt:
                # A phone comes when there is an owner.
                if side.role == "mac" or side.pairing.mac.raised or side.pairing.mac.accepted:
                    side.connect()
        by_socket = {side.wire.socket: side for side in self.sides if side.wire}
        for ready in select.select(list(by_socket), [], [], 0.02)[0]:
            by_socket[ready].take()
        if self.is_raising and now >= self.next_alert:
            self.next_alert = max(self.next_alert, now - 1) + PACE / PAIRINGS
            due = [pairing.mac for pairing in self.pairings
                   if pairing.mac.raised < self.most and len(pairing.mac.waiting) < 18 and not pairing.is_revoked]
            if due:
                min(due, key=lambda mac: mac.raised).alert()
        while not self.service.pushes.empty():
            push = self.service.pushes.get()
            number = int(push["path"].split("/")[2].split("-")[0])
            phone = self.pairings[number].phones[int(push["path"][-1])]
            envelope = phone.subscription.opened(push["body"])["notification"]["data"]["envelope"]
            # Others are what a stranger has said.
            self.pushed.update((phone, alert) for alert, raised in phone.pairing.envelopes.items() if raised == envelope)

    def until(self, what, condition, limit=TIMEOUT):
        """The seconds until the condition holds."""
        began = time.monotonic()
        while not condition():
            check(time.monotonic() - began < limit, f"not within {limit} s: {what() if callable(what) else what}; {self.state()}")
            self.step()
        return time.monotonic() - began

    def go_on(self, seconds):
        """Time in which nothing in particular has to happen but a fault lasts."""
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            self.step()

    def wrong(self):
        """Whose presence is not what it is."""
        found = []
        for pairing in self.pairings:
            here = [phone for phone in pairing.phones if phone not in self.away]
            true = (sum(phone.is_active for phone in here), len(here))
            if pairing.is_revoked:
                continue
            if pairing.mac not in self.away and pairing.mac.presence != true:
                found.append(f"computer {pairing.number} at {pairing.mac.at} sees {pairing.mac.presence}, not {true}")
            found += [f"phone {pairing.number} at {phone.at} sees {phone.sees_mac}"
                      for phone in here if phone.sees_mac is not (pairing.mac not in self.away)]
        return found

    def missing(self):
        return sum(pairing.mac.raised - len(phone.shown) for pairing in self.pairings for phone in pairing.phones)

    def state(self):
        relays = [relay.readiness() for relay in self.relays] if self.relays else []
        return f"wrong: {self.wrong()[:6]}; {self.missing()} alerts missing; relays {relays}"

    def is_home(self):
        return all(side.wire and side.at == side.home for side in self.sides if side not in self.away)

    def all_home(self):
        """Everybody back on their own relay, so that the sides of each pairing are on three."""
        for side in self.sides:
            if side.wire and side.at != side.home:
                side.leave()
                side.turn, side.next_attempt = 0, 0.0
        self.until("everybody is at their own relay and sees the others",
                   lambda: self.is_home() and not self.wrong())

    def fault(self, name, begin, during, end):
        """What is done at the beginning of a fault, waited for while it lasts, and done at its end."""
        began = time.monotonic()
        begin()
        during()
        end()
        took = self.until(f"presence is right after: {name}", lambda: not self.wrong(), RIGHT)
        self.all_home()
        print(f"{name}: {time.monotonic() - began:.1f} s; presence right {took:.1f} s after its end", flush=True)

    def settle(self):
        """All that was raised is safe, at both phones, on screen once, and pushed once."""
        self.is_raising = False
        self.until("all alerts are safe", lambda: not any(pairing.mac.waiting for pairing in self.pairings))
        self.until("all alerts are at all phones", lambda: not self.missing())

        def unpushed():
            return [(f"{pairing.number}.{alert}", at) for pairing in self.pairings
                    for alert, at in pairing.mac.raised_at.items()
                    if not self.pushed[pairing.phones[0], f"{pairing.number}.{alert}"]
                    and f"{pairing.number}.{alert}" not in self.may_be_unpushed]

        self.until(lambda: f"all alerts are pushed: {unpushed()}", lambda: not unpushed())
        for pairing in self.pairings:
            for phone in pairing.phones:
                twice = [alert for alert, times in phone.shown.items() if times > 1]
                check(not twice, f"on screen twice: {twice}")
        twice = [alert for (_, alert), times in self.pushed.items() if times > 1]
        check(not twice, f"pushed twice: {twice}")


def relay_killed(world):
    victim = world.chance.randrange(RELAYS)
    relay = world.relays[victim]

    def begin():
        relay.kill()
        world.away |= {side for side in world.sides if side.at == victim and side.role == "phone"}
        now = time.monotonic()
        for pairing in world.pairings:
            mac = pairing.mac
            if mac.at == victim:
                # What it had still to push died with it.
                world.may_be_unpushed |= {f"{pairing.number}.{alert}" for alert, at in mac.raised_at.items() if now - at < 4}

    def during():
        world.until("a relay that has died has no viewers", lambda: not world.wrong(), RIGHT)
        world.away.clear()
        world.until("its clients are on others", lambda: not world.wrong())

    def end():
        relay.start()
        world.until("the relay is ready again", relay.is_ready)

    world.fault(f"relay {victim} killed", begin, during, end)


def node_killed(world):
    victim = world.engine.leader()

    def end():
        world.engine.nodes[victim].start()
        world.until("the engine is whole again", world.engine.is_ready)

    world.fault(f"node {victim}, the leader, killed", world.engine.nodes[victim].kill, lambda: world.go_on(5), end)


def relay_cut_off(world, how):
    victim = world.chance.randrange(RELAYS)
    links = world.relays[victim].links

    def during():
        world.until("/readyz says why", lambda: world.relays[victim].readiness()[0] == 503)
        live_on_one_relay(world)
        world.go_on(2)

    world.fault(f"relay {victim} cut off, {how}", lambda: [getattr(link, how)() for link in links], during,
                lambda: [link.heal() for link in links])


def node_cut_off(world, how):
    victim = world.engine.leader()
    links = world.engine.apart(victim)

    def end():
        for link in links:
            link.heal()
        world.until("the engine is whole again", world.engine.is_ready)

    world.fault(f"node {victim}, the leader, cut off, {how}", lambda: [getattr(link, how)() for link in links],
                lambda: world.go_on(8), end)


def engine_killed(world):
    def begin():
        for node in world.engine.nodes:
            node.kill()

    def during():
        world.until("/readyz says why", lambda: all(relay.readiness()[0] == 503 for relay in world.relays))
        live_on_one_relay(world)

    def end():
        for node in world.engine.nodes:
            node.start()
        world.until("the engine is whole again", world.engine.is_ready)
        world.until("the relays are ready again", lambda: all(relay.is_ready() for relay in world.relays))

    world.fault("all nodes killed", begin, during, end)


def live_on_one_relay(world):
    """Who has met on one relay is not disturbed by what happens around it."""
    pairing = world.pairings[-1]
    name = f"live {time.monotonic()}"
    check(pairing.mac.accepted, "a computer keeps its relay")
    pairing.mac.say(json.dumps({"c": "x", "n": name, "t": "s", "v": 1}))
    world.until("what is live on one relay goes on", lambda: name in pairing.phones[0].lives, 5)


def live_everywhere(world):
    name = f"live {time.monotonic()}"
    for pairing in world.pairings:
        pairing.mac.say(json.dumps({"c": "x", "n": name, "t": "s", "v": 1}))
    world.until("all phones get what is live", lambda: all(
        name in phone.lives for pairing in world.pairings for phone in pairing.phones), 5)


def strangers(world):
    """Whatever somebody else says on the subjects of relays, bounded and unbounded."""
    stranger = Stranger(world.engine.nodes[0].port)
    # Not of records: whoever may write those owns them.
    stranger.socket.sendall(b"SUB orvik.at.* 1\r\nSUB orvik.relays 2\r\nSUB orvik.answer.> 3\r\n")
    heard = [stranger.message() for _ in range(40)]
    subjects = sorted({subject for subject, _ in heard})
    print(f"a stranger repeats and spoils what {len(subjects)} subjects carry")
    for subject, data in heard:
        spoilt = bytearray(data)
        for _ in range(3):
            if spoilt:
                spoilt[world.chance.randrange(len(spoilt))] = world.chance.randrange(256)
        for said in (bytes(spoilt), data[:len(data) // 2], data + data, b"", b"\0" * 100, b"{" * 5000, b"x" * 500000,
                     os.urandom(64)):
            stranger.publish(subject, said)
    stranger.socket.close()
    # The relays' next signs of life show that there were false ones, and everything is said again.
    world.go_on(2)
    world.until("presence is right after what a stranger said", lambda: not world.wrong(), RIGHT)


def full(world):
    """The engine has no room: nothing new is called safe, and what is live goes on."""
    stranger = Stranger(world.engine.nodes[0].port)
    filling = []

    def begin():
        for size in (100_000, 10_000, 1_000, 100):
            answer = {}
            while "error" not in answer:
                filling.append(f"orvik.record.filler{len(filling)}")
                stranger.socket.sendall(b"SUB inbox.stranger 2\r\n")
                stranger.publish(filling[-1], bytes(size), "inbox.stranger")
                answer = json.loads(stranger.message()[1])
                world.step()

    def during():
        world.until("/readyz says why", lambda: any(relay.readiness()[0] == 503 for relay in world.relays))
        safe = [len(pairing.mac.waiting) for pairing in world.pairings]
        live_everywhere(world)
        world.go_on(2)
        check(all(len(pairing.mac.waiting) >= before for before, pairing in zip(safe, world.pairings)),
              "nothing is called safe that is not")

    def end():
        for subject in filling:
            stranger.ask("$JS.API.STREAM.PURGE.orvik", {"filter": subject})
            world.step()
        world.until("the relays are ready again", lambda: all(relay.is_ready() for relay in world.relays))

    world.fault("the engine's storage full", begin, during, end)


def revoked(world):
    """Over everywhere, also on a relay that could not hear it."""
    pairing = world.pairings[0]
    links = world.relays[pairing.phones[0].home].links
    for link in links:
        link.silence()
    pairing.is_revoked = True
    pairing.mac.say('{"revoked":true}')
    world.until("whoever can hear it is told", lambda: pairing.mac.is_refused and pairing.phones[1].is_refused)
    for link in links:
        link.heal()
    world.until("the third is told then", lambda: pairing.phones[0].is_refused, RIGHT + 5)


class Balancer:
    """What the operator's guide puts before several relays, without TLS."""

    def __init__(self):
        with open(os.path.join(root, "docs/operating.md"), encoding="utf-8") as file:
            text = re.search(r"\nglobal\n.*?(?=\n```)", file.read(), re.DOTALL)[0]
        self.port, self.socket = free_port(), path("admin.sock")
        for pattern, here in ((r"    (user|group) haproxy\n", ""), (r"/run/haproxy/admin.sock", self.socket),
                              (r"bind .*", f"bind 127.0.0.1:{self.port}"), (r" send-proxy-v2 ssl .*", ""),
                              (r"(server relay(\d)) .*", fr"\1 127.0.0.\2:{PORT} port {METRICS}")):
            text, count = re.subn(pattern, here, text)
            check(count, f"the guide has {pattern}")
        with open(path("haproxy.cfg"), "w", encoding="ascii") as file:
            file.write(text + "\n")
        running.append(subprocess.Popen([shutil.which("haproxy", path=PATH), "-q", "-f", path("haproxy.cfg")]))
        await_that(lambda: os.path.exists(self.socket), "haproxy is there")

    def take(self, place, relay):
        """The relay that has the place from now on."""
        with socket.socket(socket.AF_UNIX) as way:
            way.connect(self.socket)
            way.sendall(f"set server relays/relay{place + 1} addr {relay.host}\n".encode())
            check(b"changed" in way.recv(4096), "haproxy does it")


def rolling_restart(world):
    """One relay after the other, as the operator's guide says: a spare one takes its place before it
    drains, and it is the spare for the next."""
    world.balancer = Balancer()
    world.most += 10
    world.is_raising = True
    world.relays.append(Relay(RELAYS, world.engine, world.service))

    def all_there():
        return all(side.wire or side.is_refused for side in world.sides) and not world.wrong()

    for side in world.sides:
        if side.wire:
            side.leave()
    world.until("all are there over the balancer", all_there)
    before = {side: side.wire for side in world.sides if side.wire}
    for place in range(RELAYS):
        relay, spare = world.relays[place], world.relays[place - 1]
        world.until("the spare relay is ready", spare.is_ready)
        world.balancer.take(place, spare)
        here = int(re.search(r"^orvik_relay_authenticated_connections (\d+)", asked(
            f"http://{relay.host}:{METRICS}/metrics")[1], re.MULTILINE)[1])
        relay.program.process.send_signal(signal.SIGTERM)
        world.until("the relay has sent everybody away and ended",
                    lambda: relay.program.process.poll() is not None)
        check(relay.program.process.returncode == 0, "it ends well")
        took = world.until("every client is back after its relay's drain", all_there, 30)
        moved = [side for side in before if side.wire is not before[side]]
        check(len(moved) == here, f"{len(moved)} have moved, not those {here} of the relay")
        for side in moved:
            del before[side]
        print(f"{relay.host} drained: {here} clients moved, all back {took:.1f} s after it", flush=True)
        relay.start()
    check(not before, "each has moved once")


def bad_addresses():
    """One line of what can never be right, and a relay that says why it is not ready of what may be yet."""
    for wrong in ("nonsense", "http://127.0.0.1:4222", "nats://127.0.0.1:0",
                  "nats://:4222", "nats://a b:4222", "nats://127.0.0.1:4222,"):
        ended = subprocess.run([os.path.join(build, "relay/orvik-relay"), "--listen", "127.0.0.1:0", "--state",
                                path("state-bad"), "--cluster", wrong], capture_output=True, text=True, timeout=TIMEOUT,
                               check=False)
        lines = ended.stderr.splitlines()
        check(ended.returncode not in (0, -signal.SIGABRT) and len(lines) == 1, f"--cluster '{wrong}': {ended}")
    def secure(name):
        of = os.path.abspath(os.path.join(fixtures, name))
        return single(f"secure-{name}", store(f"secure-{name}") +
                      f"\ntls {{ cert_file: '{of}.pem', key_file: '{of}.key.pem' }}").port

    def trusting(name, port, **user):
        return [address(port, scheme="tls", **user), "--cluster-trust", os.path.join(fixtures, f"{name}.pem")]

    with open(path("wrong.creds"), "w", encoding="ascii") as file:
        file.write("-----BEGIN NATS USER JWT-----\nwrong\n------END NATS USER JWT------\n")
    tls, plain = secure("localhost"), single("plain").port

    def without(right, subject):
        name = f"no-{right}-{subject}"
        return [address(single(name, store(name), rights=f'{right}: {{ deny: ["orvik.{subject}"] }}').port),
                "--cluster-replicas", "1"]

    nodes = [
        ("No server available", [address(free_port())]), ("no JetStream", [address(plain)]),
        ("too old", [address(old())]), ("Authorization", [address(single("locked", store("locked"), "other").port)]),
        ("on 3 of its servers", [address(single("few", store("few")).port)]),
        ("self-signed certificate", trusting("other", tls)), ("address mismatch", trusting("other", secure("other"))),
        ("self-signed certificate", [address(tls)]), ("Secure Connection", [address(plain, scheme="tls")]),
        ("Authorization", trusting("localhost", tls, password="wrong")),
        ('for Subscription to "orvik.relays"', without("subscribe", "relays")),
        ('for Publish to "orvik.at.', without("publish", "at.>")),
        ("nkey", [address(plain), "--cluster-credentials", path("wrong.creds")]),
        ("", [*trusting("localhost", tls), "--cluster-replicas", "1"])]
    relays = []
    for number, (why, options) in enumerate(nodes):
        with open(path(f"bad{number}.log"), "w", encoding="utf-8") as log:
            relays.append(Program("orvik-relay", "--listen", "127.0.0.1:0", "--state", path(f"bad{number}"),
                                  "--metrics", "127.0.0.1:0", "--cluster", *options, stderr=log))
    for number, ((why, options), relay) in enumerate(zip(nodes, relays)):
        relay.line()
        at = relay.line().split(" at ")[1].replace("/metrics", "/readyz")
        status = 503 if why else 200
        await_that(lambda at=at, why=why, status=status: asked(at)[0] == status and why in asked(at)[1],
                   lambda at=at, why=why, options=options: f"{options}: /readyz says '{why}', not {asked(at)}")
        # A slow machine may have two reasons in turn.
        log = read(f"bad{number}.log").splitlines()
        check(all(one != other for one, other in itertools.pairwise(log)) and any(why in each for each in log) == bool(why),
              f"{options}: one line for each change: {log}")
        relay.ends()


def test():
    bad_addresses()
    world = World()
    began = time.monotonic()
    world.all_home()
    world.until("all phones are subscribed", lambda: all(
        phone.is_subscribed for pairing in world.pairings for phone in pairing.phones))
    live_everywhere(world)
    world.is_raising = True
    faults = [relay_killed, node_killed, lambda world: relay_cut_off(world, "silence")]
    if IS_LONG:
        # First, while what is kept of each computer still grows.
        faults = [full, *faults] + [lambda world: relay_cut_off(world, "shut"), lambda world: node_cut_off(world, "silence"),
                   lambda world: node_cut_off(world, "shut"), engine_killed, strangers]
    for fault in faults:
        fault(world)
    while IS_LONG and any(pairing.mac.raised < ALERTS for pairing in world.pairings):
        world.chance.choice(faults[1:])(world)
    world.until("all alerts are raised", lambda: all(pairing.mac.raised == ALERTS for pairing in world.pairings))
    world.settle()
    live_everywhere(world)
    revoked(world)
    if IS_LONG and not shutil.which("haproxy", path=PATH):
        print("no restart one by one: haproxy is not installed")
    elif IS_LONG:
        rolling_restart(world)
        world.settle()
    for relay in world.relays:
        relay.program.process.send_signal(signal.SIGINT)
        relay.program.ends(signum=None)
    alerts = sum(pairing.mac.raised for pairing in world.pairings)
    again = sum(phone.again for pairing in world.pairings for phone in pairing.phones)
    print(f"{alerts} alerts in {time.monotonic() - began:.0f} s, each at both phones and none on screen twice "
          f"({again} came again and were dropped), {sum(world.pushed.values())} pushes, none twice")


run(test)
