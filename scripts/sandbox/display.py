# SPDX-License-Identifier: MIT

"""Finds out whether this process has a display."""

import os
import pathlib
import re
import socket

TIME_LIMIT = 2  # seconds


def display_answers():
    """Returns True if the display that the environment names takes connections."""
    return any(map(_takes_connections, _addresses()))


def _addresses():
    wayland = os.environ.get("WAYLAND_DISPLAY")
    if wayland:
        yield str(pathlib.Path(os.environ.get("XDG_RUNTIME_DIR", "/"), wayland))
    display = re.fullmatch(r"(?:unix)?(?P<host>[^:]*):(?P<number>\d+)(\.\d+)?", os.environ.get("DISPLAY", ""))
    if display and display["host"]:
        yield display["host"], 6000 + int(display["number"])
    elif display:
        yield f"/tmp/.X11-unix/X{display['number']}"
        yield f"\0/tmp/.X11-unix/X{display['number']}"


def _takes_connections(address):
    with socket.socket(socket.AF_UNIX if isinstance(address, str) else socket.AF_INET) as connection:
        connection.settimeout(TIME_LIMIT)
        try:
            connection.connect(address)
        except OSError:
            return False
    return True
