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


def draw(*arguments, status=0):
    ended = subprocess.run([PROGRAM, *arguments], env=ASTRAY, timeout=TIMEOUT,
                           stdin=subprocess.DEVNULL, capture_output=True, check=False)
    check(ended.returncode == status, f"{arguments} ended with {ended.returncode}")
    check(ended.stdout + ended.stderr == b"", f"{arguments} printed {ended.stdout + ended.stderr}")


def picture(name):
    with open(name, "rb") as file:
        data = file.read()
    check(data.startswith(b"\x89PNG\r\n\x1a\n"), f"{name} is a PNG")
    check(struct.unpack(">I", data[16:20]) == (680,), f"{name} is 680 pixels wide")
    return data


def test():
    odd = os.fsencode(path("")) + b"\xff.png"
    for name, locale in ((path("a.png"), []), (path("b.png"), ["de", "ignored"]), (odd, ["xx"])):
        draw("--ignored", "--render-pairing", name, *locale)
        before = picture(name)
        draw("--render-pairing", name, *locale)
        check(picture(name) != before, "no code is drawn twice")
    for name in ("", path(""), path("missing/card.png")):
        draw("--render-pairing", name, status=1)
    if os.path.exists("/dev/full"):
        draw("--render-pairing", "/dev/full", status=1)


run(test)
