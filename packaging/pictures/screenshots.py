#!/usr/bin/env python3
"""Pictures for the documents, of nobody's computer: screenshots.py BUILD_FOLDER PICTURES_FOLDER."""

import os
import sys
import time

import dbus

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
sys.path.insert(0, os.path.join(ROOT, "tests", "endtoend"))

from desktop import (ITEM, Panel, Screen, await_that, start, start_application, start_bus,
                     start_display)
from programs import Program, build, path, run, start_relay

# Background and text of windows, fields and buttons.
COLOURS = {
    "light": (("Window", "239,240,241"), ("View", "252,252,252"), ("Button", "252,252,252")),
    "dark": (("Window", "42,46,50"), ("View", "27,30,32"), ("Button", "49,54,59"))}
TEXT = {"light": "35,38,41", "dark": "252,252,252"}


def launch(bus, display, options, locale, shade):
    config = path(shade)
    os.makedirs(config, exist_ok=True)
    with open(os.path.join(config, "kdeglobals"), "w", encoding="utf-8") as file:
        for part, background in COLOURS[shade]:
            file.write(f"[Colors:{part}]\nBackgroundNormal={background}\n"
                       f"ForegroundNormal={TEXT[shade]}\n")
    return start_application(
        bus, display, options[1], options[3], LANG=f"{locale}.UTF-8", LC_ALL=f"{locale}.UTF-8",
        LANGUAGE="", XDG_CONFIG_HOME=config,
        # Whose colours the toolkit reads out of a file.
        XDG_CURRENT_DESKTOP="KDE", KDE_FULL_SESSION="true", KDE_SESSION_VERSION="5")


def take():
    _, _, options = start_relay()
    bus = start_bus("session")
    panel = Panel(bus)
    display = start_display()
    screen = Screen(display)

    def picture(name, window, *options):
        time.sleep(1)  # for the eye only: nothing depends on it
        screen.run("import", "-frame", "-window", window, *options,
                   os.path.join(sys.argv[2], name))

    for name, locale, shade in (("window-light", "en_US", "light"),
                                ("window-dark", "en_US", "dark"),
                                ("window-arabic", "ar_EG", "light")):
        panel.items.clear()
        application = launch(bus, display, options, locale, shade)
        panel.await_item()
        if not screen.windows():
            panel.click(panel.texts()[3])
        window = screen.await_window()
        picture(f"{name}.png", window)
        if name == "window-light":
            panel.await_status("● Online")
            panel.click("Disconnect all phones…")
            dialog = await_that(lambda: (set(screen.windows()) - {window}), "the question comes")
            picture("dialog.png", dialog.pop())
            screen.press("Escape", lambda: len(screen.windows()) == 1, "the question is gone")
            screen.run("xdotool", "mousemove", "20", "20")
            item = panel.bus.get_object(panel.items[-1], "/StatusNotifierItem", introspect=False)
            item.Activate(dbus.Int32(20), dbus.Int32(20), dbus_interface=ITEM)
            picture("menu.png", "root", "-crop", "221x180+19+19")
            screen.run("xdotool", "key", "Escape")
        application.ends()
    terminal(display, options, picture)


def terminal(display, options, picture):
    """What a phone in a terminal shows of a computer that is made up."""
    sample = os.path.join(ROOT, "packaging", "pictures", "sample.json")
    agent = Program("orvik-agent", *options, "--name", "Ada’s laptop", "--sample-file", sample,
                    "--link-file", path("sample-link"))
    while not agent.line().startswith("online"):
        pass
    phone = os.path.join(build, "phone/terminal/orvik-phone")
    with open(path("sample-link"), encoding="utf-8") as link:
        start("xterm", "-fa", "DejaVu Sans Mono", "-fs", "10", "-geometry", "90x20", "-bg", "#0d1117",
              "-fg", "#e6edf3", "-b", "8", "-T", "orvik-phone", "-e",
              phone, link.read().strip(), *options,
              env={**os.environ, "DISPLAY": display, "LC_ALL": "C.UTF-8"})
    screen = Screen(display)
    window = await_that(lambda: screen.windows("orvik-phone"), "the terminal opens")[0]
    while agent.line() != "online, 1 phone connected":
        pass
    time.sleep(3)  # for its first sample to be drawn
    picture("terminal.png", window)


run(take)
