#!/usr/bin/env python3
"""A day's work in half an hour: soak.py BUILD_FOLDER [MINUTES].

Relay, agent, application and the page in a browser run at 48 times their pace, watched all the
time, while the agent's pairing is replaced 50 times and 200 phones come and go. Prints what each
program holds after each eighth of the time; ends with status 1 where that has grown."""

import os
import signal
import subprocess
import sys
import threading
import time

from gi.repository import GLib

import programs
from chaos import preload
from desktop import Panel, start_application, start_bus, start_display
from programs import Program, await_that, check, found_at, path, read, root, start_page, start_phone

SPEED = 48
PAIRINGS, PHONES = 50, 200
SHARES = 8          # of the time, at whose ends it is measured
SETTLED = 2         # shares, until everything that a program keeps for good has been used once
MEMORY = 1.05, 1024  # how much more there may be afterwards: a factor, and KiB
STAYS = 2           # seconds that a phone stays
ARRIVE = 0.9        # of the samples and of the visitors
SHIM = preload()
minutes = float(sys.argv[2]) if len(sys.argv) > 2 else 30
came = []  # of each visitor: whether it saw something

BEGUN = time.time()


def fast():
    """Time for a program that starts now: it goes 48 times as fast, for all of them since BEGUN."""
    return {"LD_PRELOAD": f"{SHIM} /usr/$LIB/faketime/libfaketime.so.1",
            "FAKETIME": f"+{(SPEED - 1) * (time.time() - BEGUN):.1f} x{SPEED}",
            "FAKETIME_DONT_RESET": "1", "ORVIK_SPEED": str(SPEED)}


class Measured:
    """A program whose resources are looked at."""

    def __init__(self, name, program):
        self.name, self.program, self.pid = name, program, program.process.pid
        self.woken = self.wakeups()
        self.rows = []

    def processes(self):
        return [self.pid]

    def wakeups(self):
        """Times that any of its threads gave up the processor and was woken again."""
        sum_of_all = 0
        for status in (f"/proc/{pid}/task/{thread}/status" for pid in self.processes()
                       for thread in os.listdir(f"/proc/{pid}/task")):
            try:
                with open(status, encoding="utf-8") as file:
                    sum_of_all += next(int(line.split()[1]) for line in file
                                       if line.startswith("voluntary_ctxt"))
            except FileNotFoundError:  # it has just ended
                pass
        return sum_of_all

    def usage(self):
        each = [programs.usage(pid) for pid in self.processes()]
        return {key: sum(one[key] for one in each) for key in each[0]}

    def measure(self, seconds):
        woken = self.wakeups()
        # The least of some moments: timers come and go with descriptors, visitors with sockets.
        looks = [self.usage()]
        while len(looks) < 40:
            time.sleep(0.05)
            looks.append(self.usage())
        row = {key: min(look[key] for look in looks) for key in looks[0]}
        row["wake-ups a minute"] = round((woken - self.woken) / (seconds * SPEED / 60))
        self.rows.append(row)
        self.woken = woken

    def growth(self):
        """What it has more of at the end."""
        # A pairing that has just been replaced has not everything yet: of an agent's what leaks is
        # more than ever.
        renewed = ("descriptors", "threads") if self.name == "agent" else ()
        first = {key: max(row[key] for row in self.rows[:-1 if key in renewed else SETTLED])
                 for key in self.rows[0]}
        last = self.rows[-1]
        allowed = self.allowed(first)
        return [f"{self.name}: {key} {first[key]} -> {last[key]}" for key in last
                if last[key] > allowed[key]]

    @staticmethod
    def allowed(first):
        factor, more = MEMORY
        return {**first, "KiB resident": first["KiB resident"] * factor + more,
                "wake-ups a minute": first["wake-ups a minute"] * 1.5 + 10}


class Page(Measured):
    """With its browser, which holds what it likes: less is asked of all its processes together."""

    def processes(self):
        found = [self.pid]
        for pid in found:
            for thread in os.listdir(f"/proc/{pid}/task"):
                with open(f"/proc/{pid}/task/{thread}/children", encoding="ascii") as file:
                    found += map(int, file.read().split())
        return found

    def measure(self, seconds):
        super().measure(seconds)
        # Here too: what the next samples leave behind is there before it is counted.
        looks = [self.held() for _ in range(10)]
        self.rows[-1].update({key: min(look[key] for look in looks) for key in looks[0]})

    def held(self):
        self.program.forget()
        self.program.process.send_signal(signal.SIGHUP)
        while "JSHeapUsedSize" not in (line := self.program.payload()):
            pass
        return {"heap KiB": line["JSHeapUsedSize"] // 1024, "nodes": line["Nodes"],
                "listeners": line["JSEventListeners"]}

    @staticmethod
    def allowed(first):
        # The curves of the day grow with it.
        return {key: 1.25 * value for key, value in first.items()}


class Looking:
    """A phone that looks all the time; of a pairing that is replaced its successor goes on."""

    def __init__(self, link_file, options):
        self.link_file, self.options = link_file, options
        self.samples = self.histories = self.starts = 0
        threading.Thread(target=self._run, daemon=True).start()

    def _run(self):
        while True:
            self.starts += 1
            phone = start_phone(read(self.link_file), self.options, environment=fast(),
                                stderr=subprocess.DEVNULL)
            for line in iter(lambda: self._next(phone), None):
                self.samples += 1
                self.histories += '"history"' in line
            time.sleep(0.2)

    @staticmethod
    def _next(phone):
        while True:
            try:
                return phone.lines.get(timeout=0.2)
            except Exception:
                if phone.process.poll() is not None:
                    return None


def start():
    relay = programs.Relay("--page", os.path.join(root, "phone/page/dist"), "--max-phones", "100",
                           environment=fast())
    options = found_at(relay.port)
    agent = Program("orvik-agent", *options, "--link-file", path("link"), environment=fast())
    agent.await_line("online")
    bus = start_bus("session")
    panel = Panel(bus)
    threading.Thread(target=GLib.MainLoop().run, daemon=True).start()
    application = start_application(
        bus, start_display(), options[1], options[3], ORVIK_LINK_FILE=path("application-link"),
        XDG_CONFIG_HOME=path("application"), XDG_DATA_HOME=path("application"), **fast())
    await_that(lambda: os.path.exists(path("application-link")), "the application has a pairing")
    page = start_page(read("application-link"), relay.plain, str(SPEED), str(BEGUN))
    page.await_line('{"phase":"live"')
    looking = [Looking(name, options) for name in ("link", "application-link")]
    return panel, options, looking, [
        Measured("agent", agent), Measured("application", application), Measured("relay", relay), Page("page", page)]


def replace_pairing(options):
    """As a user does it beside an agent that runs, who goes on with the new one."""
    before = read("link")
    other = Program("orvik-agent", *options, "--new-pairing", "--no-link", environment=fast(),
                    stderr=subprocess.DEVNULL)
    await_that(lambda: read("link") != before, "the agent takes the new pairing")
    other.ends()


def visit(options):
    phone = start_phone(read("link"), options, environment=fast(), stderr=subprocess.DEVNULL)
    time.sleep(STAYS)
    phone.process.terminate()
    phone.process.wait()
    programs.running.remove(phone.process)
    came.append(not phone.lines.empty())


def test():
    panel, options, looking, measured = start()
    seconds = minutes * 60
    begun = time.monotonic()
    events = [(seconds * (i + 0.5) / PAIRINGS, replace_pairing) for i in range(PAIRINGS)]
    events += [(seconds * i / PHONES, lambda *given: threading.Thread(
        target=visit, args=given, daemon=True).start()) for i in range(PHONES)]
    events += [(seconds * (i + 1) / SHARES, lambda *_: [each.measure(seconds / SHARES)
                                                       for each in measured]) for i in range(SHARES)]
    for at, do in sorted(events, key=lambda event: event[0]):
        time.sleep(max(0, begun + at - time.monotonic()))
        do(options)
    table(measured)
    expected = int(seconds * SPEED / 2)
    for each, name in zip(looking, ("agent", "application")):
        print(f"{name}: {each.samples} samples at its phone, of {expected}, "
              f"{each.histories} with the history; {each.starts} pairings")
    print(f"{sum(came)} of {len(came)} visitors saw the computer")
    grown = [line for each in measured for line in each.growth()]
    check(all(each.samples >= ARRIVE * expected and each.histories for each in looking) and
          sum(came) >= ARRIVE * PHONES, "the day is one of work")
    check(not grown, "\n".join(["grown:", *grown]))


def table(measured):
    for each in measured:
        for key in each.rows[0] if each.rows else []:
            print(f"{each.name:12} {key:18}" + "".join(f"{row[key]:9}" for row in each.rows))


if __name__ == "__main__":
    programs.run(test)
