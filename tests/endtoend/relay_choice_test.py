#!/usr/bin/env python3
"""A first start of an application whose build has no relay: relay_choice_test.py BUILD_FOLDER.

The user types the address of a relay with a certificate of its own making, and trusts it."""

import base64
import hashlib
import json
import os
import signal
import ssl

from desktop import Panel, Screen, await_that, start_application, start_bus, start_display
from programs import Program, check, path, read, run, start_relay

UNCHOSEN = "No relay has been chosen yet"


def remembered():
    folder = path("config/orvik")
    name = next((n for n in os.listdir(folder) if n.endswith(".relay.json")), None)
    if name is None:
        return {}
    with open(os.path.join(folder, name), encoding="ascii") as file:
        text = json.load(file)["relay"]
    return json.loads(base64.urlsafe_b64decode(text + "=" * (-len(text) % 4)))


def test():
    relay, port, _ = start_relay()
    bus, display = start_bus("session"), start_display()
    panel, screen = Panel(bus), Screen(display)

    def launch(*arguments):
        panel.items.clear()
        application = start_application(bus, display, "", "", *arguments,
                                        ORVIK_LINK_FILE=path("link"))
        panel.await_item()
        return application

    def type_address(address):
        screen.run("xdotool", "key", "ctrl+a")
        screen.run("xdotool", "type", address)
        screen.run("xdotool", "key", "Return")

    application = launch()
    panel.await_status(UNCHOSEN)
    dialog = screen.await_window()
    await_that(lambda: screen.front() == dialog, "the question is in front")
    check(not os.path.exists(path("link")), "there is no link without a relay")
    def height():
        return int(screen.run("xdotool", "getwindowgeometry", "--shell", dialog)
                   .partition("HEIGHT=")[2].split()[0])

    low = height()
    # What leads nowhere leaves the question open.
    for address in ["nonsense", "wss://localhost:1"]:
        type_address(address)
        await_that(lambda: height() > low, f"a word on {address}")
        check(not remembered(), f"{address} is refused")
    type_address(f"wss://localhost:{port}")

    # The certificate's fingerprint takes some lines; the next field is the box to tick.
    await_that(lambda: height() > low + 60, "the fingerprint shows")
    check(not remembered(), "nothing is trusted unasked")
    screen.run("xdotool", "key", "Tab", "space", "Return")
    await_that(remembered, "the relay is remembered")
    panel.await_status("● Online")
    certificate = ssl.PEM_cert_to_DER_cert(read("state/certificate.pem"))
    digest = hashlib.sha256(certificate).hexdigest().upper()
    fingerprint = ":".join(digest[i:i + 2] for i in range(0, len(digest), 2))
    check(remembered() == {"url": f"wss://localhost:{port}", "fingerprint": fingerprint},
          f"what is remembered is {remembered()}")
    check(read("link").startswith(f"https://localhost:{port}/orvik/p#1."), "the page is the relay's")
    application.ends(signal.SIGTERM)

    # Remembered for the next start, and for the agent.
    application = launch()
    panel.await_status("● Online")
    agent = Program("orvik-agent", "--no-link", environment={"XDG_RUNTIME_DIR": path("")})
    application.ends(signal.SIGTERM)
    agent.await_line("online")
    agent.ends()
    application = launch("--relay", "wss://localhost:1")
    panel.await_status("Offline – reconnecting…")
    screen.await_window()
    check(remembered() == {"url": "wss://localhost:1"}, "another relay takes its place")
    application.ends(signal.SIGTERM)
    relay.ends()


run(test)
