#!/usr/bin/env python3
"""Runs the lines of docs/operating.md that lead from a bare server to values on the phone, as they
stand, in the root folder of a Debian 12: operating_trial.py ROOT PACKAGES

A block of the document says behind "sh" whose it is: that of a server in front is tried apart from
the others', "network" installs packages, "background" stays. All else runs in a network of its own,
which has nothing but loopback. A local authority stands in for the public one, and since no systemd
runs in there, services are started by the ExecStart line of their units.
"""

import configparser
import glob
import os
import re
import shlex
import shutil
import signal
import socket
import subprocess
import sys
import time

root, packages = sys.argv[1:3]
here = os.path.dirname(os.path.abspath(__file__))
host = "orvik.example.org"
configuration = root + "/etc/orvik-relay/orvik-relay.conf"


def blocks():
    with open(os.path.join(here, "../../docs/operating.md"), encoding="utf-8") as file:
        text = file.read().partition("\n## Certificates")[0]
    return [(words.split(), body) for words, body in re.findall(r"```sh ([a-z ]+)\n(.*?)```", text, re.S)]


def write(path, text, mode=0o644):
    with open(root + path, "w", encoding="utf-8") as file:
        file.write(text)
    os.chmod(root + path, mode)


class Machine:
    """The root folder and its network."""

    def __init__(self):
        self.sleeper = subprocess.Popen(["unshare", "--net", "sh", "-c", "ip link set lo up; echo; exec sleep 100000"],
                                        stdout=subprocess.PIPE)
        self.sleeper.stdout.readline()
        self.services = {}

    def command(self, command, user="root", isolated=True):
        where = ["nsenter", f"--net=/proc/{self.sleeper.pid}/ns/net"] if isolated else []
        return [*where, "chroot", root, "env", "-i", "PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin",
                "LANG=C.UTF-8", "DEBIAN_FRONTEND=noninteractive", "HOME=/root",
                *([] if user == "root" else ["runuser", "--login", user, "--command", shlex.join(command)]),
                *(command if user == "root" else [])]

    def run(self, script, **how):
        done = subprocess.run(self.command(["sh", "-euc", "cd ~; " + script], **how), stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=600, check=False)
        if done.returncode:
            sys.exit(f"{script}\n{done.stdout}\noperating_trial: the line above failed")
        return done.stdout

    def unit(self, name):
        parser = configparser.RawConfigParser(strict=False)
        parser.optionxform = str
        with open(f"{root}/lib/systemd/system/{name}.service", encoding="utf-8") as file:
            # Settings that stand there twice do not matter here.
            parser.read_string(file.read())
        return parser["Service"]

    def start(self, name):
        unit = self.unit(name)
        user = unit.get("User", "root")
        users = {line.split(":")[0]: line.split(":") for line in open(root + "/etc/passwd", encoding="utf-8")}
        for setting, parent in (("StateDirectory", "/var/lib/"), ("RuntimeDirectory", "/run/")):
            if setting in unit:
                folder = root + parent + unit[setting]
                os.makedirs(folder, exist_ok=True)
                os.chown(folder, int(users[user][2]), int(users[user][3]))
        environment = dict(part.split("=", 1) for part in shlex.split(unit.get("Environment", "")))
        os.makedirs(root + "/run/systemd", exist_ok=True)
        notified = root + "/run/systemd/notify"
        if os.path.exists(notified):
            os.unlink(notified)
        manager = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        manager.bind(notified)
        os.chmod(notified, 0o666)
        environment |= {"NOTIFY_SOCKET": "/run/systemd/notify", "HOME": users[user][5]}
        line = re.sub(r"\$\{?(\w+)\}?", lambda found: environment.get(found[1], ""), unit["ExecStart"])
        rights = ["setpriv", "--reuid", user, "--regid", unit.get("Group", user), "--init-groups"]
        if "AmbientCapabilities" in unit:
            names = ",".join("+" + cap.removeprefix("CAP_").lower() for cap in unit["AmbientCapabilities"].split())
            rights += ["--inh-caps", names, "--ambient-caps", names]
        if user == "root":
            rights = []
        mask = unit.get("UMask", "0022")
        with open(f"{root}/root/{name}.log", "ab") as log:
            process = subprocess.Popen(
                self.command(["env", *(f"{key}={value}" for key, value in environment.items()), "sh", "-c",
                              f'umask {mask}; exec "$@"', "-", *rights, *shlex.split(line)]),
                stdin=subprocess.DEVNULL, stdout=log, stderr=log)
        if unit["Type"] == "forking":
            process.wait(30)
            with open(root + unit["PIDFile"], encoding="utf-8") as file:
                self.services[name] = int(file.read())
            return
        manager.settimeout(30)
        self.services[name] = process
        try:
            while b"READY=1" not in manager.recv(4096):
                pass
        except TimeoutError:
            with open(f"{root}/root/{name}.log", encoding="utf-8", errors="replace") as log:
                sys.exit(f"{log.read()}\noperating_trial: {name} does not say that it is ready")

    def stop(self, name):
        service = self.services.pop(name, None)
        if isinstance(service, int):
            os.kill(service, signal.SIGTERM)
            while os.path.exists(f"/proc/{service}"):
                time.sleep(0.05)
        elif service:
            service.terminate()
            service.wait(60)

    def carry_out(self, body, words):
        """The lines of a block; those for systemd here, all else in there."""
        rest = ""
        for line in body.splitlines(keepends=True):
            if line.startswith("systemctl restart "):
                if rest:
                    self.run(rest)
                rest = ""
                name = line.split()[2]
                self.stop(name)
                if name == "caddy":
                    with open(root + "/etc/caddy/Caddyfile", encoding="utf-8") as file:
                        write("/etc/caddy/Caddyfile", "{\n\tlocal_certs\n}\n" + file.read())
                self.start(name)
            else:
                rest += line
        if rest:
            self.run(rest, isolated="network" not in words)

    def end(self):
        for name in list(self.services):
            self.stop(name)
        self.sleeper.kill()
        self.sleeper.wait()


def local_authority(machine):
    """An authority in place of the public one, which every program of the machine trusts."""
    machine.run("""apt-get update
apt-get install --yes --no-install-recommends ca-certificates curl openssl
mkdir -p /root/authority && cd /root/authority
openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 2 -subj '/CN=Local authority' -keyout key.pem -out /usr/local/share/ca-certificates/local.crt 2>/dev/null
update-ca-certificates""", isolated=False)
    write("/usr/local/bin/certbot", """#!/bin/sh -e
while [ $# -gt 0 ]; do
  case "$1" in
    --domain) domain=$2; shift ;;
    --deploy-hook) hook=$2; shift ;;
    certonly | --standalone) ;;
    *) exit 2 ;;
  esac
  shift
done
export RENEWED_LINEAGE=/etc/letsencrypt/live/$domain
mkdir -p "$RENEWED_LINEAGE"
cd "$RENEWED_LINEAGE"
openssl req -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -subj "/CN=$domain" -keyout privkey.pem -out request 2>/dev/null
echo "subjectAltName=DNS:$domain" >extensions
openssl x509 -req -in request -days 2 -CA /usr/local/share/ca-certificates/local.crt -CAkey /root/authority/key.pem -CAcreateserial -extfile extensions -out fullchain.pem 2>/dev/null
$hook
""", 0o755)


def tried(machine, found, name):
    """What the document says for anywhere, and the way from the computer to the phone."""
    machine.carry_out(found["anywhere"], [])
    home = root + "/home/person"
    if os.path.exists(home + "/orvik-link"):
        os.unlink(home + "/orvik-link")
    with open(home + "/agent.log", "ab") as log:
        agent = subprocess.Popen(machine.command(["sh", "-c", "exec " + found["computer background"].strip()], user="person"),
                                 stdout=log, stderr=log, stdin=subprocess.DEVNULL)
    try:
        end = time.monotonic() + 30
        while not os.path.exists(home + "/orvik-link") and time.monotonic() < end:
            time.sleep(0.1)
        said = machine.run("timeout 60 " + found["phone"], user="person")
        if '"ram_pct":' not in said:
            sys.exit(f"{said}\noperating_trial: {name}: no reading has come")
        print(f"{name}: values on the phone")
    finally:
        agent.terminate()
        agent.wait()


def main():
    machine = Machine()
    try:
        for package in glob.glob(packages + "/*.deb"):
            shutil.copy(package, root + "/root")
        write("/etc/hosts", f"127.0.0.1 localhost {host}\n::1 localhost {host}\n")
        local_authority(machine)
        machine.run("useradd --create-home --shell /bin/bash person")
        found = {" ".join(words): "" for words, _ in blocks()}
        direct = [(words, body) for words, body in blocks() if words[0] in ("server", "computer")]
        for words, body in blocks():
            found[" ".join(words)] += body
        for words, body in direct:
            if "background" not in words:
                machine.carry_out(body, words)
        tried(machine, found, "the relay alone")
        machine.stop("orvik-relay")
        machine.carry_out(found["front"], [])
        plain = open(configuration, encoding="utf-8").read()
        for name in ("haproxy", "nginx", "caddy"):
            write("/etc/orvik-relay/orvik-relay.conf", plain)
            machine.carry_out(found[name + " network"], ["network"])
            machine.carry_out(found[name], [])
            if name == "caddy":
                machine.run("cp /var/lib/caddy/.local/share/caddy/pki/authorities/local/root.crt "
                            "/usr/local/share/ca-certificates/caddy.crt && update-ca-certificates")
            tried(machine, found, "behind " + name)
            machine.stop(name)
            machine.stop("orvik-relay")
    finally:
        machine.end()


main()
