#!/usr/bin/env python3
"""What a phone sees of this machine, beside what the system's own tools say at the same time:
readings_test.py BUILD_FOLDER. Linux only."""

import os
import re
import subprocess
import sys
import time

from programs import Program, build, check, path, read, run, running, start_phone, start_relay


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True,
                          env={**os.environ, "LC_ALL": "C"}).stdout


def near(name, ours, theirs, bound):
    check(ours is not None and abs(ours - theirs) <= bound,
          f"{name}: {ours} here, {theirs} there, more than {bound} apart")


def top(pid):
    """Use of all processors, and of one by the process, over 4 s."""
    text = output("top", "-b", "-w", "200", "-n", "2", "-d", "4", "-p", str(pid)).rsplit("%Cpu(s)", 1)[1]
    idle = re.search(r"([\d.]+) id", text)
    process = re.search(rf"^\s*{pid} .*?\s[A-Z]\s+([\d.]+)", text, re.MULTILINE)
    return 100 - float(idle.group(1)), float(process.group(1))


def test():
    # A program that nobody else runs keeps a processor busy.
    os.symlink(os.path.realpath(sys.executable), path("busy-for-a-test"))
    busy = subprocess.Popen([path("busy-for-a-test"), "-c", "while True: pass"])
    running.append(busy)
    _, _, options = start_relay()
    # By a name that no agent beside it has.
    os.symlink(os.path.join(build, "agent/orvik-agent"), path("agent-of-a-test"))
    agent = Program(path("agent-of-a-test"), *options, "--link-file", path("link"))
    agent.await_line("online, 0 phones connected")
    phone = start_phone(read("link"), options)
    phone.payload()

    # The samples that come while `top` counts.
    phone.forget()
    use, share = top(busy.pid)
    samples = [phone.payload() for _ in range(2)]
    near("use of the processors", sum(sample["cpu_pct"] for sample in samples) / 2, use, 20)
    shares = [{name: percent for percent, name in reversed(sample["procs"])} for sample in samples]
    near("use by one process", sum(each.get("busy-for-a-test", 0) for each in shares) / 2, share, 20)
    check("agent-of-a-test" not in shares[-1], "the agent does not count itself")

    sample = phone.until(lambda payload: "connections" in payload)[-1]
    memory = next(line.split() for line in output("free", "-b").splitlines() if line.startswith("Mem:"))
    total, available = int(memory[1]), int(memory[6])
    near("memory", sample["ram_total_gb"], total / 2**30, 0.05)
    near("memory in use", sample["ram_pct"], 100 - 100 * available / total, 5)

    home = os.environ.get("HOME", "/")
    used, free = map(int, output("df", "-B1", "--output=used,avail", home).splitlines()[1].split())
    near("disk", sample["disk_pct"], 100 * used / (used + free), 0.5)
    near("free space", sample["disk_free_gb"], free / 1e9, 1.5)

    route = re.search(r"^default via (\S+) dev (\S+)", output("ip", "route"), re.MULTILINE)
    network = sample["connections"]["network"]
    if route is None:
        check(network is None or ":" in network["gateway"], f"no way out, but {network}")
    else:
        check(network["gateway"] == route.group(1), f"{network} is not {route.group(0)}")

    with open("/proc/loadavg", encoding="ascii") as file:
        near("load", sample["load"][2], float(file.read().split()[2]), 0.3)
    near("uptime", sample["uptime_h"], time.clock_gettime(time.CLOCK_BOOTTIME) / 3600, 0.1)
    near("time", sample["epoch"], time.time(), 10)


run(test)
