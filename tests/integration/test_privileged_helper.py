#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The agent replaces a privileged helper that does not do its work."""

import os
import signal

from harness import ends_well, expect, logged, main, returns_to
from helper_client import frame
from installation import HELPER
from processes import resources_of
from wire import HANG_UP, RETIRE, WireDaemon, WireServer

VERSION = b'F7100015{"Ctrl":"getVersion"}'
BYE = b'F710000E{"Ctrl":"bye"}'


class UnfitHelper(WireServer):
    """Serves the helper's socket until a peer asks for its version. It answers that with `handshake`, and then no
    other peer can connect."""

    def __init__(self, box, handshake, greeting=()):
        self._answers = {VERSION: [RETIRE, *handshake], BYE: [HANG_UP]}
        self.faults = []  # what came and is none of the two frames
        super().__init__(box.helper_socket, greeting=greeting)

    def react(self, _peer, data):
        if data not in self._answers:
            self.faults.append(data)
        return self._answers.get(data, ())


def an_unfit_helper_is_replaced(box):
    service = WireDaemon(box)
    box.start_agent("terminal")
    expect(service.record.wait("<GetStatus", 30), "the agent does not come up")
    calm = None
    for handshake, greeting in (((), [RETIRE, HANG_UP]), ([b'F7100015{"version', HANG_UP], ()), ([b"F7100000"], ()),
                                ([frame({"version": 1})], ()), ([frame({"version": "0.0.9"})], ()), ((), ())):
        helper = UnfitHelper(box, handshake, greeting)
        seen, done = len(box.log.record), len(box.helper_log.record)
        expect(box.agent.say("task /bin/true"), "the agent does not listen")
        logged(box, f"\tPrivileged helper {HELPER} is up-to-date, version: ", start=seen)
        logged(box, "\tSending launch command", start=seen)
        expect(box.helper_log.record.wait("ExecuteTask completed with status 0", 20, done),
               "the new helper does nothing")
        replacements = box.serving(HELPER)
        expect(len(replacements) == 1, f"{len(replacements)} helpers run")
        calm = calm or resources_of(box.agent.pid)
        expect(returns_to(box, calm), f"after {handshake}: {resources_of(box.agent.pid)}, not {calm}")
        expect(not helper.faults, f"sent {helper.faults}")
        helper.die()
        seen = len(box.log.record)
        os.kill(replacements[0], signal.SIGTERM)
        logged(box, "\tPrivilegedAgent event connection closed by peer", start=seen)
    ends_well(box, service)


main([an_unfit_helper_is_replaced])
