"""A desktop for a test: an X display, a session bus, and a panel that shows tray icons."""

import contextlib
import os
import random
import select
import socket
import struct
import subprocess
import tempfile

import dbus
import dbus.mainloop.glib
import dbus.service
from gi.repository import GLib

from programs import TIMEOUT, Program, check, path, running, tidying

dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
WATCHER = "org.kde.StatusNotifierWatcher"
ITEM = "org.kde.StatusNotifierItem"
MENU = "com.canonical.dbusmenu"
MANAGER = "org.freedesktop.login1.Manager"
PROPERTIES = "org.freedesktop.DBus.Properties"

BUS_CONFIGURATION = """<busconfig><type>{kind}</type><listen>unix:dir={folder}</listen>{services}
<policy context="default"><allow send_destination="*" eavesdrop="true"/><allow eavesdrop="true"/>
<allow own="*"/></policy></busconfig>"""


def await_that(condition, message):
    """Lets the buses work until the condition gives something true, which is returned."""
    late = []
    GLib.timeout_add_seconds(TIMEOUT, lambda: late.append(True))
    # The condition may change by what no bus tells.
    tick = GLib.timeout_add(20, lambda: True)
    while not (found := condition()):
        check(not late, message)
        GLib.MainContext.default().iteration(True)
    GLib.source_remove(tick)
    return found


def start(*command, **options):
    process = subprocess.Popen(command, stdout=subprocess.PIPE, text=True, **options)
    running.append(process)
    return process


def start_bus(kind, services=""):
    """A private bus that lets everybody do everything, and starts the services of a folder; gives
    its address."""
    folder = tempfile.mkdtemp(prefix="bus-", dir=path(""))
    with open(os.path.join(folder, "bus.conf"), "w", encoding="utf-8") as file:
        file.write(BUS_CONFIGURATION.format(
            kind=kind, folder=folder, services=f"<servicedir>{services}</servicedir>" if services else ""))
    bus = start("dbus-daemon", f"--config-file={folder}/bus.conf", "--nofork", "--print-address")
    return bus.stdout.readline().strip()


def answers(number, server):
    """Whether this server alone is who a program reaches by the display's number."""
    pids = set()
    for address in (f"/tmp/.X11-unix/X{number}", f"\0/tmp/.X11-unix/X{number}"):
        with socket.socket(socket.AF_UNIX) as client, contextlib.suppress(OSError):
            client.connect(address)
            peer = client.getsockopt(socket.SOL_SOCKET, socket.SO_PEERCRED, struct.calcsize("3i"))
            pids.add(struct.unpack("3i", peer)[0])
    return pids == {server.pid}


def start_display():
    """An X display with a window manager; gives its name. Its number is a random one: the first that
    is free may be the first for others as well, and what servers have left behind stands there."""
    while True:
        number = random.randint(100, 50_000)
        server = start("Xvfb", f":{number}", "-displayfd", "1", "-screen", "0", "800x700x24",
                       "-noreset", "-nolisten", "tcp", stderr=subprocess.DEVNULL)
        tidying.append(server)
        # It ends when somebody has the number.
        if server.stdout.readline() and answers(number, server):
            break
        server.terminate()
    start("openbox", env={**os.environ, "DISPLAY": f":{number}"}, stderr=subprocess.DEVNULL)
    return f":{number}"


def start_application(bus, display, relay, trust, *arguments, **more):
    """The application on such a desktop, with the relay of the test."""
    return Program("orvik", *arguments, folder="OrvikApp", environment={
        "DBUS_SESSION_BUS_ADDRESS": bus, "DBUS_SYSTEM_BUS_ADDRESS": "unix:path=/nonexistent",
        "DISPLAY": display, "QT_QPA_PLATFORM": "xcb", "LC_ALL": "C.UTF-8",
        "XDG_RUNTIME_DIR": path(""), "ORVIK_RELAY": relay, "ORVIK_TRUST": trust, **more})


class Panel(dbus.service.Object):
    """Shows tray icons, as the panel of a desktop: knows one application's item and its menu."""

    def __init__(self, address):
        self.bus = dbus.bus.BusConnection(address)
        super().__init__(self.bus, "/StatusNotifierWatcher")
        self.items = []
        self.bus.request_name(WATCHER)

    def vanish(self):
        self.items.clear()
        self.bus.release_name(WATCHER)

    @dbus.service.method(WATCHER, in_signature="s", sender_keyword="sender")
    def RegisterStatusNotifierItem(self, name, sender):
        self.items.append(sender if name.startswith("/") else name)

    @dbus.service.method(PROPERTIES, in_signature="ss", out_signature="v")
    def Get(self, _interface, name):
        return {"IsStatusNotifierHostRegistered": True, "ProtocolVersion": 0,
                "RegisteredStatusNotifierItems": dbus.Array(self.items, signature="s")}[name]

    @dbus.service.method("org.freedesktop.DBus.Introspectable", out_signature="s")
    def Introspect(self):
        return f"""<node><interface name="{WATCHER}">
            <method name="RegisterStatusNotifierItem"><arg type="s" direction="in"/></method>
            <property name="IsStatusNotifierHostRegistered" type="b" access="read"/>
            </interface></node>"""

    def await_item(self):
        await_that(lambda: self.items, "the icon appears")

    def item(self, name):
        item = self.bus.get_object(self.items[-1], "/StatusNotifierItem", introspect=False)
        return item.Get(ITEM, name, dbus_interface=PROPERTIES)

    def alpha(self):
        """The strongest opacity in the icon, of 255."""
        _, _, pixels = max(self.item("IconPixmap"))
        return max(pixels[::4])

    def menu(self):
        return self.bus.get_object(self.items[-1], self.item("Menu"), introspect=False)

    def entries(self):
        """What the menu shows, top to bottom, each as its number and its properties."""
        self.menu().AboutToShow(0, dbus_interface=MENU)
        _, (_, _, children) = self.menu().GetLayout(
            0, -1, dbus.Array([], signature="s"), dbus_interface=MENU)
        return [(int(number), properties) for number, properties, _ in children
                if properties.get("visible", True)]

    def texts(self):
        return [str(p.get("label", "-")).replace("_", "") if p.get("type") != "separator" else "-"
                for _, p in self.entries()]

    def status(self):
        return self.texts()[1]

    def await_status(self, *wanted):
        return await_that(lambda: self.status() in wanted and self.status(),
                          f"the menu says {wanted}, not {self.status()}")

    def click(self, text):
        number = next(n for (n, _), t in zip(self.entries(), self.texts()) if t == text)
        self.menu().Event(number, "clicked", dbus.String("", variant_level=1), dbus.UInt32(0),
                          dbus_interface=MENU)


class LoginManager(dbus.service.Object):
    """Announces sleep, and knows who holds it back."""

    def __init__(self, address):
        self.bus = dbus.bus.BusConnection(address)
        self.bus.request_name("org.freedesktop.login1")
        self.lock = None
        super().__init__(self.bus, "/org/freedesktop/login1")

    @dbus.service.method(MANAGER, in_signature="ssss", out_signature="h")
    def Inhibit(self, what, _who, _why, mode):
        check((what, mode) == ("sleep", "delay"), f"the lock is {mode} {what}")
        self.lock, writing = os.pipe()
        lock = dbus.types.UnixFd(writing)
        os.close(writing)
        return lock

    @dbus.service.signal(MANAGER, signature="b")
    def PrepareForSleep(self, starts):
        pass

    def is_held(self):
        return self.lock is not None and not select.select([self.lock], [], [], 0)[0]


class Screen:
    """What a user sees and does on the display."""

    def __init__(self, name):
        self.environment = {**os.environ, "DISPLAY": name}

    def run(self, *command):
        return subprocess.run(command, env=self.environment, text=True, capture_output=True,
                              check=False).stdout.strip()

    def windows(self, title="Orvik"):
        """The visible windows of this title."""
        return self.run("xdotool", "search", "--onlyvisible", "--name", f"^{title}$").split()

    def await_window(self):
        return await_that(self.windows, "a window opens")[0]

    def front(self):
        """The window that gets what is typed; empty without one."""
        return self.run("xdotool", "getactivewindow")

    def press(self, key, until, message):
        """In the window that is in front, again and again until it has had its effect: the window
        manager takes its time to hand over the keyboard."""
        def attempt():
            if self.front() and not until():
                self.run("xdotool", "key", "--clearmodifiers", key)
            return True

        attempt()
        attempts = GLib.timeout_add_seconds(1, attempt)
        await_that(until, message)
        GLib.source_remove(attempts)

    def code(self):
        """What a camera reads on the screen; empty without a code."""
        self.run("import", "-window", "root", path("screen.png"))
        return self.run("zbarimg", "--quiet", "--raw", path("screen.png"))
