#!/usr/bin/env python3
"""The pairing card drawn by the built program: pairing_picture_test.py BUILD_FOLDER.

Without a display or a session, and in surroundings that would lead Qt astray."""

import os
import struct
import subprocess
import sys

from programs import TIMEOUT, build, check, path, run

ASTRAY = {"LC_ALL": "C", "QT_QPA_PLATFORM": "xcb", "QT_QPA_PLATFORMTHEME": "gtk3",
          "QT_STYLE_OVERRIDE": "missing", "QT_SCALE_FACTOR": "3", "QT_FONT_DPI": "300",
          "DBUS_SESSION_BUS_ADDRESS": "unix:path=/nonexistent"}
# A bundle on a Mac.
PROGRAM = os.path.join(build, "OrvikApp", *(
    ["Orvik.app", "Contents", "MacOS", "Orvik"] if sys.platform == "darwin" else ["orvik"]))


def draw(*arguments):
    return subprocess.Popen([PROGRAM, *arguments], env=ASTRAY, stdin=subprocess.DEVNULL,
                            stdout=subprocess.PIPE, stderr=subprocess.STDOUT)


def picture(name):
    with open(name, "rb") as file:
        data = file.read()
    check(data.startswith(b"\x89PNG\r\n\x1a\n"), f"{name} is a PNG")
    check(struct.unpack(">I", data[16:20]) == (680,), f"{name} is 680 pixels wide")
    return data


def test():
    odd = os.fsencode(path("")) + b"\xff.png"
    names = [path("a.png"), path("b.png"), path("c.png"), odd]
    programs = [(0, draw("--ignored", "--render-pairing", names[0], "--render-pairing", "")),
                (0, draw("--render-pairing", names[1], "en")),
                (0, draw("--render-pairing", names[2], "de", "ignored")),
                (0, draw("--render-pairing", names[3], "xx"))]
    programs += [(1, draw("--render-pairing", name))
                 for name in ("", path(""), path("missing/card.png"), "/dev/full")
                 if name != "/dev/full" or os.path.exists(name)]
    for status, program in programs:
        printed, _ = program.communicate(timeout=TIMEOUT)
        check((program.returncode, printed) == (status, b""),
              f"{program.args} ended with {program.returncode} and printed {printed}")
    check(len({picture(name) for name in names}) == len(names), "no code is drawn twice")


run(test)
