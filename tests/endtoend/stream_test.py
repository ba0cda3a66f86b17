#!/usr/bin/env python3
"""Relay, agent and two phones, as they are built, on loopback: stream_test.py BUILD_FOLDER.

The readings come out of a file, so that it is known what has to arrive."""

import json
import os
import signal
import time

from programs import Program, check, path, read, run, start_phone, start_relay


def has(member):
    """Full samples have "mac_info", alerts a "kind", the second sample a "history"."""
    return lambda payload: member in payload


def join(phone, others=()):
    """A phone that joins gets a full sample, then the history; so do the others."""
    first, second = phone.payload(), phone.payload()
    check("mac_info" in first and "history" not in first, "the first sample is full, without history")
    check("history" in second and "mac_info" not in second, "the second has the history")
    for other in others:
        payloads = other.until(has("history"))
        check("mac_info" in payloads[-2], "everybody gets the full sample before the history")


def take_alerts(phone):
    """Those of the agent's start."""
    alerts = {alert["kind"]: alert for alert in (phone.payload(), phone.payload())}
    check(sorted(alerts) == ["disk_full", "temp_high"], f"both alerts, not {alerts}")
    return alerts


def link_at_start(options):
    """What an agent shows that is started and ended."""
    agent = Program("orvik-agent", *options)
    lines = [agent.line(), agent.line()]
    agent.line()  # it runs
    agent.ends()
    return lines[1]


def test():
    # Two minutes ago, so that its minute is complete and the history is not empty.
    epoch = int(time.time()) - 120
    readings = {"epoch": epoch, "cpu_pct": 12.5, "power_w": 7, "disk_pct": 91.5}
    with open(path("sample.json"), "w", encoding="utf-8") as sample:
        json.dump({**readings, "mac_info": {"name": "Zoë"}}, sample)

    relay, port, options = start_relay()
    agent = Program("orvik-agent", *options, "--name", "Zoë’s Mac", "--link-file", path("link"),
                    "--sample-file", path("sample.json"), "--emit-alert", "temp_high")
    agent.await_line("online, 0 phones connected")
    link = read("link")
    check(os.stat(path("link")).st_mode & 0o777 == 0o600, "the link is its owner's alone")

    # The alerts of the start, the made-up one and that of the readings, have waited for the phone.
    phone = start_phone(link, options)
    alerts = take_alerts(phone)
    check(alerts["disk_full"]["value"] == 91.5, "the readings' alert has their value")
    join(phone)
    before = time.monotonic()
    phone.forget()
    payload = phone.payload()
    check(payload == {**readings, "epoch_ms": payload["epoch_ms"]}, f"a plain sample, not {payload}")
    check(time.monotonic() - before < 5, "samples come every two seconds")

    # For every phone that comes within a day.
    second = start_phone(link, options)
    check(take_alerts(second) == alerts, "both phones get the same")
    join(second, others=[phone])

    # A phone with the right identifier and another secret.
    head, macId, secret, name = link.rsplit(".", 3)
    stranger = start_phone(".".join([head, macId, secret[::-1][1:] + "A", name]), options)
    stranger.ends(signum=None, status=3)

    relay.ends(signal.SIGKILL, status=-signal.SIGKILL)
    phone.forget()
    second.forget()
    agent.await_line("offline")
    agent.process.send_signal(signal.SIGUSR1)
    relay, _, _ = start_relay(port)
    arrived = []
    for one in (phone, second):
        # The stream resumes by itself, with a full sample.
        payloads = one.until(has("mac_info")) + one.until(has("history")) + [one.payload()]
        arrived.append(list(filter(has("kind"), payloads)))
        check(all(later["epoch_ms"] > alerts["temp_high"]["epoch_ms"] for later in arrived[-1]), "a new alert")
    check(list(map(len, arrived)) == [1, 1], f"the alert of the break comes once to each: {arrived}")

    second.ends()
    agent.await_line("online, 1 phone connected")
    agent.ends(signal.SIGINT)
    agent.await_line("stopped")
    phone.ends()

    check(link_at_start([*options, "--name", "Zoë’s Mac"]) == link, "the pairing lasts")
    # A phone that waits for a computer which comes back with another pairing is told.
    phone = start_phone(link, options)
    renewed = link_at_start([*options, "--new-pairing"])
    check(renewed.split(".")[-3:-1] != [macId, secret], "both values of a new pairing are new")
    check(link_at_start(options) == renewed, "the new pairing lasts")
    agent = Program("orvik-agent", *options, "--no-link")
    agent.await_line("online")
    phone.ends(signum=None, status=3)
    agent.ends()
    # What can be neither kept nor seen pairs nobody: a service is to try again.
    Program("orvik-agent", *options, "--no-link",
            environment={"XDG_DATA_HOME": "/dev/null"}).ends(signum=None, status=1)
    relay.ends()


run(test)
