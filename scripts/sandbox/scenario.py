# SPDX-License-Identifier: MIT

"""Plays the steps of a scenario: each returns a sentence on what it checked, or raises `Differs`."""

import re
import signal
import time

PATIENCE = 25  # seconds, of a busy machine


class Differs(Exception):
    """Raised with what was found in place of what the scenario expects."""


def expect(condition, difference):
    if not condition:
        raise Differs(difference)
    return condition


class AgentScenario:
    """Gives the agent commands, and waits for what its log and its terminal say after the last one."""

    ui = "terminal"  # the agent's front end

    def __init__(self, box):
        self._box = box
        self._said = 0.0  # when the last command was given
        self._seen = 0  # how many lines the log had then
        self._shown = 0  # how many lines the terminal had then

    def _start_agent(self, bundle=None, environment=None):
        self._seen, self._shown = len(self._box.log.record), 0
        self._box.start_agent(self.ui, bundle, environment)
        self._logged("Registering service agent")

    def _end_agent(self):
        self._box.agent.signal(signal.SIGTERM)
        status = self._box.agent.wait(15)
        expect(status == 0, f"the agent's exit status is {status}")

    def _mark(self):
        """Makes the checks that follow ignore all earlier lines."""
        self._seen, self._shown = len(self._box.log.record), len(self._box.agent.record)
        self._said = time.monotonic()

    def _say(self, command):
        self._mark()
        expect(self._box.agent.say(command), "the agent does not read its commands")

    def _found(self, text):
        return self._box.log.record.find("\t" + re.escape(text), self._seen)

    def _logged(self, text, seconds=PATIENCE):
        line = self._box.log.record.wait("\t" + re.escape(text), seconds, self._seen)
        return expect(line, f"not in the log: {text}")

    def _printed(self, pattern, seconds=PATIENCE):
        line = self._box.agent.record.wait(pattern, seconds, self._shown)
        return expect(line, f"the agent's terminal does not show {pattern}")

    def _shows(self, state):
        return self._printed(rf"(?i)^status: {state}\b")

    def failed(self, _step):
        """Called after the step that failed. Returns lines that tell more."""
        return []

    def _daemon(self):
        """Returns the id of the daemon's process, or None."""
        return next(iter(self._box.serving("service-daemon")), None)


def play(kind, box):
    """Prints a line for each step, until one fails. Returns the exit status."""
    scenario = kind(box)
    for step in scenario.steps:
        try:
            print("ok  ", step(scenario), flush=True)
        except Differs as difference:
            print("FAIL", f"{step.__name__}: {difference}", flush=True)
            for line in [*scenario.failed(step.__name__), *box.last_lines(15)]:
                print("    ", line)
            return 1
    return 0
