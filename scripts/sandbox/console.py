"""A person at the terminal, with a daemon and an agent to command."""

import sys

from sandbox import show_as

HELP = """\
daemon COMMAND   a command for the daemon, for example:
                   daemon execute /bin/ls -l     let the agent launch a program
                   daemon state paused           what the service is said to be
                   daemon sessions 100008        where remote sessions run
                   daemon status                 push the status to the agents
                   daemon refuse on | silent on | late 2000 | garbage | flood 100 | drop | die
                   daemon help                   all of them
agent COMMAND    a command for the agent, for example:
                   agent menu                    its menu; agent 6 then chooses number 6
                   agent settings | agent permissions | agent status
                   agent stop | agent start | agent task /bin/ls -l
                                                 by the privileged helper, installed when it is missing
                   agent help                    all of them
start daemon     start the daemon again after its end; likewise: start agent
help             this text
quit             end everything"""


class Console:
    def __init__(self, box, ui):
        self._box = box
        self._ui = ui
        self._say = show_as("run")

    def run(self):
        self._box.start_daemon()
        if not self._box.wait_for_daemon():
            self._say("the daemon does not come up")
            return 1
        self._box.start_agent(self._ui)
        self._say(f"root {self._box.root}; \"help\" lists the commands, \"quit\" ends")
        for line in sys.stdin:
            verb, _, rest = line.strip().partition(" ")
            if verb == "quit":
                break
            self._perform(verb, rest.strip())
        return 0

    def _perform(self, verb, rest):
        if verb == "daemon" and rest:
            self._tell_daemon(rest)
        elif verb == "agent" and rest:
            if not self._box.agent.running or not self._box.agent.say(rest):
                self._say('the agent does not run ("start agent" starts it)')
        elif verb == "start" and rest in ("daemon", "agent"):
            self._start(rest)
        elif verb == "help":
            print(HELP, flush=True)
        elif verb:
            self._say(f"unknown command: {verb} {rest}".rstrip() + " (try \"help\")")

    def _tell_daemon(self, command):
        # Not by its standard input: the helper may have started it.
        answer = self._box.tell_daemon(command)
        if answer is None:
            self._say('the daemon does not run ("start daemon" starts it)')
        else:
            show_as("daemon")(answer)

    def _start(self, name):
        box = self._box
        if box.agent.running if name == "agent" else box.tell_daemon("help") is not None:
            self._say(f"the {name} runs already")
        elif name == "agent":
            box.agent.end()
            box.start_agent(self._ui)
        else:
            box.daemon.end()
            box.start_daemon()
