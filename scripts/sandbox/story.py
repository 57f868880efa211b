"""Plays the steps of a story, each of which says what it has seen or what differs."""

import re
import signal
import time

PATIENCE = 25  # seconds, of a busy machine


class Differs(Exception):
    """What was found in place of what the story tells."""


def expect(condition, difference):
    if not condition:
        raise Differs(difference)
    return condition


class AgentStory:
    """Commands an agent at its terminal; looks at the log and the terminal since the last command."""

    def __init__(self, box):
        self._box = box
        self._said = 0.0  # when the last command was said
        self._seen = 0  # how many lines of the log there were, and of the terminal
        self._shown = 0

    def _start_agent(self, bundle=None, environment=None):
        self._seen, self._shown = len(self._box.log.record), 0
        self._box.start_agent("terminal", bundle, environment)
        self._logged("Registering service agent")

    def _end_agent(self):
        self._box.agent.signal(signal.SIGTERM)
        status = self._box.agent.wait(15)
        expect(status == 0, f"the agent's exit status is {status}")

    def _mark(self):
        """What comes from here on is looked at."""
        self._seen, self._shown = len(self._box.log.record), len(self._box.agent.record)
        self._said = time.monotonic()

    def _say(self, command):
        self._mark()
        expect(self._box.agent.say(command), "the agent does not listen at its terminal")

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

    def _daemon(self):
        return next(iter(self._box.serving("service-daemon")), None)


def play(box, steps):
    """Prints a line for each step; the exit status of the whole."""
    for step in steps:
        try:
            print("ok  ", step(), flush=True)
        except Differs as difference:
            print("FAIL", f"{step.__name__}: {difference}", flush=True)
            for name, heard in (("daemon", box.daemon), ("helper", box.helper_log), ("agent", box.agent),
                                ("log", box.log)):
                for text in heard.record.tail(15) if heard else ():
                    print(f"     {name:<7}| {text}")
            return 1
    return 0
