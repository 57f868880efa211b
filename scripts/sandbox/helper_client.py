# SPDX-License-Identifier: MIT

"""A client of the privileged helper, made of sockets and JSON and independent of the product."""

import json
import re
import socket

VERSION = re.compile(rb"(<key>CFBundleVersion</key>\s*<string>)([^<]*)(</string>)")


def version_in(executable):
    """Returns the version in the information list that is embedded in an executable."""
    return VERSION.search(executable.read_bytes()).group(2).decode()


def frame(message):
    body = message if isinstance(message, bytes) else json.dumps(message, separators=(",", ":")).encode()
    return b"F71%05X" % len(body) + body


class HelperClient:
    """One session, which is closed at the end of its scope."""

    def __init__(self, path, seconds=15):
        self._socket = socket.socket(socket.AF_UNIX)
        self._socket.settimeout(seconds)
        self._socket.connect(str(path))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._socket.close()

    def send(self, message):
        self._socket.sendall(frame(message))

    def _bytes(self, count):
        """Returns that many bytes, or fewer at the end of the connection."""
        data = b""
        while len(data) < count:
            try:
                piece = self._socket.recv(count - len(data))
            except ConnectionResetError:  # it ended before it had read everything
                break
            if not piece:
                break
            data += piece
        return data

    def receive(self):
        """Returns the next message, or None at the end of the connection."""
        header = self._bytes(8)
        if not header:
            return None
        assert re.fullmatch(rb"F71[0-9A-F]{5}", header), header
        body = self._bytes(int(header[3:], 16))
        assert len(body) < 512, body
        return json.loads(body)

    def ask(self, message):
        self.send(message)
        return self.receive()

    def command(self, name, **parameters):
        return self.ask({"Cmd": name, **parameters})

    def version(self):
        return self.ask({"Ctrl": "getVersion"})["version"]
