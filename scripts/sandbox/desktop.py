# SPDX-License-Identifier: MIT

"""Desktop: a day with the agent's item in a real panel, its dialogs and its menu, by real clicks and keys."""

import plistlib
import re
import subprocess
import time

import person
import picture
from desktop_session import BAR, WATCHER, WIDTH
from sandbox import wait_until
from scenario import PATIENCE, AgentScenario, Differs, expect

ITEM = "org.kde.StatusNotifierItem"
MENU = "com.canonical.dbusmenu"
TITLES = ["Service Status", "Show Log Files", "-", "Settings", "-", "Permissions", "-", "Start Service", "Stop Service",
          "-", "Hide"]
STATUS, SETTINGS, PERMISSIONS = "Service Status", "Settings", "Permissions"  # also the titles of the dialogs
DETAILS = ["Status: Online", "Server: relay01", "Registered as: Sandbox", "Version: 5.0.1",
           "default", "relay01", "12:00:00", "1", "Yes"]  # as the stand-in daemon tells them
ICON_PART = 40  # pixels, of an icon that is another
MENU_FRAME = 4  # pixels, around the lines of a menu
COMES_BACK = 5  # seconds for the item after a change of the panel
HOT_KEY = "ctrl+super+Up"


class Desktop(AgentScenario):
    """Takes pictures of the steps into the folder `pictures`."""

    ui = "desktop"

    def __init__(self, box, session, pictures):
        super().__init__(box)
        self._session = session
        self._pictures = pictures
        self._taken = 0  # pictures
        self._noted = 0  # how many lines of notices there were at the last change of the service
        self._connected = None  # the picture of the icon of a service that is online
        pictures.mkdir(parents=True, exist_ok=True)
        for old in pictures.glob("desktop-*.png"):
            old.unlink()

    # The steps

    def start_before_panel(self):
        box = self._box
        box.start_daemon()
        expect(box.wait_for_daemon(), "the daemon's control socket does not answer")
        self._start_agent()
        self._logged("Service agent registered.")
        expect(self._icon_is_gone(), "there is an icon without a panel")
        return "the agent registered on a desktop without a panel"

    def start_panel(self):
        self._session.start_panel()
        began = time.monotonic()
        self._icon_comes()
        took = time.monotonic() - began
        self._tells("Online")
        self._connected = self._look()
        self._picture("online")
        return f"a panel started after the agent; the icon was in it {took:.1f} s later"

    def show_tool_tip(self):
        icon = self._icon_comes()
        person.point_at(icon.centre)
        tip = self._property("ToolTip")
        words = " ".join(tip[2:])
        expect("Online" in words, f"the tool tip is {tip}")
        below = picture.Box(icon.x - 200, BAR + 2, 200, 60)
        self._until(lambda: picture.Picture.take(below).drawn(), "no tool tip is shown")
        self._picture("tool-tip")
        self._leave()
        return f'the tool tip says "{words.strip()}"'

    def show_permissions_unasked(self):
        for number in (1, 2):
            window = self._window(PERMISSIONS)
            expect(person.active_window() != window, "the dialog that came by itself took the keys")
            if number == 1:
                self._picture("permissions")
            person.activate(window)
            person.press("Escape")
            self._closed(PERMISSIONS)
        return "the permission dialog came by itself, twice, did not take the keys, and was closed by Escape"

    def click_icon(self):
        person.click(self._icon_comes().centre)
        window = self._window(STATUS)
        self._reads(STATUS, DETAILS)
        self._until(lambda: person.active_window() == window, "the dialog does not take the keys")
        self._leave()
        self._picture("status")
        person.press("Escape")
        self._closed(STATUS)
        return f"a click at the icon opened the service's status: {', '.join(DETAILS[:4])}, and a table"

    def open_menu(self):
        items = self._menu()
        titles = [title for title, _ in items]
        expect(titles == TITLES, f"the menu has {titles}")
        disabled = [title for title, enabled in items if not enabled and title != "-"]
        expect(disabled == ["Start Service"], f"disabled are {disabled}")
        self._choose(SETTINGS, "menu")
        self._window(SETTINGS)
        return f"the menu has {len(TITLES) - titles.count('-')} items, disabled {disabled[0]}; a click chose {SETTINGS}"

    def change_settings(self):
        box = self._control("check box", "Keep a transfer log")
        expect(not box.has("checked"), "the transfer log is on already")
        person.click(box.place.centre)
        self._until(lambda: box.has("checked"), "a click does not check the box")
        expect(not self._preference("TransferLogEnabled"), "saved before the dialog was closed")
        self._leave()
        self._picture("settings")
        person.press("Escape")
        self._closed(SETTINGS)
        self._until(lambda: self._preference("TransferLogEnabled"), "the setting was not saved")
        return "a click checked a box of the settings, and Escape closed and saved them"

    def use_keys_alone(self):
        self._choose(SETTINGS)
        self._until(lambda: person.active_window() == self._window(SETTINGS), "the settings do not take the keys")
        box = self._control("check box", "Keep a session log")
        for _ in range(20):
            if wait_until(lambda: box.has("focused"), 0.5):
                break
            person.press("Tab")
        expect(box.has("focused"), "Tab does not reach the session log")
        person.press("space")
        self._until(lambda: box.has("checked"), "the space bar does not check the box")
        self._picture("keys")
        person.press("Escape")
        self._closed(SETTINGS)
        self._until(lambda: self._preference("SessionLogEnabled"), "the setting was not saved")
        return "Tab and the space bar changed another setting"

    def be_controlled(self):
        own = re.search(r"\bsession=(\d+)", self._box.tell_daemon("agents"))[1]
        self._push(f"sessions 4711,{own}|user")
        self._icon_becomes(lambda icon: icon.coloured() > ICON_PART, "the icon does not show the session")
        begun = self._noticed()
        self._picture("controlled")
        self._push("sessions")
        self._icon_becomes(self._is_usual, "the usual icon does not come back")
        ended = self._noticed()
        expect(begun != ended, f"both notices say {begun}")
        return f'during a remote session the icon was coloured; notices said "{begun}", then "{ended}"'

    def hide_and_show(self):
        self._choose("Hide")
        expect(wait_until(self._icon_is_gone, COMES_BACK), "the icon stays")
        self._picture("hidden")
        person.press(HOT_KEY)
        self._icon_comes()
        self._tells("Online")
        return "the menu hid the item, and Control+Super+Up showed it again"

    def sleep_and_wake(self):
        self._mark()
        self._session.announce_sleep(True)
        self._logged("System will sleep, stopping controller")
        self._icon_becomes(lambda icon: icon.difference(self._connected) > ICON_PART and not icon.coloured(),
                           "the icon is not greyed")
        self._picture("asleep")
        self._session.announce_sleep(False)
        self._logged("System did wake up, starting controller")
        self._logged("Service agent registered.")
        self._tells("Online")
        self._icon_becomes(self._is_usual, "the usual icon does not come back")
        return "logind announced a sleep, which greyed the icon; after waking the agent registered again"

    def lose_panel(self):
        self._session.crash_bar()
        expect(wait_until(lambda: not self._session.bus.owner(WATCHER), PATIENCE), "the panel is still there")
        self._session.start_panel()
        began = time.monotonic()
        self._icon_comes()
        took = time.monotonic() - began
        person.click(self._icon_comes().centre)
        self._window(STATUS)
        person.press("Escape")
        self._closed(STATUS)
        return f"the panel was killed and came back; the icon was there {took:.1f} s later, and a click worked"

    def use_tray(self):
        self._session.end_bar()
        expect(wait_until(lambda: not self._session.bus.owner(WATCHER), PATIENCE), "the panel is still there")
        self._session.start_tray()
        self._icon_comes()
        self._picture("tray")
        person.click(self._icon_comes().centre)
        self._window(STATUS)
        person.press("Escape")
        self._closed(STATUS)
        self._choose(SETTINGS, "tray-menu")
        self._window(SETTINGS)
        person.press("Escape")
        self._closed(SETTINGS)
        return "a tray without the panel's protocol showed the icon, its menu, and the dialogs"

    def live_without_panel(self):
        self._session.end_bar()
        expect(wait_until(self._icon_is_gone, PATIENCE), "the icon stays without a tray")
        for word, title in (("settings", SETTINGS), ("status", STATUS)):
            shown = subprocess.run([self._program(), "--root", self._box.root, "--show", word], timeout=PATIENCE,
                                   capture_output=True, text=True, check=False)
            expect(shown.returncode == 0, f"--show {word} ended with {shown.returncode}: {shown.stderr}")
            self._window(title)
            if word == "settings":
                self._picture("no-panel")
            person.activate(self._window(title))
            person.press("Escape")
            self._closed(title)
        expect(self._box.agent.running, "the agent ended")
        return "without any panel, the launcher's actions opened the settings and the status in the running agent"

    def end_by_signal(self):
        self._mark()
        self._end_agent()
        self._logged("Terminating agent: com.korvane.remote.KvnGUIAgent")
        self._logged("Application will terminate: KvnGUIAgent")
        return "SIGTERM ended the agent with status 0"

    def end_with_display(self):
        self._start_agent()
        self._logged("Service agent registered.")
        self._session.end_display()
        status = self._box.agent.wait(PATIENCE)
        expect(status is not None, "the agent outlives its display")
        self._logged("Application will terminate: KvnGUIAgent")
        self._box.end_others()
        expect(not self._box.left_running(), f"still running: {self._box.left_running()}")
        return f"the end of the display ended the agent in order, with status {status}; no process is left"

    # What the steps are made of

    def _program(self):
        return self._box.bundle / "Contents/MacOS/KvnGUIAgent"

    def _push(self, command):
        """Changes what the daemon reports, and makes it report that now."""
        expect(self._box.tell_daemon(command) == "ok", f"the daemon does not take {command}")
        self._noted = len(self._session.notices.record)
        expect(self._box.tell_daemon("status") is not None, "the daemon pushes no status")

    def _noticed(self):
        """Waits until the notice that came after the last `_push` is shown. Returns its text."""
        line = self._session.notices.record.wait(r"^\tbody: '", PATIENCE, self._noted)
        text = re.search("'(.*)'", expect(line, "no notice came").text)[1]
        self._until(lambda: picture.Picture.take(self._session.notices_box).drawn(), "the notice is not shown")
        return text

    def _until(self, condition, difference, seconds=PATIENCE):
        """Waits for a condition, for which a program may not be ready yet."""
        found = wait_until(lambda: _quietly(condition), seconds)
        return expect(found, difference)

    def _picture(self, name):
        self._taken += 1
        file = self._pictures / f"desktop-{self._taken:02}-{name}.png"
        picture.save(file)
        return file

    def failed(self, step):
        """Returns lines that tell what was on the screen when a step failed."""
        agent = self._box.agent
        lines = [f"picture| {self._picture('FAILED-' + step)}"]
        if agent and not agent.running:
            lines.append(f"run    | the agent ended with status {agent.wait(0)}")
        return lines

    # The panel

    def _icon_comes(self):
        """Waits for an icon that stays where it is, and returns its box."""
        last = [None]

        def settled():
            former, last[0] = last[0], self._session.icon()
            return last[0] if last[0] == former else None
        return expect(wait_until(settled, COMES_BACK), f"no icon in the bar, but {last[0]}")

    def _icon_is_gone(self):
        return self._session.bar_box is None or not self._session.icon()

    def _look(self):
        return picture.Picture.take(self._icon_comes())

    def _icon_becomes(self, right, difference):
        """Waits for the right picture in the usual icon's place, which the panel empties for a moment."""
        def seen():
            icon = picture.Picture.take(self._connected.box)
            return icon.drawn() and right(icon)
        self._until(seen, difference)

    def _is_usual(self, icon):
        return icon.difference(self._connected) == 0

    def _leave(self):
        """Moves the pointer away from the panel, for what it highlights there."""
        person.point_at((300, 600))

    def _property(self, name):
        """Returns a property of the agent's item, found as the panel finds it."""
        bus = self._session.bus
        items = bus.get(WATCHER, "/StatusNotifierWatcher", WATCHER, "RegisteredStatusNotifierItems")
        expect(len(items) == 1, f"the watcher has the items {items}")
        self._service, slash, path = items[0].partition("/")
        self._item = slash + path or "/StatusNotifierItem"
        return bus.get(self._service, self._item, ITEM, name)

    def _tells(self, state):
        self._until(lambda: state in " ".join(self._property("ToolTip")[2:]), f"the tool tip does not tell {state}")

    def _menu(self):
        """Returns the title of each item of the menu, or "-" for a separator, and whether it is enabled."""
        path = self._property("Menu")
        bus = self._session.bus
        bus.call(self._service, path, MENU, "AboutToShow", "(i)", 0)
        _, (_, _, entries) = bus.call(self._service, path, MENU, "GetLayout", "(iias)", 0, -1, [])
        return [("-" if properties.get("type") == "separator" else properties["label"].replace("__", "_"),
                 properties.get("enabled", True)) for _, properties, _ in entries]

    def _choose(self, title, picture_name=None):
        """Opens the menu by a click of the other button, and clicks at an item."""
        place = self._menu_line(title) if self._session.bus.owner(WATCHER) else self._menu_item(title)
        person.point_at(place)
        if picture_name:
            self._picture(picture_name)
        person.click(place)
        self._leave()

    def _menu_item(self, title):
        """Opens the menu that the agent draws, and returns the place of an item."""
        person.click(self._icon_comes().centre, 3)
        return self._control("menu item", title).place.centre

    def _menu_line(self, title):
        """Opens the menu that the panel draws, and returns the place of an item. The panel's menu is not among its
        accessible objects, so the item is found by counting the lines."""
        icon = self._icon_comes()
        around = picture.Box(max(0, min(icon.x - 200, WIDTH - 400)), BAR + 2, 400, 300)
        before = picture.Picture.take(around)
        person.click(icon.centre, 3)

        def counted():
            menu = picture.Picture.take(around).changed(before)
            if not menu:
                return None
            found = picture.Picture.take(menu.within(MENU_FRAME)).lines()
            return (menu, found) if len(found) == len(TITLES) else None
        menu, found = self._until(counted, f"no menu of {len(TITLES)} lines is shown")
        return menu.centre[0], found[TITLES.index(title)]

    # Dialogs

    def _window(self, title):
        return self._until(lambda: person.window(title), f"no window has the title {title}")

    def _closed(self, title):
        self._until(lambda: not person.window(title), f"the window {title} stays")

    def _seen_by_reader(self, role, name, difference):
        return self._until(lambda: self._session.programs().find(role, name), difference)

    def _control(self, role, name):
        return self._seen_by_reader(role, name, f"no {role} has the name {name}")

    def _reads(self, title, wanted):
        """Waits until a dialog has these texts, each behind its label, and the cells of a table."""
        def read():
            dialog = next(each for each in self._session.programs().descendants() if each.name == title)
            seen[:] = [f"{each.name} {each.text}" if each.role == "text" else each.name for each in dialog.descendants()
                       if each.role in ("text", "cell")]
            return seen == wanted
        seen = []
        expect(wait_until(lambda: _quietly(read), PATIENCE), f"{title} says {seen}")

    def _preference(self, key):
        return plistlib.loads(self._box.preferences.read_bytes()).get(key)

    steps = (start_before_panel, start_panel, show_tool_tip, show_permissions_unasked, click_icon, open_menu,
             change_settings, use_keys_alone, be_controlled, hide_and_show, sleep_and_wake, lose_panel, use_tray,
             live_without_panel, end_by_signal, end_with_display)


def _quietly(condition):
    """Returns what a condition says, or None while a program that it asks is not there."""
    try:
        return condition()
    except (Differs, StopIteration):
        return None
