"""The built programs, started for a test on loopback and ended with it."""

import contextlib
import ctypes
import json
import os
import queue
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time

TIMEOUT = 30  # seconds after which something that has to happen is held not to happen
build = sys.argv[1]
root = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
scratch = tempfile.TemporaryDirectory()
# A browser's profile, say, whose browser had no time to remove it.
os.environ["TMPDIR"] = scratch.name
running = []
tidying = []  # of these those that leave something outside the folder unless they are asked to end
starting = threading.Lock()
ENDING = signal.SIGTERM, signal.SIGINT, signal.SIGHUP
BECOME_SUBREAPER = 36  # PR_SET_CHILD_SUBREAPER in <sys/prctl.h>


def path(name):
    return os.path.join(scratch.name, name)


class Program:
    """A program whose lines are read as they come."""

    def __init__(self, name, *arguments, stdin="", folder=None, environment=None, stderr=None):
        folder = folder or name.removeprefix("orvik-")
        self.name = name
        self.lines = queue.Queue()
        with starting:
            self.process = subprocess.Popen(
                [os.path.join(build, folder, name), *arguments],
                stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=stderr, text=True,
                env={**os.environ, "XDG_CONFIG_HOME": path("config"), "XDG_DATA_HOME": path("data"),
                     "DBUS_SESSION_BUS_ADDRESS": "unix:path=/nonexistent", **(environment or {})})
            running.append(self.process)
        self.process.stdin.write(stdin)
        self.process.stdin.close()
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        for line in self.process.stdout:
            self.lines.put(line.rstrip("\n"))

    def line(self):
        return self.lines.get(timeout=TIMEOUT)

    def await_line(self, start):
        while not self.line().startswith(start):
            pass

    def payload(self):
        return json.loads(self.line())

    def forget(self):
        """Drops what has come so far."""
        while not self.lines.empty():
            self.lines.get()

    def until(self, condition):
        """The payloads up to the first that meets the condition."""
        payloads = [self.payload()]
        while not condition(payloads[-1]):
            payloads.append(self.payload())
        return payloads

    def kill(self):
        self.process.kill()
        self.process.wait()

    def usage(self):
        return usage(self.process.pid)

    def ends(self, signum=signal.SIGTERM, status=0):
        if signum is not None:
            self.process.send_signal(signum)
        check(self.process.wait(timeout=TIMEOUT) == status,
              f"{self.name} ended with {self.process.returncode}, not {status}")


def usage(pid):
    """Resident KiB, descriptors and threads."""
    with open(f"/proc/{pid}/status", encoding="utf-8") as file:
        status = dict(line.split(":", 1) for line in file)
    return {"KiB resident": int(status["VmRSS"].split()[0]),
            "descriptors": len(os.listdir(f"/proc/{pid}/fd")), "threads": int(status["Threads"])}


def check(condition, message):
    if not condition:
        raise AssertionError(message)


def await_that(condition, message):
    """The message may be one that the moment makes."""
    deadline = time.monotonic() + TIMEOUT
    while not condition():
        check(time.monotonic() < deadline, message() if callable(message) else message)
        time.sleep(0.02)


class Relay(Program):
    """With its ports with and without TLS, free ones unless they are given."""

    def __init__(self, *options, port=0, plain=0, **more):
        super().__init__("orvik-relay", "--listen", f"127.0.0.1:{port}", "--listen-plain", f"127.0.0.1:{plain}",
                         "--state", path("state"), *options, **more)
        self.port, self.plain = (int(re.search(r":(\d+)", self.line()).group(1)) for _ in range(2))


def found_at(port):
    """The options with which an agent or a phone finds a relay."""
    return ["--relay", f"wss://localhost:{port}", "--trust", path("state/certificate.pem")]


def start_relay(port=0):
    """The relay, its port, and the options that find it."""
    relay = Relay(port=port)
    return relay, relay.port, found_at(relay.port)


def read(name):
    with open(path(name), encoding="utf-8") as file:
        return file.read().strip()


def start_phone(link, options, **more):
    return Program("orvik-phone", "-", "--json", *options, stdin=link, folder="phone/terminal", **more)


def start_page(link, port, *options, **more):
    """A browser that looks at the page of a relay at this port, without TLS."""
    return Program(shutil.which("node"), os.path.join(root, "tests/page/watch.mjs"),
                   f"http://localhost:{port}/orvik/p#{link.split('#')[1]}", *options, **more)


def children():
    """Those of this process; on Linux also what programs started that have ended since."""
    if sys.platform != "linux":
        return [process.pid for process in running if process.poll() is None]
    found = []
    for task in os.listdir("/proc/self/task"):
        with contextlib.suppress(FileNotFoundError):  # the thread has ended: ask again
            with open(f"/proc/self/task/{task}/children", encoding="ascii") as file:
                found += [int(pid) for pid in file.read().split()]
    return found


def end_all():
    starting.acquire(timeout=TIMEOUT)  # for good: threads start nothing any more
    for process in tidying:
        process.terminate()
    for process in tidying:
        with contextlib.suppress(subprocess.TimeoutExpired):
            process.wait(TIMEOUT)
    # The children of those that end become ours.
    while pids := children():
        for pid in pids:
            # Some thread may have waited for it.
            with contextlib.suppress(ProcessLookupError, ChildProcessError):
                os.kill(pid, signal.SIGKILL)
                os.waitpid(pid, 0)


def run(test):
    """Runs a test; whatever it has started ends with it, also when it is told to end itself."""
    if sys.platform == "linux":
        ctypes.CDLL(None).prctl(BECOME_SUBREAPER, 1, 0, 0, 0)
    for signum in ENDING:
        signal.signal(signum, lambda number, _: sys.exit(128 + number))
    try:
        test()
        print("passed")
    finally:
        for signum in ENDING:
            signal.signal(signum, signal.SIG_IGN)
        end_all()
        scratch.cleanup()
