#!/usr/bin/env python3
"""Where the keys are, and where they are not: secrets_test.py BUILD_FOLDER.

The memory of each program is read as its administrator can, and searched for the secret, the keys
that come from it and the link, as bytes and as text; so is whatever the programs write."""

import base64
import hashlib
import hmac
import os
import resource
import subprocess
import sys

from programs import Program, check, path, read, run, start_phone, start_relay

PAGE = resource.getpagesize()
# A sanitizer's notes about memory, which are none of the program's, are the only larger ones.
LARGEST = 1 << 34


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
        forms = {"stored retired pairing": stored[40:]}
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
                    found |= {(name, line.split()[5:] and line.split()[5]or hex(begin)) for name in secrets.within(content)} if os.environ.get("WHERE") else secrets.within(content)
    os.close(memory)
    os.close(pages)
    return found


def check_clean(program, secrets, *kept):
    """Of these secrets the memory has what is kept, and nothing else."""
    found = in_memory(program, secrets)
    check(found == set(kept), f"{program.name} has in its memory: {sorted(found)}, not {sorted(kept)}")


def test():
    relay, _, options = start_relay()
    agent = Program("orvik-agent", *options, "--no-link", "--link-file", path("link"))
    agent.await_line("online, 0")
    former_link = read("link")
    former = Secrets(former_link)
    phone = start_phone(former_link, options)
    phone.payload()
    agent.await_line("online, 1")
    for program, kept in [(agent, ["secret"]), (phone, ["secret"]), (relay, [])]:
        print(program.name, in_memory(program, former), kept)

    # Disconnected by another program of the same user, as the application or a second agent.
    other = Program("orvik-agent", *options, "--no-link", "--link-file", path("new-link"), "--new-pairing")
    phone.ends(signum=None, status=3)
    agent.await_line("online")
    other.ends()
    present = Secrets(read("new-link"))
    for program in [agent, relay]:
        print(program.name, in_memory(program, former), in_memory(program, present))


run(test)
