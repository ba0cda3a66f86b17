#!/usr/bin/env python3
"""Pictures of the application for the documents: screenshots.py BUILD_FOLDER PICTURES_FOLDER."""

import os
import sys
import time

import dbus

from desktop import ITEM, Panel, Screen, start_bus, start_display
from programs import Program, path, run, start_relay

DARK = """[Colors:Window]
BackgroundNormal=42,46,50
ForegroundNormal=252,252,252
[Colors:View]
BackgroundNormal=27,30,32
ForegroundNormal=252,252,252
[Colors:Button]
BackgroundNormal=49,54,59
ForegroundNormal=252,252,252
[Colors:Selection]
BackgroundNormal=61,174,233
ForegroundNormal=252,252,252
"""


def start_application(display, bus, options, locale, dark):
    config = path("dark" if dark else "light")
    os.makedirs(config, exist_ok=True)
    if dark:
        with open(os.path.join(config, "kdeglobals"), "w", encoding="utf-8") as file:
            file.write(DARK)
    return Program("orvik", folder="OrvikApp", environment={
        "DBUS_SESSION_BUS_ADDRESS": bus, "DISPLAY": display, "QT_QPA_PLATFORM": "xcb",
        "LANG": f"{locale}.UTF-8", "LC_ALL": f"{locale}.UTF-8", "LANGUAGE": "",
        "XDG_RUNTIME_DIR": path(""), "XDG_CONFIG_HOME": config,
        # Whose colours the toolkit reads out of a file.
        "XDG_CURRENT_DESKTOP": "KDE", "KDE_FULL_SESSION": "true", "KDE_SESSION_VERSION": "5",
        "ORVIK_RELAY": options[1], "ORVIK_TRUST": options[3]})


def take():
    _, port = start_relay()
    options = ["--relay", f"wss://localhost:{port}", "--trust", path("state/certificate.pem")]
    bus = start_bus("session")
    panel = Panel(bus)
    display = start_display()
    screen = Screen(display)

    def picture(name, window):
        time.sleep(1)  # for the eye only: nothing depends on it
        screen.run("import", "-frame", "-window", window, os.path.join(sys.argv[2], name))

    for name, locale, dark in (("window-light", "en_US", False), ("window-dark", "en_US", True),
                               ("window-arabic", "ar_EG", False)):
        panel.items.clear()
        application = start_application(display, bus, options, locale, dark)
        panel.await_item()
        if not screen.windows():
            panel.click(panel.texts()[3])
        window = screen.await_window()
        picture(f"{name}.png", window)
        if name == "window-light":
            panel.await_status("● Online")
            panel.click("Disconnect all phones…")
            picture("dialog.png", screen.run("xdotool", "getactivewindow"))
            screen.press("Escape")
            screen.run("xdotool", "mousemove", "20", "20")
            item = panel.bus.get_object(panel.items[-1], "/StatusNotifierItem", introspect=False)
            item.Activate(dbus.Int32(20), dbus.Int32(20), dbus_interface=ITEM)
            menu = screen.run("xdotool", "search", "--onlyvisible", "--class", "orvik").split()
            picture("menu.png", menu[-1])
            screen.press("Escape")
        application.ends()


run(take)
