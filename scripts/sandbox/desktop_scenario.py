# SPDX-License-Identifier: MIT

"""What the steps of a scenario on a desktop are made of."""

import plistlib
import re

import person
import picture
from desktop_session import BAR, HEIGHT, WATCHER, WIDTH
from picture import Box, Picture
from sandbox import wait_until
from scenario import PATIENCE, AgentScenario, Differs, expect

ITEM = "org.kde.StatusNotifierItem"
MENU = "com.canonical.dbusmenu"
TITLES = ["Service Status", "Show Log Files", "-", "Settings", "-", "Permissions", "-", "Start Service", "Stop Service",
          "-", "Hide"]
MENU_FRAME = 4  # pixels, around the lines of a menu
DARK = 64  # the brightest channel of a colour of the usual icon, on the bright panel, that no greyed icon has
COMES_BACK = 5  # seconds for the item after a change of the panel


class DesktopScenario(AgentScenario):
    """Looks at the panel and at the dialogs, and uses them. Takes pictures into the folder `pictures`."""

    ui = "desktop"

    def __init__(self, box, session, pictures):
        super().__init__(box)
        self._session = session
        self._pictures = pictures
        self._noted = 0  # how many lines of notices there were at the last change of the service
        self._place = None  # the icon's box in the panel
        pictures.mkdir(parents=True, exist_ok=True)

    def _push(self, command):
        """Changes what the daemon reports, and makes it report that now."""
        expect(self._box.tell_daemon(command) == "ok", f"the daemon does not take {command}")
        self._noted = len(self._session.notices.record)
        expect(self._box.tell_daemon("status") is not None, "the daemon pushes no status")

    def _noticed(self):
        """Waits until the notice that came after the last `_push` is shown. Returns its text."""
        line = self._session.notices.record.wait(r"^\tbody: '", PATIENCE, self._noted)
        text = re.search("'(.*)'", expect(line, "no notice came").text)[1]
        self._until(lambda: Picture.take(self._session.notices_box).drawn(), "the notice is not shown")
        return text

    def _until(self, condition, difference, seconds=PATIENCE):
        """Waits for a condition, for which a program may not be ready yet."""
        found = wait_until(lambda: _quietly(condition), seconds)
        return expect(found, difference)

    def _picture(self, name):
        file = self._pictures / f"desktop-{name}.png"
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

    def _icon_becomes(self, look):
        """Waits until the icon looks so in the panel, which empties the icon's place for a moment when it changes."""
        def looks():
            icon = Picture.take(self._place)
            if not icon.drawn():
                return "absent"
            if icon.coloured():
                return "coloured"
            return "usual" if icon.darkest() < DARK else "greyed"
        expect(wait_until(lambda: looks() == look, PATIENCE), f"the icon is {looks()} and not {look}")

    def _leave(self):
        """Moves the pointer away from the bar, which marks what is below the pointer and shows its tool tip."""
        person.point_at((WIDTH // 2, HEIGHT - 10))

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
        """Opens the menu by a click of the other button, and clicks at an item. Menus are not among the accessible
        objects, neither the panel's nor the agent's: the item is found by counting the lines of the menu's picture."""
        self._leave()
        below = Box(0, BAR + 2, WIDTH, BAR)
        self._until(lambda: not Picture.take(below).drawn(), "something stays below the bar")
        icon = self._icon_comes()
        # The panel marks the icon whose menu it opens below itself; a menu in a tray opens at the pointer.
        top = BAR + 2 if self._session.bus.owner(WATCHER) else 0
        around = Box(max(0, min(icon.x - 200, WIDTH - 400)), top, 400, 300)
        before = Picture.take(around)
        person.click(icon.centre, 3)

        def counted():
            menu = Picture.take(around).changed(before)
            if not menu:
                return None
            found = Picture.take(menu.within(MENU_FRAME)).lines()
            return (menu, found) if len(found) == len(TITLES) else None
        menu, found = self._until(counted, f"no menu of {len(TITLES)} lines is shown")
        place = menu.centre[0], found[TITLES.index(title)]
        person.point_at(place)
        if picture_name:
            self._picture(picture_name)
        person.click(place)

    # Dialogs

    def _window(self, title):
        return self._until(lambda: person.window(title), f"no window has the title {title}")

    def _takes_keys(self, title):
        """Waits until the dialog itself knows that the keys go to it."""
        def active():
            dialog = self._session.programs().find("dialog", title)
            return dialog and dialog.has("active")
        self._until(active, f"the dialog {title} does not take the keys")

    def _close(self, title):
        """Closes a dialog that takes the keys."""
        self._takes_keys(title)
        person.press("Escape")
        self._until(lambda: not person.window(title), f"the window {title} stays")

    def _control(self, role, name):
        return self._until(lambda: self._session.programs().find(role, name), f"no {role} has the name {name}")

    def _reads(self, title, wanted):
        """Waits until a dialog has these texts, each behind its label, and the cells of a table."""
        def read():
            dialog = next(each for each in self._session.programs().descendants() if each.name == title)
            seen[:] = [f"{each.name} {each.text}" if each.role == "text" else each.name
                       for each in dialog.descendants() if each.role in ("text", "cell")]
            return seen == wanted
        seen = []
        expect(wait_until(lambda: _quietly(read), PATIENCE), f"{title} says {seen}")

    def _preference(self, key):
        return plistlib.loads(self._box.preferences.read_bytes()).get(key)


def _quietly(condition):
    """Returns what a condition says, or None while a program that it asks is not there."""
    try:
        return condition()
    except (Differs, StopIteration):
        return None
