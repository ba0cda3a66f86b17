#!/usr/bin/env python3
"""The application on a desktop of its own, as a user meets it: application_test.py BUILD_FOLDER.

Its menu is read and its entries are chosen over the session bus, as a panel does it."""

import os
import signal
import subprocess

from desktop import Panel, Screen, await_that, start_application, start_bus, start_display
from programs import TIMEOUT, build, check, path, run, start_phone, start_relay

ONLINE = ["Orvik", "● Online", "-", "Add a phone…", "Pause for 1 hour", "Disconnect all phones…",
          "-", "Check for Updates…", "Quit Orvik"]


def read(file):
    with open(file, encoding="utf-8") as opened:
        return opened.read()


def decode(file):
    return subprocess.run(["zbarimg", "--quiet", "--raw", file], text=True, capture_output=True,
                          check=False).stdout.strip()


def test():
    relay, port = start_relay()
    options = ["--relay", f"wss://localhost:{port}", "--trust", path("state/certificate.pem")]
    bus = start_bus("session")
    panel = Panel(bus)
    display = start_display()
    screen = Screen(display)

    def launch():
        return start_application(bus, display, options[1], options[3],
                                 ORVIK_LINK_FILE=path("link"))

    # The first launch shows the code and makes itself a login item.
    application = launch()
    panel.await_item()
    panel.await_status("● Online")
    check(panel.texts() == ONLINE, f"the menu is {panel.texts()}")
    check([p.get("enabled", True) for _, p in panel.entries()][:2] == [False, False],
          "heading and status cannot be clicked")
    check(panel.entries()[-1][1]["shortcut"] == [["Control", "Q"]], "Ctrl-Q quits")
    check(panel.alpha() == 255, "the icon is at full strength")
    screen.await_window()
    link = read(path("link")).strip()
    await_that(lambda: screen.code() == link, "the window's code is the link")
    check(os.listdir(path("config/autostart")), "the first launch registers the login item")

    # A phone comes, and is left alone for the length of a pause.
    phone = start_phone(link, options)
    panel.await_status("● 1 phones")
    phone.payload()
    panel.click("Pause for 1 hour")
    check(panel.await_status(*[t for t in [panel.status()] if t.startswith("Paused until ")]),
          "the menu says until when")
    check(panel.texts()[4] == "Resume", "a pause can be ended")
    await_that(lambda: panel.alpha() == round(0.35 * 255), "the icon is faint while paused")
    panel.click("Resume")
    panel.await_status("● 1 phones")
    phone.forget()
    phone.payload()

    def answer(key, until, message):
        others = screen.windows()
        panel.click("Disconnect all phones…")
        await_that(lambda: screen.front() not in ["", *others], "the question is in front")
        screen.press(key, until, message)

    # Disconnecting is asked about; the code in the window and the stored pairing change.
    answer("Escape", lambda: len(screen.windows()) == 1, "the question is gone")
    check(read(path("link")).strip() == link, "cancelling changes nothing")
    answer("Return", lambda: read(path("link")).strip() != link, "there is a new link")
    panel.await_status("● Online")
    new_link = read(path("link")).strip()
    await_that(lambda: screen.code() == new_link, "the window shows the new code")
    phone = start_phone(new_link, options)
    panel.await_status("● 1 phones")
    phone.payload()

    # The window closes and comes back: from the menu, and when the application is started again.
    for ask in (lambda: panel.click("Add a phone…"), lambda: launch().ends(None)):
        screen.press("ctrl+w", lambda: not screen.windows(), "the window closes")
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
    check(read(path("link")).strip() == new_link, "the pairing is kept")
    # Without a panel the window comes and has the menu; with one it is an ordinary window again.
    panel.vanish()
    screen.await_window()
    screen.press("ctrl+q", lambda: application.process.poll() is not None, "Ctrl-Q quits")
    application.ends(None)
    application = launch()
    screen.await_window()
    screen.press("ctrl+w", lambda: not screen.windows(), "the window closes")
    panel.appear()
    panel.await_item()
    check(not screen.windows(), "a window that was put away does not come back with the panel")
    application.ends(signal.SIGTERM)

    def run_without_session(*arguments, **variables):
        return subprocess.run(
            [os.path.join(build, "OrvikApp/orvik"), *arguments], check=False, capture_output=True,
            env={"HOME": path(""), "PATH": os.environ["PATH"], **variables}, timeout=TIMEOUT)

    for variables in ({}, {"DISPLAY": ":none"}):
        done = run_without_session(**variables)
        check((done.returncode, done.stdout, done.stderr.count(b"\n")) == (1, b"", 1),
              f"a missing display gives {done}")

    # A picture needs neither display nor bus.
    for place, status in ((path("card.png"), 0), (path("missing/card.png"), 1)):
        done = run_without_session("--render-pairing", place, "ar")
        check((done.returncode, done.stdout, done.stderr) == (status, b"", b""),
              f"rendering to {place} gives {done}")
    # Its link opens: what the phone then complains about is that no relay is there.
    with subprocess.Popen([os.path.join(build, "phone/terminal/orvik-phone"), "-", "--relay",
                           "wss://localhost:1"], stdin=subprocess.PIPE, stderr=subprocess.PIPE,
                          stdout=subprocess.DEVNULL, text=True) as picture:
        picture.stdin.write(decode(path("card.png")))
        picture.stdin.close()
        note = picture.stderr.readline()
        picture.kill()
    check("next attempt" in note, f"the rendered link does not open: {note}")

    phone.ends()
    relay.ends()


run(test)
