# SPDX-License-Identifier: MIT

"""Asks other programs through a D-Bus bus."""

from gi.repository import Gio, GLib

from scenario import Differs

PROPERTIES = "org.freedesktop.DBus.Properties"
BUS = "org.freedesktop.DBus"


class MessageBus:
    """A connection to the bus at this address. An error, or no answer, raises `Differs`."""

    def __init__(self, address):
        kind = Gio.DBusConnectionFlags
        try:
            self._connection = Gio.DBusConnection.new_for_address_sync(
                address, kind.AUTHENTICATION_CLIENT | kind.MESSAGE_BUS_CONNECTION, None, None)
        except GLib.Error as error:
            raise Differs(f"the bus {address} takes no connection: {error.message}") from error

    def call(self, name, path, interface, method, types="()", *arguments, seconds=5):
        """Returns the tuple that the method returns."""
        try:
            return self._connection.call_sync(name, path, interface, method, GLib.Variant(types, arguments), None,
                                              Gio.DBusCallFlags.NONE, 1000 * seconds, None).unpack()
        except GLib.Error as error:
            raise Differs(f"{method} of {name} {path}: {error.message}") from error

    def get(self, name, path, interface, member):
        """Returns the value of a property."""
        return self.call(name, path, PROPERTIES, "Get", "(ss)", interface, member)[0]

    def set(self, name, path, interface, member, types, value):
        self.call(name, path, PROPERTIES, "Set", "(ssv)", interface, member, GLib.Variant(types, value))

    def owner(self, name):
        """Returns the unique name of the owner of a well-known name, or None."""
        if not self.call(BUS, "/org/freedesktop/DBus", BUS, "NameHasOwner", "(s)", name)[0]:
            return None
        return self.call(BUS, "/org/freedesktop/DBus", BUS, "GetNameOwner", "(s)", name)[0]
