"""A privileged helper that shares no code with the product: sockets and JSON."""

import json
import re

from helper_client import frame, version_in
from installation import EMBEDDED
from wire import HANG_UP, WireServer

FRAME = re.compile(rb"F71([0-9A-F]{5})")


def completed(message, status=0, **more):
    return frame({"Event": "CommandCompleted", "Cmd": message["Cmd"], "status": status, **more})


def succeed(message):
    """The answer of a helper whose commands succeed."""
    if message["Cmd"] != "ExecuteTask":
        return [completed(message)]
    return [completed(message, Response={"requestId": message.get("requestId"), "result": 0})]


class WireHelper(WireServer):
    """Serves the helper's socket below a root. `handshake` is sent to a peer that asks for the version, and
    `answer` gives what is sent on a command."""

    def __init__(self, box):
        version = version_in(box.bundle / EMBEDDED)
        self.handshake = [frame({"version": version})]
        self.answer = succeed
        self.frames = []  # everything that came, frame by frame
        self.faults = []  # what is not a frame of an agent
        self._unfinished = {}
        super().__init__(box.helper_socket)

    def react(self, peer, data):
        data = self._unfinished.pop(peer, b"") + data
        while header := FRAME.match(data):
            end = 8 + int(header.group(1), 16)
            if len(data) < end:
                break
            whole, data = data[:end], data[end:]
            self.frames.append(whole)
            yield from self._reply(whole)
        self._unfinished[peer] = data
        if len(data) >= 8 and not header:
            self.faults.append(data)

    def _reply(self, whole):
        try:
            message = json.loads(whole[8:])
            if "Ctrl" in message:
                return {"getVersion": self.handshake, "bye": [HANG_UP]}[message["Ctrl"]]
            return self.answer(message)
        except (ValueError, KeyError):
            self.faults.append(whole)
            return []
