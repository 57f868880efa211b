"""A privileged helper of its own making: sockets and JSON, nothing of the product."""

import json
import re

from helper_client import frame, version_in
from installation import EMBEDDED
from wire import WireServer

FRAME = re.compile(rb"F71([0-9A-F]{5})")
# In place of an answer, or beside it:
HANG_UP = object()  # the connection is closed
RETIRE = object()  # nobody else can connect any more


def completed(message, status=0, **more):
    return frame({"Event": "CommandCompleted", "Cmd": message["Cmd"], "status": status, **more})


def succeed(message):
    """What a friendly helper answers: a list of bytes, maybe with HANG_UP at its end."""
    if message["Cmd"] != "ExecuteTask":
        return [completed(message)]
    return [completed(message, Response={"requestId": message.get("requestId"), "result": 0})]


class WireHelper(WireServer):
    """Serves the helper's socket below a root. `greeting` is done to a peer that connects, `handshake` when it
    asks for the version (None: the right one is told), and `answer` gives what is done on a command."""

    def __init__(self, box):
        version = version_in(box.bundle / EMBEDDED)
        self.friendly = [frame({"version": version})]
        self.greeting = []
        self.handshake = None
        self.answer = succeed
        self.frames = []  # everything that came, frame by frame
        self.faults = []  # what is no frame of an agent
        self._unfinished = {}
        super().__init__(box.helper_socket)

    def welcome(self, peer):
        self._unfinished[peer] = b""
        self._do(peer, self.greeting)

    def react(self, peer, data):
        data = self._unfinished[peer] + data
        while len(data) >= 8:
            header = FRAME.match(data)
            if not header:
                self.faults.append(data)
                break
            end = 8 + int(header.group(1), 16)
            if len(data) < end:
                break
            self._took(peer, data[:end])
            data = data[end:]
        self._unfinished[peer] = data

    def _took(self, peer, whole):
        self.frames.append(whole)
        try:
            message = json.loads(whole[8:])
            if message == {"Ctrl": "getVersion"}:
                self._do(peer, self.friendly if self.handshake is None else self.handshake)
            elif message == {"Ctrl": "bye"}:
                self._do(peer, [HANG_UP])
            else:
                self._do(peer, self.answer(message))
        except (ValueError, KeyError):
            self.faults.append(whole)

    def _do(self, peer, steps):
        for step in steps:
            if step is HANG_UP:
                self._forget(peer)
            elif step is RETIRE:
                self.stop_listening()
            else:
                self._send(peer, step)
