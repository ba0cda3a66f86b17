"""What docs/operating.md, the configuration file and the dashboard say of the relay is what it has:
its options and their defaults, its metrics, and the reasons for which connections end.

Called with the source folder and the relay.
"""

import pathlib
import re
import subprocess
import sys
import tempfile
import urllib.request

source, relay = pathlib.Path(sys.argv[1]), sys.argv[2]
document = (source / "docs/operating.md").read_text()
configuration = (source / "packaging/linux/orvik-relay.conf").read_text()
dashboard = (source / "packaging/relay/grafana.json").read_text()


def differ(what, one, other):
    assert one, what
    assert one == other, f"{what}: {sorted(one ^ other)}"


def named(section):
    """What stands in the first column of a section's table."""
    table = document.partition(f"\n## {section}\n")[2].partition("\n## ")[0]
    return {name for row in re.findall(r"^\| (`.*?) \|", table, re.M) for name in re.findall(r"`([a-z0-9_-]+)`", row)}


def check_options():
    described = subprocess.run([relay, "--help"], capture_output=True, text=True, check=True).stdout
    options = set(re.findall(r"^ +--([a-z-]+)", described, re.M)) - {"version", "config", "check"}
    differ("options", named("Options"), options)
    # The service's unit says where the state is.
    differ("configuration", set(re.findall(r"^#([a-z-]+) = ", configuration, re.M)), options - {"state"})
    defaults = dict(re.findall(r"^ +--([a-z-]+) (?:(?!^ +--).)*\(default: (\S+?)\)", described, re.M | re.S))
    assert len(defaults) > 10
    for name, value in defaults.items():
        assert re.search(rf'^#{name} = "?{re.escape(value)}"?$', configuration, re.M), f"{name}: {value}"


def check_configuration(scratch):
    """All that is commented out is taken when it is not."""
    files = {"page": source / "phone/page/dist", "store": scratch / "relay.sqlite"}
    text = re.sub(r"^#([a-z-]+ = )", r"\1", configuration, flags=re.M)
    text = re.sub(r"^(certificate|key|push-trust|cluster-credentials|cluster-trust) = .*\n", "", text, flags=re.M)
    for name, path in files.items():
        text = re.sub(rf"^{name} = .*$", f'{name} = "{path}"', text, flags=re.M)
    # One or the other.
    for without in ("store", "(copy-to-)?cluster[a-z-]*"):
        (scratch / "relay.conf").write_text(re.sub(rf"^{without} = .*\n", "", text, flags=re.M))
        subprocess.run([relay, "--check", "--config", scratch / "relay.conf", "--state", scratch], check=True,
                       stdout=subprocess.DEVNULL)


def metrics(scratch, *options):
    process = subprocess.Popen(
        [relay, "--listen", "127.0.0.1:0", "--metrics", "127.0.0.1:0", "--state", scratch, *options],
        stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
    try:
        address = next(line.split(" at ")[1].strip() for line in process.stdout if "metrics at" in line)
        return urllib.request.urlopen(address, timeout=10).read().decode()
    finally:
        process.kill()
        process.wait()
        process.stdout.close()


def main():
    check_options()
    with tempfile.TemporaryDirectory() as scratch:
        check_configuration(pathlib.Path(scratch))
        text = metrics(scratch)
        # Nobody has to be there.
        clustered = metrics(scratch, "--cluster", "nats://127.0.0.1:1")
    alone, served = (set(re.findall(r"^# TYPE orvik_relay_(\w+)", each, re.M)) for each in (text, text + clustered))
    differ("metrics", named("Metrics"), served)
    differ("causes", named("Why pushes fail"), set(re.findall(r'cause="(\w+)"', text)))
    differ("reasons", named("How connections end"), set(re.findall(r'reason="(\w+)"', text)))
    shown = {name.removesuffix("_bucket") for name in re.findall(r"orvik_relay_(\w+)", dashboard)}
    differ("dashboard", shown, alone)
    # It says the one that holds.
    states = re.findall(r'store_health{state="(\w+)"', text)
    assert states and f"`{states[0]}`" in document, states


if __name__ == "__main__":
    main()
