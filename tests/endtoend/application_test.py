#!/usr/bin/env python3
"""The application on a desktop of its own, as a user meets it: application_test.py BUILD_FOLDER.

Its menu is read and its entries are chosen over the session bus, as a panel does it."""

import os
import shutil
import signal
import subprocess

from desktop import (LoginManager, Panel, Screen, await_that, start_application, start_bus,
                     start_display)
from programs import TIMEOUT, build, check, path, read, run, start_phone, start_relay

ONLINE = ["Orvik", "● Online", "-", "Add a phone…", "Pause for 1 hour", "Disconnect all phones…",
          "-", "Check for Updates…", "Quit Orvik"]


def connections(port):
    """How many computers and phones the relay has, as the kernel sees it."""
    with open("/proc/net/tcp", encoding="ascii") as lines:
        return sum(line.split()[1].endswith(f":{int(port):04X}") and line.split()[3] == "01"
                   for line in list(lines)[1:])


def sleep_and_wake(manager, panel, port):
    """The relay hears the goodbye before the machine sleeps, and the computer when it wakes."""
    await_that(manager.is_held, "sleep is held back")
    await_that(lambda: connections(port) == 1, "the computer is connected")
    manager.PrepareForSleep(True)
    await_that(lambda: not manager.is_held(), "the lock is released")
    check(connections(port) == 0, "the goodbye comes before the release")
    panel.await_status("Offline – reconnecting…")
    manager.PrepareForSleep(False)
    panel.await_status("● Online")
    await_that(manager.is_held, "the next sleep is held back")
    panel.click("Pause for 1 hour")
    await_that(lambda: panel.status().startswith("Paused until "), "the menu says until when")
    await_that(lambda: connections(port) == 0, "the pause says goodbye")
    check(panel.texts()[4] == "Resume", "a pause can be ended")
    await_that(lambda: panel.alpha() == round(0.35 * 255), "the icon is faint while paused")
    check(panel.item("IconName") == "orvik-paused-symbolic", "so is the one that the panel knows")
    panel.click("Resume")
    panel.await_status("● Online")


def test():
    relay, port, options = start_relay()
    system_bus = start_bus("system")
    manager = LoginManager(system_bus)
    bus = start_bus("session")
    panel = Panel(bus)
    display = start_display()
    screen = Screen(display)

    def launch():
        return start_application(bus, display, options[1], options[3],
                                 ORVIK_LINK_FILE=path("link"), DBUS_SYSTEM_BUS_ADDRESS=system_bus)

    # Nor does a switch that lacks its argument draw a picture.
    hopeless = [subprocess.Popen([os.path.join(build, "OrvikApp/orvik"), *arguments],
                                 stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                 env={"HOME": path(""), "PATH": os.environ["PATH"], **display})
                for arguments, display in [([], {}), (["--render-pairing"], {"DISPLAY": ":none"})]]

    # The first launch shows the code and makes itself a login item.
    application = launch()
    panel.await_item()
    panel.await_status("● Online")
    check(panel.texts() == ONLINE, f"the menu is {panel.texts()}")
    check([p.get("enabled", True) for _, p in panel.entries()][:2] == [False, True],
          "the heading cannot be clicked, and the status can be read in every style")
    check(panel.entries()[-1][1]["shortcut"] == [["Control", "Q"]], "Ctrl-Q quits")
    check(panel.alpha() == 255, "the icon is at full strength")
    shown = (panel.item("IconName"), panel.item("ItemIsMenu"), panel.item("ToolTip")[2])
    check(shown == ("orvik-symbolic", True, "Orvik\n● Online"), f"the panel is told {shown}")
    symbol = os.path.join(panel.item("IconThemePath"), "hicolor/22x22/status/orvik-symbolic.svg")
    check(os.path.exists(symbol), f"the panel finds {symbol}")
    screen.await_window()
    link = read("link")
    await_that(lambda: screen.code() == link, "the window's code is the link")
    check(os.listdir(path("config/autostart")), "the first launch registers the login item")

    # A later launch on another desktop, which has no panel yet, and without a relay.
    lonely_bus, lonely_display = start_bus("session"), start_display()
    shutil.copytree(path("data"), path("lonely/data"))
    lonely = start_application(lonely_bus, lonely_display, "wss://localhost:1", options[3],
                               XDG_CONFIG_HOME=path("lonely"), XDG_DATA_HOME=path("lonely/data"),
                               XDG_RUNTIME_DIR=path("lonely"))

    sleep_and_wake(manager, panel, port)
    phone = start_phone(link, options)
    panel.await_status("● 1 phones")
    phone.payload()

    def answer(key, until, message):
        others = screen.windows()
        panel.click("Disconnect all phones…")
        await_that(lambda: screen.front() not in ["", *others], "the question is in front")
        screen.press(key, until, message)

    # Disconnecting is asked about; the code in the window and the stored pairing change.
    answer("Escape", lambda: len(screen.windows()) == 1, "the question is gone")
    check(read("link") == link, "cancelling changes nothing")
    answer("Return", lambda: read("link") != link, "there is a new link")
    panel.await_status("● Online")
    phone.ends(signum=None, status=3)
    new_link = read("link")
    await_that(lambda: screen.code() == new_link, "the window shows the new code")
    phone = start_phone(new_link, options)
    panel.await_status("● 1 phones")
    phone.payload()

    # The window closes and comes back: from the menu, and when the application is started again.
    for ask in (lambda: panel.click("Add a phone…"), lambda: launch().ends(None)):
        screen.press("Escape", lambda: not screen.windows(), "the window closes")
        ask()
        screen.await_window()

    panel.click("Quit Orvik")
    application.ends(None)

    # Whoever starts it again finds the same pairing and no window.
    panel.items.clear()
    application = launch()
    panel.await_item()
    panel.await_status("● 1 phones")
    check(not screen.windows(), "a later launch opens no window")
    check(read("link") == new_link, "the pairing is kept")
    # Without a panel the window comes and has the menu; with one it is an ordinary window again.
    panel.vanish()
    lonely_screen = Screen(lonely_display)
    lonely_screen.await_window()
    check(not lonely_screen.code(), "nobody has asked for the code")
    lonely_screen.press("ctrl+w", lambda: not lonely_screen.windows(), "the window closes")
    lonely_panel = Panel(lonely_bus)
    lonely_panel.await_item()
    check(not lonely_screen.windows(), "a window that was put away stays so with the panel")
    lonely_panel.click("Add a phone…")
    lonely_screen.await_window()
    await_that(lonely_screen.code, "now somebody has")
    tip = lonely_panel.item("ToolTip")[2]
    check(tip == "Orvik\nOffline – reconnecting…\nThis relay cannot be reached.", f"the icon says {tip}")
    lonely.ends(signal.SIGTERM)
    screen.await_window()
    screen.press("ctrl+q", lambda: application.process.poll() is not None, "Ctrl-Q quits")
    application.ends(None)

    for program in hopeless:
        said, complaint = program.communicate(timeout=TIMEOUT)
        check((program.returncode, said, complaint.count(b"\n")) == (1, b"", 1),
              f"a missing display gives {program.returncode}, {said + complaint}")

    phone.ends()
    relay.ends()


run(test)
