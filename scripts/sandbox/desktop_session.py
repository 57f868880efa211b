# SPDX-License-Identifier: MIT

"""Starts a desktop of its own for a scenario: a display, a window manager, buses, a panel, a tray, notices."""

import contextlib
import os
import pathlib
import re
import shutil
import signal
import subprocess
import tempfile

from gi.repository import GLib

import accessibility
from message_bus import MessageBus
from picture import Box, Picture
from processes import environments
from programs import Program
from sandbox import wait_until
from scenario import PATIENCE, expect

WIDTH, HEIGHT = 800, 480
BAR = 30  # the height of the panel and of the tray
TRAY = 200  # the width of the tray
WATCHER = "org.kde.StatusNotifierWatcher"
LOGIND = "org.freedesktop.login1"

# A bar at the top: a clock whose text is always the same, an empty space that grows, and the items.
PANEL_SETTINGS = (
    ("/configver", "int", 2), ("/panels", "array", [1]),
    ("/panels/panel-1/position", "string", "p=6;x=0;y=0"), ("/panels/panel-1/position-locked", "bool", "true"),
    ("/panels/panel-1/length", "uint", 100), ("/panels/panel-1/size", "uint", BAR),
    ("/panels/panel-1/plugin-ids", "array", [1, 2, 3]),
    ("/plugins/plugin-1", "string", "clock"), ("/plugins/plugin-1/mode", "uint", 2),
    ("/plugins/plugin-1/digital-layout", "uint", 3), ("/plugins/plugin-1/digital-time-format", "string", "9:41"),
    ("/plugins/plugin-2", "string", "separator"), ("/plugins/plugin-2/expand", "bool", "true"),
    ("/plugins/plugin-2/style", "uint", 0), ("/plugins/plugin-3", "string", "systray"))

# Variables that would lead programs to the desktop of the person who runs the scenario, or change their looks.
FOREIGN = re.compile("WAYLAND_|XDG_|DBUS_|GTK|GDK_|QT_|XAUTHORITY$|SESSION_MANAGER$|DESKTOP_|AT_SPI|NO_AT_BRIDGE$|LC_|"
                     "LANG")


class DesktopSession:
    """Owns the programs of a desktop, and ends them at the end of its scope. While it lasts, this process and the
    programs that it starts belong to that desktop. `listener(name)` returns the function that is called with each line
    of a program, or None."""

    def __init__(self, listener=lambda name: None):
        self._listener = listener
        self._closing = contextlib.ExitStack()
        self._display = None
        self._bar = None  # the panel or the tray
        self.bar_box = None
        self.notices = None
        self.notices_box = Box(WIDTH - 300, HEIGHT - 100, 300, 100)

    def __enter__(self):
        with contextlib.ExitStack() as stack:
            self.folder = pathlib.Path(tempfile.mkdtemp(prefix="kvn-desktop", dir=os.path.realpath("/tmp")))
            stack.callback(shutil.rmtree, self.folder, ignore_errors=True)
            stack.callback(self._end_others)
            stack.callback(_restore_environment, dict(os.environ))
            self._join()
            self._display = self._start("display", stack, "Xvfb", "-displayfd", "1", "-screen", "0",
                                        f"{WIDTH}x{HEIGHT}x24", "-nolisten", "tcp", "-noreset")
            number = self._display.record.wait(r"^\d+$", PATIENCE)
            os.environ["DISPLAY"] = ":" + expect(number, "the display does not come up").text
            for kind in ("SESSION", "SYSTEM"):
                address = f"unix:path={self.folder}/{kind.lower()}-bus"
                bus = self._start("bus", stack, "dbus-daemon", "--session", "--nofork", "--print-address", "--address",
                                  address)
                expect(bus.record.wait("^unix:", PATIENCE), f"the {kind.lower()} bus does not come up")
                os.environ[f"DBUS_{kind}_BUS_ADDRESS"] = address
            self.bus = MessageBus(os.environ["DBUS_SESSION_BUS_ADDRESS"])
            self.system_bus = MessageBus(os.environ["DBUS_SYSTEM_BUS_ADDRESS"])
            self._start("windows", stack, "openbox", "--sm-disable")
            self._start("logind", stack, "/usr/bin/python3", "-m", "dbusmock", "--system", "--template", "logind")
            subprocess.run(["xsetroot", "-solid", "#3b6ea5"], check=True, timeout=PATIENCE)
            expect(wait_until(self._manages_windows, PATIENCE), "the window manager does not come up")
            expect(wait_until(lambda: self.system_bus.owner(LOGIND), PATIENCE), "logind's stand-in does not come up")
            self.notices = self._start("notices", stack, "dunst", "-print", "-conf", self._notices_settings())
            expect(wait_until(lambda: self.bus.owner("org.freedesktop.Notifications"), PATIENCE),
                   "the notification server does not come up")
            self._closing = stack.pop_all()
        return self

    def __exit__(self, *_):
        self.end_bar()
        self._closing.close()

    def _join(self):
        """Gives this process the environment of the new desktop."""
        runtime = self.folder / "run"
        runtime.mkdir(0o700)
        for name in [name for name in os.environ if FOREIGN.match(name)]:
            del os.environ[name]
        os.environ |= {"XDG_RUNTIME_DIR": str(runtime), "XDG_CONFIG_HOME": str(self.folder / "config"),
                       "XDG_CACHE_HOME": str(self.folder / "cache"), "XDG_DATA_HOME": str(self.folder / "data"),
                       "XDG_CURRENT_DESKTOP": "XFCE", "LC_ALL": "C.UTF-8", "GSETTINGS_BACKEND": "memory"}

    def _start(self, name, stack, *arguments):
        try:
            program = Program(arguments, self._listener(name))
        except FileNotFoundError as error:
            raise SystemExit(f'{error.filename} is missing; "scripts/setup.sh desktop" installs it') from error
        if stack:
            stack.callback(program.end)
        return program

    def _end_others(self):
        """Ends the programs that the buses and the panel have started."""
        for number in (signal.SIGTERM, signal.SIGKILL):
            for pid in self.left_running():
                with contextlib.suppress(ProcessLookupError):
                    os.kill(pid, number)
            if wait_until(lambda: not self.left_running(), 5):
                return

    def left_running(self):
        """Returns the ids of the other processes that belong to this desktop."""
        return [pid for pid, variables in environments()
                if pid != os.getpid() and variables.get("XDG_RUNTIME_DIR") == str(self.folder / "run")]

    def _manages_windows(self):
        found = subprocess.run(["xprop", "-root", "_NET_SUPPORTING_WM_CHECK"], capture_output=True, text=True,
                               timeout=PATIENCE, check=False).stdout
        return "window id" in found

    def _notices_settings(self):
        file = self.folder / "dunstrc"
        file.write_text('[global]\n    origin = bottom-right\n    offset = 20x20\n    font = Sans 10\n'
                        '[urgency_normal]\n    timeout = 0\n[urgency_low]\n    timeout = 0\n')
        return file

    # The bar at the top

    def start_panel(self):
        for name, kind, value in PANEL_SETTINGS:
            values = [word for each in value for word in ("-t", "int", "-s", str(each))] if kind == "array" else \
                ["-t", kind, "-s", str(value)]
            subprocess.run(["xfconf-query", "-c", "xfce4-panel", "-n", "-p", name,
                            *(["-a"] if kind == "array" else []), *values], check=True, timeout=PATIENCE)
        self._bar = self._start("panel", None, "xfce4-panel", "--disable-wm-check", "--sm-client-disable")
        self.bar_box = Box(WIDTH // 2, 2, WIDTH // 2, BAR - 4)
        expect(wait_until(lambda: self.bus.owner(WATCHER), PATIENCE), "the panel has no watcher of items")

    def start_tray(self):
        """Starts a tray that shows the windows of items, and knows nothing of buses."""
        self._bar = self._start("tray", None, "trayer", "--edge", "top", "--align", "left", "--widthtype", "pixel",
                                "--width", str(TRAY), "--heighttype", "pixel", "--height", str(BAR),
                                "--expand", "false", "--SetDockType", "true", "--alpha", "0")
        self.bar_box = Box(2, 2, TRAY - 4, BAR - 4)

    def end_bar(self):
        if self._bar:
            self._bar.end()
            self._bar = None

    def crash_bar(self):
        """Ends the bar at once, as a crash does."""
        self._bar.signal(signal.SIGKILL)
        self._bar.wait(PATIENCE)
        self._bar = None

    def end_display(self):
        """Ends the display, as when the user's session is torn down."""
        self._display.end()

    def start_screen_reader(self):
        """Tells programs that somebody reads their accessible objects, as a screen reader does when it starts."""
        accessibility.switch_on(self.bus)

    # What is there to see

    def icon(self):
        """Returns the box of what is drawn in the bar among the items, or None."""
        found = Picture.take(self.bar_box).drawn()
        return found if found and 8 <= found.height <= BAR and 8 <= found.width <= 2 * BAR else None

    def programs(self):
        """Returns the accessible object whose children are the programs."""
        return accessibility.desktop(self.bus)

    def announce_sleep(self, begins):
        """Makes logind say that the machine is about to sleep, or that it woke up."""
        self.system_bus.call(LOGIND, "/org/freedesktop/login1", "org.freedesktop.DBus.Mock", "EmitSignal", "(sssav)",
                             LOGIND + ".Manager", "PrepareForSleep", "b", [GLib.Variant("b", begins)])


def _restore_environment(former):
    os.environ.clear()
    os.environ.update(former)
