#!/usr/bin/env python3
"""The icon in the panels of real desktops, light and dark: panel_test.py BUILD_FOLDER.

What the panel shows before the application starts is compared with what it shows then."""

import os
import signal
import subprocess

import dbus

from desktop import PROPERTIES, WATCHER, Screen, await_that, start, start_application, start_bus, start_display
from programs import check, path, run, start_relay

HEIGHT = 30
READABLE = 3  # what an icon needs (WCAG 2.1, 1.4.11)
XFCONF = "/usr/lib/x86_64-linux-gnu/xfce4/xfconf/xfconfd"
XFCE = """<channel name="xfce4-panel" version="1.0"><property name="configver" type="int" value="2"/>
<property name="panels" type="array"><value type="int" value="1"/>
<property name="dark-mode" type="bool" value="{dark}"/><property name="panel-1" type="empty">
<property name="position" type="string" value="p=6;x=0;y=0"/><property name="length" type="uint" value="100"/>
<property name="position-locked" type="bool" value="true"/><property name="size" type="uint" value="{height}"/>
<property name="plugin-ids" type="array"><value type="int" value="1"/></property></property></property>
<property name="plugins" type="empty"><property name="plugin-1" type="string" value="systray"/></property></channel>"""
LXQT = """panels=panel1
[panel1]
plugins=statusnotifier
position=Top
width=100
width-percent=true
panelSize={height}
iconSize=22
{colour}
[statusnotifier]
type=statusnotifier
"""
# Its own way to write #202020.
LXQT_DARK = r"background-color=@Variant(\0\0\0\x43\x1\xff\xff\x20\x20\x20\x20\x20\x20\0\0)"


def luminance(colour):
    parts = [int(colour[i:i + 2], 16) / 255 for i in (1, 3, 5)]
    linear = [p / 12.92 if p <= 0.04045 else ((p + 0.055) / 1.055) ** 2.4 for p in parts]
    return 0.2126 * linear[0] + 0.7152 * linear[1] + 0.0722 * linear[2]


def contrast(one, other):
    lights = sorted((luminance(one), luminance(other)))
    return (lights[1] + 0.05) / (lights[0] + 0.05)


def write(name, text):
    os.makedirs(os.path.dirname(path(name)), exist_ok=True)
    with open(path(name), "w", encoding="utf-8") as file:
        file.write(text)


def shows_icon(options, kind, dark):
    name = f"{kind}-{dark}"
    bus, display = start_bus("session"), start_display()
    screen = Screen(display)
    home = path(name)
    shade = {"GTK_THEME": "Adwaita:dark"} if dark else {}
    environment = {
        **os.environ, "HOME": home, "XDG_CONFIG_HOME": home, "XDG_CACHE_HOME": home,
        "XDG_DATA_HOME": home, "XDG_RUNTIME_DIR": home, "DISPLAY": display,
        "DBUS_SESSION_BUS_ADDRESS": bus, "DBUS_SYSTEM_BUS_ADDRESS": "unix:path=/nonexistent", **shade}
    if kind == "xfce":
        write(f"{name}/xfce4/xfconf/xfce-perchannel-xml/xfce4-panel.xml",
              XFCE.format(dark=str(dark).lower(), height=HEIGHT))
        start(XFCONF, env=environment, stderr=subprocess.DEVNULL)
        start("xfce4-panel", "--disable-wm-check", env=environment, stderr=subprocess.DEVNULL)
    else:
        write(f"{name}/lxqt/panel.conf",
              LXQT.format(height=HEIGHT, colour=LXQT_DARK if dark else ""))
        write(f"{name}/lxqt/lxqt.conf", f"[General]\ntheme={'dark' if dark else 'light'}\n")
        start("lxqt-panel", env=environment, stderr=subprocess.DEVNULL)
    connection = dbus.bus.BusConnection(bus)

    def items():
        try:
            watcher = connection.get_object(WATCHER, "/StatusNotifierWatcher", introspect=False)
            return watcher.Get(WATCHER, "RegisteredStatusNotifierItems", dbus_interface=PROPERTIES)
        except dbus.DBusException:
            return None

    def pixels():
        """The panel's colours: "X,Y: (…) #RRGGBB name" in each line. Taking a picture holds up all
        drawing, so the panel gets its turn between two of them."""
        screen.run("xdotool", "sleep", "0.5")
        lines = screen.run("import", "-window", "root", "-crop", f"400x{HEIGHT}+0+0", "-depth", "8",
                           "txt:-").splitlines()[1:]
        return [line.split()[2][:7] for line in lines]

    await_that(lambda: items() is not None, "the panel stands")
    await_that(lambda: pixels()[0] != "#000000", "the panel shows")
    bare = []

    def is_still():
        bare.append(pixels())
        return len(bare) > 1 and bare[-1] == bare[-2]

    await_that(is_still, "the panel is drawn")
    application = start_application(
        bus, display, options[1], options[3], HOME=home, XDG_CONFIG_HOME=home, XDG_DATA_HOME=home,
        XDG_RUNTIME_DIR=home, **shade)
    await_that(items, "the panel knows the icon")

    def best():
        found = pixels()
        return max((contrast(a, b) for a, b in zip(bare[-1], found) if a != b), default=1)

    await_that(lambda: best() >= READABLE, f"the icon can be seen in {name}")
    print(f"{name}: {best():.1f} : 1")
    # However it ends.
    application.ends(signal.SIGKILL, -signal.SIGKILL)
    await_that(lambda: not items(), "the icon goes with the application")


def test():
    relay, _, options = start_relay()
    for kind in ("xfce", "lxqt"):
        for dark in (False, True):
            shows_icon(options, kind, dark)
    check(relay.process.poll() is None, "the relay runs")


run(test)
