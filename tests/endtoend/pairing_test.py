#!/usr/bin/env python3
"""The pairing and the keyring that it is in, as a user meets them: pairing_test.py BUILD_FOLDER [--goals].

A real keyring with its real prompt: open, locked, silent, gone, come later; and an agent beside the
application. Whatever happens, the application answers, ends when it is asked to, and an old phone
stays away."""

import os
import shutil
import signal
import subprocess
import sys
import threading
import time

import dbus

from desktop import (ITEM, PROPERTIES, Panel, Screen, await_that, start, start_application, start_bus,
                     start_display)
from programs import Program, check, path, read, run, running, start_phone, start_relay

QUITTING = 0.3  # seconds that an end or a second start may take
BLOCKED = 0.05  # seconds that nothing should take on the main thread
# So many times as long on a machine that does other things, in a build with sanitizers. With
# --goals, for an optimised build on a quiet one, the goals themselves hold.
BUSY = 1 if "--goals" in sys.argv else 10
WAITING = "Waiting for the keyring…"
XFCONF = "/usr/lib/x86_64-linux-gnu/xfce4/xfconf/xfconfd"
PROMPTER = "org.gnome.keyring.SystemPrompter"


class Keyring:
    """The desktop's keyring, in a home of its own, and whoever asks for its password."""

    def __init__(self, bus):
        self.home = path("keyring")
        os.mkdir(self.home, 0o700)
        self.environment = {
            **os.environ, "HOME": self.home, "XDG_DATA_HOME": self.home, "XDG_RUNTIME_DIR": self.home,
            "XDG_CACHE_HOME": self.home, "XDG_CONFIG_HOME": self.home, "LC_ALL": "C.UTF-8",
            "DBUS_SESSION_BUS_ADDRESS": bus}
        self.bus = dbus.bus.BusConnection(bus)

    def begin(self):
        self.daemon = subprocess.Popen(
            ["gnome-keyring-daemon", "--foreground", "--components=secrets", "--unlock"],
            env=self.environment, stdin=subprocess.PIPE, stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL)
        running.append(self.daemon)
        self.daemon.stdin.write(b"open sesame")
        self.daemon.stdin.close()
        await_that(self.is_open, "the keyring opens")

    def is_open(self):
        try:
            collection = self.bus.get_object("org.freedesktop.secrets",
                                             "/org/freedesktop/secrets/aliases/default",
                                             introspect=False)
            return not collection.Get("org.freedesktop.Secret.Collection", "Locked",
                                      dbus_interface=PROPERTIES)
        except dbus.DBusException:
            return False

    def end(self):
        self.daemon.kill()
        self.daemon.wait()

    def tool(self, *arguments):
        return subprocess.run(["secret-tool", *arguments], env=self.environment, capture_output=True,
                              check=False).stdout

    def lock(self):
        self.tool("lock", "--collection=login")

    def secret(self):
        """What is kept there, also while it is locked: nothing but the number of items."""
        return self.tool("lookup", "account", "pairing")


SESSION = """<channel name="xfce4-session" version="1.0"><property name="startup" type="empty">
<property name="ssh-agent" type="empty"><property name="enabled" type="bool" value="false"/></property>
<property name="gpg-agent" type="empty"><property name="enabled" type="bool" value="false"/></property>
</property></channel>"""


class Session:
    """A desktop's session manager."""

    def __init__(self, bus, display):
        home = path("session")
        settings = os.path.join(home, "xfce4/xfconf/xfce-perchannel-xml")
        os.makedirs(settings)
        os.mkdir(os.path.join(home, "autostart"))
        with open(os.path.join(settings, "xfce4-session.xml"), "w", encoding="utf-8") as file:
            file.write(SESSION)
        with open(os.path.join(home, "autostart/told.desktop"), "w", encoding="utf-8") as file:
            file.write("[Desktop Entry]\nType=Application\nName=Told\n"
                       f"Exec=sh -c 'printenv SESSION_MANAGER >{home}/address'\n")
        self.environment = {
            **os.environ, "HOME": home, "XDG_CONFIG_HOME": home, "XDG_CACHE_HOME": home,
            "XDG_DATA_HOME": home, "XDG_CONFIG_DIRS": home, "XDG_RUNTIME_DIR": home,
            "DISPLAY": display, "DBUS_SESSION_BUS_ADDRESS": bus,
            "DBUS_SYSTEM_BUS_ADDRESS": "unix:path=/nonexistent"}
        for program in [XFCONF, "xfce4-session"]:
            self.manager = start(program, env=self.environment, stderr=subprocess.DEVNULL)

        self.address = await_that(
            lambda: os.path.exists(f"{home}/address") and read("session/address"),
            "the session stands")

    def log_out(self):
        subprocess.run(["xfce4-session-logout", "--logout", "--fast"], env=self.environment,
                       stderr=subprocess.DEVNULL, check=True)


class Stalls(threading.Thread):
    """Asks the application's main thread for something small, again and again, and notes the longest
    time that it took to answer."""

    def __init__(self, address, item):
        super().__init__(daemon=True)
        self.bus = dbus.bus.BusConnection(address)
        self.item, self.longest, self.ends = item, 0.0, False

    def run(self):
        while not self.ends:
            begin = time.monotonic()
            try:
                self.bus.call_blocking(self.item, "/StatusNotifierItem", PROPERTIES, "Get", "ss",
                                       (ITEM, "Status"), timeout=30)
            except dbus.DBusException:
                return  # it has ended
            self.longest = max(self.longest, time.monotonic() - begin)
            time.sleep(0.005)


def test():
    relay, _, options = start_relay()
    display = start_display()
    screen = Screen(display)
    # The prompt is started when it is needed, as on a desktop, and needs the display.
    services = path("services")
    os.mkdir(services)
    with open(os.path.join(services, PROMPTER + ".service"), "w", encoding="utf-8") as file:
        file.write(f"[D-BUS Service]\nName={PROMPTER}\nExec=/usr/bin/env DISPLAY={display} "
                   "LC_ALL=C.UTF-8 GTK_USE_PORTAL=0 /usr/libexec/gcr-prompter\n")
    bus = start_bus("session", services)
    panel = Panel(bus)
    keyring = Keyring(bus)
    login_item = path("config/autostart")
    stalls = []
    icons, ends = [], []

    def launch(**more):
        panel.items.clear()
        begin = time.monotonic()
        application = start_application(bus, display, options[1], options[3],
                                        ORVIK_LINK_FILE=path("link"), **more)
        panel.await_item()
        icons.append(time.monotonic() - begin)
        stalls.append(Stalls(bus, panel.items[-1]))
        stalls[-1].start()
        return application

    def quits(application):
        """Asked to end, it is gone at once, whatever it waits for."""
        stalls[-1].ends = True
        begin = time.monotonic()
        application.ends(signal.SIGTERM)
        ends.append(time.monotonic() - begin)
        check(ends[-1] < BUSY * QUITTING, f"it ended after {ends[-1]} s")

    def prompts():
        return screen.run("xdotool", "search", "--onlyvisible", "--class", "gcr-prompter").split()

    def decline():
        await_that(prompts, "the keyring's prompt opens")
        attempts = 0
        while prompts() and attempts < 20:
            screen.run("xdotool", "key", "Escape")
            attempts += 1
            time.sleep(0.2)
        check(not prompts(), "the prompt closes")

    def stays_away(link):
        """An old phone sees nothing of what a new one sees, and says that it has been replaced."""
        old, new = start_phone(link, options), start_phone(read("link"), options)
        new.payload()
        new.payload()
        check(old.lines.empty(), "the old phone gets nothing")
        old.ends(signum=None, status=3)
        new.ends()

    # A first launch; then the user does without the login item.
    keyring.begin()
    application = launch()
    panel.await_status("● Online")
    screen.await_window()
    first = read("link")
    check(len(keyring.secret()) == 48, "the pairing is in the keyring")
    check(not os.path.exists(path("data/orvik")), "and nowhere else")
    quits(application)
    shutil.rmtree(login_item)

    # Locked: it waits, and says so. Nothing is made anew, and it can be ended and started meanwhile.
    keyring.lock()
    os.remove(path("link"))
    application = launch()
    panel.await_status(WAITING)
    await_that(prompts, "the keyring's prompt opens")
    begin = time.monotonic()
    start_application(bus, display, options[1], options[3]).ends(None)
    second_start = time.monotonic() - begin
    check(second_start < BUSY * QUITTING, f"a second start took {second_start} s")
    quits(application)
    application = launch()
    decline()
    panel.await_status(WAITING)
    check(not os.path.exists(path("link")), "there is no code without the pairing")
    check(not screen.windows(), "there is no welcome")
    check(not os.path.exists(login_item), "the login item is left alone")

    # Disconnected while the keyring is locked: for good, and the new pairing lasts.
    panel.click("Disconnect all phones…")
    await_that(lambda: screen.front() != "", "the question is in front")
    screen.press("Return", lambda: os.path.exists(path("link")), "there is a new code")
    second = read("link")
    check(second != first, "the code is another")
    panel.await_status("● Online")
    check(os.listdir(path("data/orvik")), "the new pairing is in the file")
    quits(application)
    keyring.end()
    keyring.begin()
    application = launch()
    panel.await_status("● Online")
    check(read("link") == second, "the new pairing is found again")
    await_that(lambda: not os.listdir(path("data/orvik")), "it has moved out of the file")
    stays_away(first)
    quits(application)

    # The session ends while the prompt is open, and is not held up.
    keyring.lock()
    session = Session(bus, display)
    application = launch(SESSION_MANAGER=session.address,
                         ICEAUTHORITY=path("session/ICEauthority"))
    panel.await_status(WAITING)
    await_that(prompts, "the keyring's prompt opens")
    stalls[-1].ends = True
    begin = time.monotonic()
    session.log_out()
    application.ends(None)
    logout = time.monotonic() - begin
    check(logout < BUSY * QUITTING, f"the session's end took {logout} s")
    decline()
    keyring.end()
    keyring.begin()

    # A keyring that does not answer, one that is gone, and one that comes later.
    keyring.daemon.send_signal(signal.SIGSTOP)
    application = launch()
    panel.await_status(WAITING)
    panel.click("Disconnect all phones…")
    await_that(lambda: screen.front() != "", "the question is in front")
    screen.press("Escape", lambda: not screen.windows(), "the question is gone")
    quits(application)
    application = launch()
    panel.await_status(WAITING)
    keyring.daemon.send_signal(signal.SIGCONT)
    panel.await_status("● Online")
    check(read("link") == second, "the pairing is the same")
    quits(application)
    keyring.end()
    application = launch()
    panel.await_status(WAITING)
    keyring.begin()
    panel.await_status("● Online")
    check(read("link") == second, "a keyring that comes later has the same pairing")

    # The agent's service beside the application: it says who is connected, and takes over.
    agent = Program("orvik-agent", "--no-link", *options, environment={
        "DBUS_SESSION_BUS_ADDRESS": bus, "XDG_RUNTIME_DIR": path("")})
    panel.await_status("● Online")
    quits(application)
    agent.await_line("online")
    application = launch()
    await_that(lambda: panel.status().startswith("Connected by another program: orvik-agent"),
               "the second to start says who runs")
    quits(application)
    agent.ends()

    relay.ends()
    longest = max(stall.longest for stall in stalls)
    for name, seconds in [("start to icon", max(icons)), ("main thread blocked", longest),
                          ("quitting", max(ends)), ("second start", second_start),
                          ("logging out", logout)]:
        print(f"{name}: {seconds * 1000:.0f} ms at the most")
    check(longest < BUSY * BLOCKED, f"the main thread was blocked for {longest} s")


run(test)
