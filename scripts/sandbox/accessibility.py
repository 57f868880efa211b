# SPDX-License-Identifier: MIT

"""Reads what a screen reader reads: the accessible objects of the programs on a desktop."""

from message_bus import MessageBus
from picture import Box
from scenario import Differs

ACCESSIBLE = "org.a11y.atspi.Accessible"
STATES = {"active": 1, "checked": 4, "enabled": 8, "focused": 12, "showing": 25}  # the numbers of their bits
SCREEN = 0  # the coordinates of `GetExtents`
ROOT = "/org/a11y/atspi/accessible/root"


class Accessible:
    """An object on the bus of accessible objects."""

    def __init__(self, bus, name, path):
        self._bus, self._name, self._path = bus, name, path

    def _call(self, interface, method, *arguments):
        return self._bus.call(self._name, self._path, interface, method, *arguments)[0]

    @property
    def name(self):
        return self._bus.get(self._name, self._path, ACCESSIBLE, "Name")

    @property
    def role(self):
        return self._call(ACCESSIBLE, "GetRoleName")

    @property
    def text(self):
        return self._call("org.a11y.atspi.Text", "GetText", "(ii)", 0, -1)

    @property
    def place(self):
        return Box(*self._call("org.a11y.atspi.Component", "GetExtents", "(u)", SCREEN))

    def has(self, state):
        low, high = self._call(ACCESSIBLE, "GetState")
        return bool((high << 32 | low) >> STATES[state] & 1)

    def children(self):
        return [Accessible(self._bus, name, path) for name, path in self._call(ACCESSIBLE, "GetChildren")]

    def descendants(self):
        """Yields this object and all below it. Objects that vanish meanwhile are left out."""
        yield self
        try:
            children = self.children()
        except Differs:
            return
        for child in children:
            yield from child.descendants()

    def find(self, role, name=None):
        """Returns the first object with this role, and this name if one is given, that is shown; or None."""
        for each in self.descendants():
            try:
                if each.role == role and name in (None, each.name) and each.has("showing"):
                    return each
            except Differs:
                pass  # it has vanished
        return None


def switch_on(session_bus):
    """Tells programs that somebody reads their accessible objects."""
    session_bus.set("org.a11y.Bus", "/org/a11y/bus", "org.a11y.Status", "IsEnabled", "b", True)


def desktop(session_bus):
    """Returns the object whose children are the programs."""
    address = session_bus.call("org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress")[0]
    return Accessible(MessageBus(address), "org.a11y.atspi.Registry", ROOT)
