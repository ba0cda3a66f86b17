#!/usr/bin/env python3
"""The built programs under faults that a seed chooses: chaos.py BUILD_FOLDER SEED MINUTES.

A relay, an agent, two phones and the page in a browser, each behind a network of its own that can
fail. Rounds of faults, while the agent raises alerts; after each round everything has to be as if
nothing had been."""

import json
import mmap
import os
import queue
import random
import resource
import signal
import struct
import subprocess
import sys
import threading
import time

import programs
from fault_proxy import FaultProxy
from programs import Program, found_at, path, read, root, start_page, start_phone

LOOKUPS, THREADS, DISK = range(3)  # as faults.c has them
SLACK = 5           # seconds that everything may take beside the waits that are meant
PAUSE = 0.05        # between two looks
LONGEST_WAIT = 60   # between two attempts to connect
SLEEP_SLACK = 3
# Until a connection on which nothing arrives any more is given up: from one ping to the next, when
# the last answer just got through, and the time that the next has.
NOTICED = {"agent": 80 + 20, "phone 1": 30 + 20, "phone 2": 30 + 20, "page": 30 + 20}
SILENT = 180        # after which the relay gives up a phone that says nothing
is_sanitized = b"__asan_init" in subprocess.run(
    ["nm", "-D", os.path.join(programs.build, "relay/orvik-relay")], stdout=subprocess.PIPE,
    check=True).stdout
# The sanitizer keeps freed memory.
GROWTH = (48 if is_sanitized else 8) * 1024  # KiB that a program may have more than at its start


class Breach(Exception):
    pass


class Actor:
    """One program, what can be done to it, and what it was seen to do."""

    def __init__(self, stage, name):
        self.stage, self.name = stage, name
        self.program = self.proxy = None
        self.file = name.replace(" ", "-")
        self.settled = None       # its memory, descriptors and threads once it was at rest
        with open(path(self.file + "-faults"), "w+b") as file:
            file.write(bytes(8))
            file.flush()
            self.faults = mmap.mmap(file.fileno(), 8)

    def environment(self):
        return {"LD_PRELOAD": self.stage.preload, "ORVIK_FAULTS": path(self.file + "-faults"),
                "ASAN_OPTIONS": "detect_leaks=1:strict_string_checks=1:quarantine_size_mb=2",
                "UBSAN_OPTIONS": "print_stacktrace=1"}

    def set_fault(self, kind, value):
        self.faults[kind] = value

    def set_clock(self, seconds):
        self.faults[4:] = struct.pack("i", seconds)

    def start(self):
        self.settled = None
        self.errors = path(self.file + "-errors")
        with open(self.errors, "ab") as errors:
            try:
                self.program = self.launch(errors)
            except queue.Empty:
                raise Breach(f"{self.name} starts:\n{read_tail(self.errors)}") from None

    @property
    def pid(self):
        return self.program.process.pid

    def is_running(self):
        return self.program.process.poll() is None

    def kill(self, signum=signal.SIGKILL):
        self.program.process.send_signal(signum)
        try:
            self.program.process.wait(timeout=programs.TIMEOUT)
        except subprocess.TimeoutExpired:
            raise Breach(f"{self.name} ends within {programs.TIMEOUT} s of signal {signum}") from None

    def takes(self, signum):
        """Whether it has a handler for the signal by now, and has taken the one before: of several
        that wait a program gets one."""
        with open(f"/proc/{self.pid}/status", encoding="utf-8") as file:
            masks = {line.split()[0]: int(line.split()[1], 16) >> (signum - 1) & 1
                     for line in file if line.startswith(("ShdPnd", "SigCgt"))}
        return masks["SigCgt:"] and not masks["ShdPnd:"]

    def grown(self):
        """What it has more of than when it was at rest first."""
        now = self.program.usage()
        if self.settled is None:
            self.settled = now
        allowed = {"KiB resident": GROWTH, "descriptors": 0, "threads": 0}
        return {key: f"{now[key]}, at rest {self.settled[key]}" for key in allowed
                if now[key] > self.settled[key] + allowed[key]}


class Relay(Actor):
    def __init__(self, stage):
        super().__init__(stage, "relay")
        self.ports = {}

    def launch(self, errors):
        relay = programs.Relay("--page", os.path.join(root, "phone/page/dist"), "--drain", "0", **self.ports,
                               stderr=errors, environment=self.environment())
        self.ports = {"port": relay.port, "plain": relay.plain}
        return relay


class Watched(Actor):
    """A program whose lines are looked at as they come, behind a network of its own."""

    def __init__(self, stage, name, kind="port"):
        super().__init__(stage, name)
        self.proxy = FaultProxy(stage.relay.ports[kind])
        self.options = found_at(self.proxy.port)

    def start(self):
        super().start()
        threading.Thread(target=self._follow, args=[self.program], daemon=True).start()

    def _follow(self, program):
        while program is self.program:
            self.take(program.lines.get())


class Agent(Watched):
    state = ""

    def launch(self, errors):
        self.stage.raised += 1  # it does so at its start
        return Program("orvik-agent", *self.options, "--name", "Studio", "--link-file", path("link"),
                       "--sample-file", path("sample.json"), "--emit-alert", "temp_high",
                       stderr=errors, environment=self.environment())

    def take(self, line):
        self.state = line


class Phone(Watched):
    def __init__(self, stage, name):
        super().__init__(stage, name)
        self.marker = None
        self.alerts = set()      # all that were ever shown
        self.shown = []          # since it was started
        self.heard = 0.0

    def launch(self, errors):
        self.shown = []
        return start_phone(read("link"), self.options, stderr=errors, environment=self.environment())

    def take(self, line):
        payload = json.loads(line)
        self.heard = time.monotonic()
        if "kind" in payload:
            alert = (payload["epoch_ms"], payload["kind"], payload["state"])
            self.shown.append(alert)
            self.alerts.add(alert)
        else:
            self.marker = payload["disk_free_gb"]


class Page(Watched):
    """Seen by what it shows, alerts as their number."""

    def __init__(self, stage):
        super().__init__(stage, "page", "plain")
        self.marker, self.heard = None, 0.0
        self.new = self.old = 0  # alerts
        self.phase = ""

    def launch(self, errors):
        return start_page(read("link"), self.proxy.port, stderr=errors)

    def take(self, line):
        shown = json.loads(line)
        self.heard = time.monotonic()
        self.marker = int(shown.get("free", "0").replace(",", ""))
        if "phase" in shown:
            self.new, self.phase = shown["alerts"], shown["phase"]

    def forget_alerts(self):
        """It shows 50 at the most."""
        if self.new > 20:
            self.old += self.new
            os.kill(self.pid, signal.SIGUSR2)
            self.stage.await_that(programs.TIMEOUT,
                                  lambda: "the page can mark alerts as seen" if self.new else "")

    def grown(self):
        return {}  # a browser's memory is its own business


class Fault:
    """Something that goes wrong for a while: `steps` does it, waits at its yield, and puts it
    right. `late` is how many seconds longer than the next wait the stream may take to be back,
    `ghost` how long the relay may count somebody who is not there any more."""

    def __init__(self, text, steps, lasts=0, late=0, ghost=0):
        self.text, self.steps, self.lasts = text, steps, lasts
        self.late, self.ghost = late, ghost


def network_fault(chance, actor):
    proxy, lasts = actor.proxy, chance.choice([1, 3, 8, 20])
    kind = chance.choice([*3 * ["reset", "refused", "black hole", "1 KB/s", "split", "delay"], "lost"])
    ways = chance.choice([[proxy.up], [proxy.down], [proxy.up, proxy.down]])
    which = "both ways" if len(ways) == 2 else "up" if ways[0] is proxy.up else "down"
    ends_with_reset, seed = chance.random() < 0.5, chance.random()
    delay = chance.choice([0.3, 2, 10, 30])
    late = ghost = 0

    def steps():
        if kind == "reset":
            proxy.reset()
        elif kind == "lost":
            proxy.lose()
        elif kind == "refused":
            proxy.refuses = True
            proxy.reset()
        for way in ways:
            if kind == "black hole":
                way.stalled = True
            elif kind == "1 KB/s":
                way.rate = 1000
            elif kind == "delay":
                way.delay = delay
            elif kind == "split":
                way.chance = random.Random(seed)
        if kind in ("split", "1 KB/s") and ends_with_reset:
            proxy.reset()  # the handshake, too
        yield
        proxy.heal()
        if kind == "black hole" and ends_with_reset:
            proxy.reset()

    text = f"{actor.name}: {kind}"
    if kind in ("reset", "lost"):
        lasts = 0
    else:
        text += f" for {lasts} s"
    if kind == "lost":
        late, ghost = NOTICED[actor.name], SILENT + 20
    if kind in ("black hole", "1 KB/s", "delay"):
        text += f", {which}"
    if kind == "delay":
        text += f", {delay} s"
    if kind == "black hole" and ends_with_reset:
        text += ", then reset"
    return Fault(text, steps, lasts, late, ghost)


def lookup_fault(chance, actor):
    lasts, value = chance.choice([2, 6, 15]), chance.choice([1, 2])

    def steps():
        actor.set_fault(LOOKUPS, value)
        actor.proxy.reset()
        yield
        actor.set_fault(LOOKUPS, 0)

    how = "fail" if value == 1 else "hang"
    return Fault(f"{actor.name}: look-ups {how} for {lasts} s", steps, lasts)


def kill_fault(chance, actor):
    lasts = chance.choice([0, 1, 4, 12])
    signum = chance.choice([signal.SIGKILL, signal.SIGKILL, signal.SIGTERM])

    def steps():
        if actor.name == "agent":
            actor.stage.alerts_may_be_lost()
        if actor.is_running():
            actor.kill(signum)
        yield
        actor.start()

    # A relay that goes asks everybody to spread out over one wait.
    return Fault(f"{actor.name}: {signum.name}, started again after {lasts} s", steps, lasts, late=1)


def stop_fault(chance, actor):
    lasts, is_cut = chance.choice([1, 5, 15]), chance.random() < 0.5

    def steps():
        os.kill(actor.pid, signal.SIGSTOP)
        if is_cut and actor.proxy:
            actor.proxy.reset()
        yield
        os.kill(actor.pid, signal.SIGCONT)

    return Fault(f"{actor.name}: stopped for {lasts} s" + (", sockets cut" if is_cut else ""),
                 steps, lasts)


def scarcity_fault(chance, actor):
    # The sanitizer ends a program that gets no memory.
    kinds = ["descriptors", "threads"] + ([] if is_sanitized else ["memory"])
    kind, lasts = chance.choice(kinds), chance.choice([2, 6, 15])

    def limit(which, value):
        _, most = resource.prlimit(actor.pid, which)
        resource.prlimit(actor.pid, which, (value(most), most))

    def steps():
        if kind == "descriptors":
            limit(resource.RLIMIT_NOFILE, lambda most: actor.program.usage()["descriptors"])
        elif kind == "threads":
            actor.set_fault(THREADS, 1)
        else:
            with open(f"/proc/{actor.pid}/statm", encoding="utf-8") as file:
                size = int(file.read().split()[0]) * resource.getpagesize()
            limit(resource.RLIMIT_AS, lambda most: size)
        for each in actor.stage.watched if actor.proxy is None else [actor]:
            each.proxy.reset()
        yield
        actor.set_fault(THREADS, 0)
        if actor.is_running():
            for which in (resource.RLIMIT_NOFILE, resource.RLIMIT_AS):
                limit(which, lambda most: most)

    return Fault(f"{actor.name}: no {kind} for {lasts} s", steps, lasts)


def disk_fault(chance, relay):
    lasts, value = chance.choice([2, 6, 15]), chance.choice([1, 2])
    resets = chance.random() < 0.5

    def steps():
        relay.set_fault(DISK, value)
        if resets:
            for each in relay.stage.watched:
                each.proxy.reset()
        yield
        relay.set_fault(DISK, 0)

    how = "full" if value == 1 else "read-only"
    return Fault(f"relay: disk {how} for {lasts} s" + (", all reset" if resets else ""), steps, lasts)


def clock_fault(chance, actor):
    """The clock stays as it is set, until another fault sets it."""
    offset, resets = chance.choice([0, 3600, -3600, 86400, -86400]), chance.random() < 0.5

    def steps():
        actor.set_clock(offset)
        if resets and actor.proxy:
            actor.proxy.reset()
        yield

    return Fault(f"{actor.name}: clock {offset / 3600:+.0f} h" + (", reset" if resets else ""), steps)


def preload():
    """What goes before a program's libraries to have it meet faults. The sanitizer's has to come
    first."""
    library = path("faults.so")
    subprocess.run(["cc", "-shared", "-fPIC", "-O1", "-Wall", "-Wextra", "-Werror", "-o", library,
                    os.path.join(os.path.dirname(__file__), "faults.c")], check=True)
    if not is_sanitized:
        return library
    found = subprocess.run(["cc", "-print-file-name=libasan.so"], stdout=subprocess.PIPE, text=True,
                           check=True)
    return f"{found.stdout.strip()} {library}"


def reload_fault(_, page):
    def steps():
        os.kill(page.pid, signal.SIGWINCH)
        yield

    return Fault("page: loaded anew", steps)


class Stage:
    def __init__(self, seed):
        self.preload = preload()
        self.chance = random.Random(seed)
        self.raised = self.may_be_lost = self.marker = self.faults = 0
        self.total_raised = self.counted = 0
        self.relay = Relay(self)
        self.mark()
        self.relay.start()
        self.agent = Agent(self, "agent")
        self.agent.start()
        while not os.path.exists(path("link")):
            time.sleep(0.02)
        self.phones = [Phone(self, f"phone {number}") for number in (1, 2)]
        self.page = Page(self)
        self.viewers = [*self.phones, self.page]
        for viewer in self.viewers:
            viewer.start()
        self.watched = [self.agent, *self.viewers]
        self.ours = [self.relay, self.agent, *self.phones]
        self.actors = [self.relay, *self.watched]

    def mark(self):
        """Makes the samples from now on other ones."""
        self.marker += 1
        readings = {"cpu_pct": 12.5, "disk_pct": 41.5, "disk_free_gb": self.marker,
                    "mac_info": {"name": "Studio"}}
        with open(path("new-sample"), "w", encoding="utf-8") as file:
            json.dump(readings, file)
        os.rename(path("new-sample"), path("sample.json"))

    def raise_alert(self):
        if self.agent.is_running() and self.agent.takes(signal.SIGUSR1):
            # Two with the same time would be the same; one before may have waited for a start.
            time.sleep(0.1)
            os.kill(self.agent.pid, signal.SIGUSR1)
            self.raised += 1

    def alerts_may_be_lost(self):
        """What the agent has raised, and not yet got rid of, ends with it."""
        both = set.intersection(*(phone.alerts for phone in self.phones))
        self.may_be_lost = max(self.may_be_lost, self.raised - len(both))

    def draw(self):
        """The faults of one round, and when alerts are raised; nothing but the seed counts."""
        chance = self.chance
        kinds = [(5, network_fault, self.watched), (2, lookup_fault, [self.agent, *self.phones]),
                 (2, kill_fault, self.ours), (2, stop_fault, self.ours),
                 (2, scarcity_fault, self.ours), (2, disk_fault, [self.relay]),
                 (2, clock_fault, self.ours), (1, reload_fault, [self.page])]
        faults, used = [], set()
        for _ in range(chance.choice([1, 1, 2, 3, 6])):
            _, make, actors = chance.choices(kinds, [weight for weight, _, _ in kinds])[0]
            actor = chance.choice(actors)
            fault = make(chance, actor)
            # What is killed or stopped can meet nothing else that is done to the process itself.
            what = (actor.name, make in (kill_fault, stop_fault, scarcity_fault) or make)
            if what not in used:
                faults.append(fault)
            used.add(what)
        lasts = max(fault.lasts for fault in faults)
        # Not so close together that two get the same time.
        first, number = chance.uniform(0, lasts + 1), chance.choice([0, 1, 1, 3])
        return faults, [first + 0.4 * i for i in range(number)]

    def play(self, faults, alerts):
        begun = time.monotonic()
        events = [(at, self.raise_alert) for at in alerts]
        for fault in faults:
            steps = fault.steps()
            events += [(0, lambda steps=steps: next(steps, None)),
                       (fault.lasts, lambda steps=steps: next(steps, None))]
        for at, do in sorted(events, key=lambda event: event[0]):
            time.sleep(max(0, begun + at - time.monotonic()))
            do()
        self.faults += len(faults)
        return time.monotonic() - begun

    def await_that(self, limit, problem):
        """Waits so many seconds until there is no problem any more. Where others keep the machine
        from us, and so from the programs, only a part of the time counts."""
        while (text := problem()):
            begun = time.monotonic()
            for actor in self.actors:
                if not actor.is_running():
                    raise Breach(f"{actor.name} goes on; it ended with status "
                                 f"{actor.program.process.returncode}:\n{read_tail(actor.errors)}")
            if limit < 0:
                raise Breach(text)
            time.sleep(PAUSE)
            limit -= min(time.monotonic() - begun, 1.5 * PAUSE)

    def check_after(self, faults, lasted):
        """The state that there has to be after faults that are over."""
        # The waits before the next one are together as long as it is.
        next_wait = min(LONGEST_WAIT, lasted + 1)
        return self.check(next_wait + SLACK + max(fault.late for fault in faults),
                          max(fault.ghost for fault in faults))

    def check(self, limit, ghost=0):
        begun = time.monotonic()
        self.mark()
        self.await_that(limit, lambda: ", ".join(
            f"{viewer.name} gets the stream within {limit:.0f} s, has heard nothing for "
            f"{time.monotonic() - viewer.heard:.0f} s"
            for viewer in self.viewers if viewer.marker != self.marker))
        back = time.monotonic() - begun
        wanted = f"online, {len(self.viewers)} phones connected"
        self.await_that(max(SLACK, ghost), lambda: "" if self.agent.state == wanted
                        else f"the agent says “{wanted}”, not “{self.agent.state}”")
        self.await_that(SLACK, lambda: "" if self.page.phase == "live"
                        else f"the page is live, not {self.page.phase}")
        self.await_that(SLACK, self.wrong_alerts)
        self.total_raised += len(self.phones[0].alerts) - self.counted
        self.raised, self.may_be_lost = len(self.phones[0].alerts), 0
        self.counted = self.raised
        self.page.forget_alerts()
        self.await_that(max(2 * SLACK, ghost), lambda: ", ".join(
            f"{actor.name} has grown: {actor.grown()}" for actor in self.actors if actor.grown()))
        return back

    def sleep(self, actor, seconds):
        """As a machine's: its network has forgotten it when it wakes up."""
        os.kill(actor.pid, signal.SIGSTOP)
        actor.proxy.reset()
        time.sleep(seconds)
        self.raise_alert()
        os.kill(actor.pid, signal.SIGCONT)
        back = self.check(SLEEP_SLACK)
        if back > SLEEP_SLACK:
            raise Breach(f"{actor.name} is back within {SLEEP_SLACK} s, not {back:.1f}")
        print(f"{actor.name}: stopped for {seconds:.0f} s, back after {back:.1f} s", flush=True)

    def wrong_alerts(self):
        seen = [phone.alerts for phone in self.phones]
        for phone in self.phones:
            if len(set(phone.shown)) != len(phone.shown):
                return f"{phone.name} shows each alert once: {phone.shown}"
        if seen[0] != seen[1]:
            return f"both phones have the same alerts: only one has {sorted(seen[0] ^ seen[1])}"
        if not self.raised - self.may_be_lost <= len(seen[0]) <= self.raised:
            return (f"{self.raised} alerts raised, of which {self.may_be_lost} may have ended with "
                    f"the agent, are on the phones; there are {len(seen[0])}")
        shown = self.page.old + self.page.new
        return "" if shown == len(seen[0]) else f"the page has all {len(seen[0])} alerts, not {shown}"

    def end(self):
        """All end as they should, and have kept nothing back that the sanitizer finds."""
        for actor in reversed(self.actors):
            actor.kill(signal.SIGTERM)
            if actor.program.process.returncode != 0:
                raise Breach(f"{actor.name} ends with status 0, not "
                             f"{actor.program.process.returncode}:\n{read_tail(actor.errors)}")
        for actor in self.actors:
            text = read_tail(actor.errors)
            if any(word in text for word in ("Sanitizer", "runtime error", "terminate called")):
                raise Breach(f"{actor.name} has no fault:\n{text}")


def read_tail(name):
    with open(name, encoding="utf-8", errors="replace") as file:
        return "".join(file.readlines()[-60:])


def rounds(stage, minutes, told):
    begun = time.monotonic()
    while (elapsed := (time.monotonic() - begun) / 60) < minutes:
        faults, alerts = stage.draw()
        told["fault"] = "; ".join(fault.text for fault in faults)
        print(f"{elapsed:6.2f} min  {told['fault']}", end="", flush=True)
        back = stage.check_after(faults, stage.play(faults, alerts))
        print(f": back after {back:.1f} s", flush=True)


def test():
    seed, minutes = sys.argv[2], float(sys.argv[3])
    begun = time.monotonic()
    elapsed = lambda: (time.monotonic() - begun) / 60
    told = {"fault": "none"}
    try:
        stage = Stage(seed)
        stage.check(programs.TIMEOUT)
        if seed == "sleep":
            for actor in stage.watched[:2]:
                told["fault"] = f"{actor.name} sleeps"
                stage.sleep(actor, minutes * 60)
        else:
            rounds(stage, minutes, told)
        told["fault"] = "the end"
        more = ", ".join(f"{actor.name} {actor.program.usage()['KiB resident'] - actor.settled['KiB resident']}"
                         for actor in stage.ours)
        stage.end()
    except Breach as breach:
        print(f"\nBreach: seed {seed}, minute {elapsed():.2f}, fault: {told['fault']}\n"
              f"Expected: {breach}")
        raise SystemExit(1) from None
    print(f"seed {seed}: {elapsed():.1f} minutes, {stage.faults} faults, {stage.total_raised} alerts, "
          f"no breach; KiB more than when each was at rest first: {more}")


if __name__ == "__main__":
    programs.run(test)
