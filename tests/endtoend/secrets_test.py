#!/usr/bin/env python3
"""Where the keys are, and where they are not: secrets_test.py BUILD_FOLDER.

The memory of each program is read as its administrator can, and searched for the secret, the keys
that come from it and the link, as bytes and as text; so is whatever the programs write."""

import base64
import hashlib
import hmac
import os
import resource
import shutil
import signal
import subprocess
import sys
import tempfile

from programs import Program, await_that, build, check, path, read, run, running, start_phone, start_relay

is_root = os.geteuid() == 0
NOT_ALL = 77  # as CMake has it
PAGE = resource.getpagesize()
# A sanitizer's notes about memory, which are none of the program's, are the only larger ones.
LARGEST = 1 << 34
# As the packages are linked: the system's linker, when it looks a function up late, leaves what is in
# the processor's registers on the stack.
os.environ["LD_BIND_NOW"] = "1"
# It passes the reader and the writer of settings, who do not know that it is a key; when it is
# written, the relay is about to refuse it for ever.
WORTHLESS = "relay key of a retired pairing as it is stored"


def derived(secret, salt, label):
    key = hmac.digest(salt, secret, hashlib.sha256)
    return hmac.digest(key, label + b"\x01", hashlib.sha256)


def text(data):
    return base64.urlsafe_b64encode(data).rstrip(b"=")


class Secrets:
    """What is looked for of one pairing: halves too, as a block that was freed loses its begin."""

    def __init__(self, link):
        identifier, secret = (base64.urlsafe_b64decode(part + "==") for part in
                              link.split("#")[1].split(".")[1:3])
        keys = {"secret": secret, "encryption key": derived(secret, identifier, b"orvik enc v1"),
                "relay key": derived(secret, identifier, b"orvik auth v1")}
        stored = text(text(identifier) + b" " + text(keys["relay key"]))
        forms = {WORTHLESS: stored[40:]}
        for name, key in keys.items():
            forms[name] = key
            forms[name + " as text"] = text(key)
            forms[name + " as wide text"] = text(key).decode().encode("utf-16-le")
        self.pieces = {}
        for name, form in forms.items():
            half = len(form) // 4 * 2
            self.pieces[form[:half]] = self.pieces[form[half:]] = name

    def within(self, content):
        return {name for piece, name in self.pieces.items() if piece in content}


def resident(memory, pages, begin, end):
    """The content of the mapped pages from one address to another that have any."""
    flags = os.pread(pages, (end - begin) // PAGE * 8, begin // PAGE * 8)
    first = None
    for index in range(len(flags) // 8 + 1):
        # Present, or written to a disk meanwhile.
        is_there = flags[8 * index + 7:8 * index + 8] > b"\x3f"
        if is_there and first is None:
            first = index
        elif not is_there and first is not None:
            yield os.pread(memory, (index - first) * PAGE, begin + first * PAGE)
            first = None


def in_memory(program, secrets):
    found = set()
    folder = f"/proc/{program.process.pid}"
    memory, pages = (os.open(f"{folder}/{name}", os.O_RDONLY) for name in ("mem", "pagemap"))
    with open(f"{folder}/maps", encoding="utf-8") as maps:
        for line in maps:
            begin, end = (int(edge, 16) for edge in line.split()[0].split("-"))
            if "w" in line.split()[1] and end - begin < LARGEST:
                for content in resident(memory, pages, begin, end):
                    found |= secrets.within(content)
    os.close(memory)
    os.close(pages)
    return found


def seen_from_outside(program):
    """What whoever lists the processes sees."""
    return b"".join(file_content(f"/proc/{program.process.pid}/{name}")
                    for name in ("cmdline", "environ"))


def listens(program):
    """Whether it can be reached over a network."""
    folder = f"/proc/{program.process.pid}"
    own = {os.readlink(f"{folder}/fd/{number}") for number in os.listdir(f"{folder}/fd")}
    sockets = b"".join(file_content(f"{folder}/net/{table}") for table in ("tcp", "tcp6"))
    rows = [row.split() for row in sockets.decode().splitlines()]
    return any(row[3] == "0A" and f"socket:[{row[9]}]" in own for row in rows)


def file_content(name):
    with open(name, "rb") as file:
        return file.read()


def await_memory(program, secrets, *kept):
    """Of these secrets the memory has what is kept, and soon nothing else."""
    def found():
        return in_memory(program, secrets) - {WORTHLESS} if is_root else set(kept)
    await_that(lambda: found() == set(kept),
               lambda: f"{program.name} has {sorted(found())} in its memory, not {list(kept)}")


def leaves_core(process):
    """Whether one that crashes leaves an image of its memory."""
    os.kill(process.pid, signal.SIGABRT)
    process.returncode = -signal.SIGABRT
    return os.WCOREDUMP(os.waitpid(process.pid, 0)[1])


def check_crash(program):
    pid = program.process.pid
    check(resource.prlimit(pid, resource.RLIMIT_CORE) == (0, 0), f"{program.name} limits core dumps")
    check(not leaves_core(program.process), f"{program.name} leaves a core dump")


def check_traced():
    """What cannot be dumped belongs to the administrator: no program of the same user may look."""
    nobody = {"user": 65534, "group": 65534, "extra_groups": []} if is_root else {}
    user = nobody.get("user", os.geteuid())
    commands = [("sleep", "60"), (f"{build}/phone/terminal/orvik-phone", "-"),
                (f"{build}/agent/orvik-agent", "--no-link", "--relay", "wss://localhost:1"),
                (f"{build}/OrvikApp/orvik",)]
    with tempfile.TemporaryDirectory(dir="/tmp") as home:
        os.chown(home, user, -1)
        environment = {"HOME": home, "XDG_RUNTIME_DIR": home, "QT_QPA_PLATFORM": "offscreen",
                       "ORVIK_RELAY": "wss://localhost:1",
                       "DBUS_SESSION_BUS_ADDRESS": "unix:path=/nonexistent"}
        for command in filter(lambda command: shutil.which(command[0]), commands):
            owner = user if command[0] == "sleep" else 0
            program = subprocess.Popen(command, stdin=subprocess.PIPE, cwd=home, env=environment, **nobody)
            running.append(program)
            await_that(lambda of=f"/proc/{program.pid}/mem", owner=owner: os.stat(of).st_uid == owner,
                       f"others of its user can read the memory of {command[0]}, or of sleep nobody")
            program.kill()
            program.wait()


class Terminal:
    """The agent, and another that disconnects the phones in its stead."""

    kept = ["secret"]

    def __init__(self, options):
        self.options = [*options, "--link-file", path("link")]
        self.program = Program("orvik-agent", *self.options)
        self.program.await_line("online")

    def disconnect_phones(self):
        former = read("link")
        other = Program("orvik-agent", *self.options, "--new-pairing", "--no-link")
        await_that(lambda: read("link") != former, "there is a new link")
        other.ends()

    def close_window(self):
        pass


class Desk:
    """The application on a desktop, whose user disconnects the phones."""

    kept = ["secret", "secret as text"]  # for who wants to copy the link

    def __init__(self, options):
        import desktop  # pylint: disable=import-outside-toplevel; not where there is none
        bus = desktop.start_bus("session")
        self.panel = desktop.Panel(bus)
        display = desktop.start_display()
        self.screen = desktop.Screen(display)
        # With the sanitizer too, what is freed is given out again: a library's copies of the link
        # are overwritten in that way.
        sanitizer = (os.environ.get("ASAN_OPTIONS", "") +
                     ":quarantine_size_mb=0:thread_local_quarantine_size_kb=0")
        self.program = desktop.start_application(bus, display, options[1], options[3],
                                                 ORVIK_LINK_FILE=path("link"),
                                                 ASAN_OPTIONS=sanitizer)
        self.panel.await_item()
        self.panel.await_status("● Online")
        self.panel.click("Add a phone…")
        self.screen.await_window()

    def disconnect_phones(self):
        former, others = read("link"), self.screen.windows()
        self.panel.click("Disconnect all phones…")
        await_that(lambda: self.screen.front() not in ["", *others], "the question is asked")
        self.screen.press("Return", lambda: read("link") != former, "there is a new link")
        self.panel.await_status("● Online")

    def close_window(self):
        self.screen.press("Escape", lambda: not self.screen.windows(), "the window closes")


def start_phone_with_argument(link, options):
    return Program("orvik-phone", link, "--json", *options, folder="phone/terminal")


def follow(relay, computer, options):
    """From a pairing to its end, and into the next one. Gives what is secret in both."""
    former_link = read("link")
    former = Secrets(former_link)
    phones = [start(former_link, options) for start in (start_phone, start_phone_with_argument)]
    for phone in phones:
        phone.payload()
    computer.close_window()
    await_memory(computer.program, former, *computer.kept)
    for phone in phones:
        await_memory(phone, former, "secret")
    await_memory(relay, former)
    check(listens(relay) and not any(map(listens, (computer.program, *phones))), "who can be reached")
    for program in (relay, computer.program, *phones):
        check(not former.within(seen_from_outside(program)), f"{program.name} shows its keys")

    computer.disconnect_phones()
    for phone in phones:
        phone.ends(signum=None, status=3)
    present = Secrets(read("link"))
    await_memory(computer.program, former)
    await_memory(computer.program, present, *computer.kept)
    for secrets in (former, present):
        await_memory(relay, secrets)
    return [former, present]


def files_with(secrets):
    found = {}
    for folder, _, names in os.walk(path("")):
        for file in (os.path.join(folder, name) for name in names):
            if os.path.isfile(file):
                found[os.path.relpath(file, path(""))] = secrets.within(file_content(file))
    return {name: what for name, what in found.items() if what}


def trial():
    check_traced()
    relay, _, options = start_relay()
    for place in [Terminal] + ([Desk] if os.path.exists(f"{build}/OrvikApp/orvik") else []):
        computer = place(options)
        former, present = follow(relay, computer, options)
        phone = start_phone(read("link"), options)
        phone.payload()
        # That of the old pairing goes when the relay has been told.
        await_that(lambda: not files_with(former), lambda: f"old keys are in {files_with(former)}")
        kept = files_with(present)
        check(all(name == "link" or (name.startswith("data/") and what == {"secret"})
                  for name, what in kept.items()) and len(kept) == 2, f"keys are in {kept}")
        for program in (phone, computer.program):
            check_crash(program)
        check(not files_with(former) and files_with(present) == kept, "a crash leaves keys")
        said = "".join(list(relay.lines.queue)).encode()
        check(not former.within(said) and not present.within(said), "the relay's log has keys")
    relay.ends()


def test():
    # What the programs complain of is searched as well.
    complaints = os.dup(2)
    with open(path("complaints"), "wb") as file:
        os.dup2(file.fileno(), 2)
    try:
        trial()
    finally:
        os.dup2(complaints, 2)


run(test)
if not is_root:
    print("Not looked at: the programs' memory, which the administrator alone may read")
    sys.exit(NOT_ALL)
