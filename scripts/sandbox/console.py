# SPDX-License-Identifier: MIT

"""Lets a person command a daemon and an agent, and shows what they say."""

import re
import signal
import threading
import time

from sandbox import wait_until

GREETING = """\
The agent and its service daemon run below {root}. Try:
agent menu            prints the agent's menu; agent 6 chooses item 6
agent stop            stops the service; installs a helper first
daemon state paused   makes the service report that it is paused
help lists all commands, Tab completes; log on shows the log; quit ends"""
ON_DESKTOP = "The agent's item is in the panel: click it to see the service's status; its menu has the rest."
HELP = """\
agent menu           prints the agent's menu; agent 6 chooses item 6
agent stop           stops the service; agent start starts it again
agent task /bin/ls   makes the helper run a program
agent settings       shows the settings; also agent permissions
agent help           lists all commands of the agent
daemon state paused  sets what the service reports
daemon execute /bin/ls -l
                     makes the agent launch a program
daemon sessions 100008
                     sets where remote sessions run
daemon die           crashes; also daemon drop, daemon garbage,
                     daemon silent on, daemon refuse on,
                     daemon late 2000
daemon help          lists all commands of the daemon
start agent          starts it again after its end; also start daemon
log on               shows the agent's log; log off hides it
status               tells what runs, and how often the agent polled
quit                 ends everything"""

USAGE = {"agent": "agent COMMAND", "daemon": "daemon COMMAND", "start": "start agent | start daemon",
         "log": "log on | log off"}
STAMP = re.compile(r"\S+T(?P<time>\S+) Thread\[\w+\]:\t")
MESSAGE = re.compile(r"(<-|->) \d+ <")
BANNER = "----"  # the first line of a log file


class Polls:
    """Counts the agent's requests for the status, and finds the daemon's lines that tell of no change."""

    REQUEST = re.compile(r"<- \d+ <GetStatus ")
    ANSWER = re.compile(r"-> \d+ <Status ")
    IDENTIFIER = re.compile(r' RequestData="[1-9]\d*"')

    def __init__(self):
        self._count = 0
        self._last = 0.0
        self._answer = ""

    def __str__(self):
        if not self._count:
            return "no polls yet"
        return f"polls {self._count}, last {time.monotonic() - self._last:.0f} s ago"

    def hide(self, line):
        """Returns True for a request, and for an answer that equals the one before it."""
        if self.REQUEST.match(line):
            self._count += 1
            self._last = time.monotonic()
            return True
        if not self.ANSWER.match(line) or not self.IDENTIFIER.search(line):
            return False
        former, self._answer = self._answer, self.IDENTIFIER.sub("", line)
        return self._answer == former


class Console:
    """Takes `listener` as the sandbox's listener, then `run` the console with that sandbox."""

    def __init__(self, screen, ui, shows_log=False):
        self._screen = screen
        self._ui = ui
        self._shows_log = shows_log
        self._polls = Polls()
        self._agent_commands = {}
        self._learning = False  # while the last line of the agent was taken by `_learn_agent_command`
        self._daemon_commands = {}
        self._box = None
        self._ending = False

    def listener(self, name):
        """Returns the function that takes each line of a program. Called on the thread that reads them."""
        return lambda text: self._heard(name, text)

    def run(self, box):
        self._box = box
        self._start("daemon")
        if not box.wait_for_daemon():
            self._say("the daemon does not come up")
            return 1
        self._learn_daemon_commands()
        self._start("agent")
        if self._ui == "terminal":
            box.agent.record.wait(r"^status: .*\| server: ", 5)
            box.daemon.record.wait(r"-> \d+ <Status ", 5)
            wait_until(lambda: "stop" in self._agent_commands, 5)
        self._greet()
        try:
            self._screen.converse(self._perform, self._words, self._status)
        finally:
            self._ending = True
        return 0

    def _say(self, *texts):
        self._screen.show("run", *texts)

    def _greet(self):
        self._say(*self._possible(GREETING.format(root=self._box.root)))
        if self._ui == "desktop":
            self._say(ON_DESKTOP)

    def _possible(self, text):
        """Returns the lines of a help, without the commands that only an agent in a terminal takes."""
        return [line for line in text.splitlines() if self._ui == "terminal" or not line.startswith("agent ")]

    # What is heard

    def _heard(self, name, text):
        if name in ("log", "helper"):
            if text.startswith(BANNER) or name == "log" and not self._shows_log:
                return
            text = STAMP.sub(r"\g<time> " if name == "log" else "", text)
        elif name == "daemon" and self._polls.hide(text) or name == "agent" and self._learn_agent_command(text):
            return
        elif name == "daemon" and MESSAGE.match(text) and not self._shows_log:
            text = self._cut(text)
        self._screen.show(name, text)

    def _cut(self, text):
        """Shortens a message to one line of a terminal."""
        columns = self._screen.columns
        return text[:columns - 3] + "..." if columns and len(text) > columns else text

    def _learn_daemon_commands(self):
        """Asks the daemon for its commands, to complete them and such arguments as "on|off"."""
        answer = self._box.tell_daemon("help") or ""
        for command in answer.removeprefix("ok ").split("; "):
            name, _, arguments = command.partition(" ")
            choices = arguments.split("|")
            fixed = len(choices) > 1 and all(re.fullmatch("[a-z]+", choice) for choice in choices)
            self._daemon_commands[name] = set(choices) if fixed else None

    def _learn_agent_command(self, text):
        """Takes a line of the help that `_start` asks for, to complete its commands. Returns False for a line
        that must be shown; the help that a person asks for is, as its commands are known by then."""
        command = re.match(r"([a-z]+|1, 2, \.\.\.) {2,}\S", text)
        if command:
            self._learning = command[1] not in self._agent_commands
            self._agent_commands[command[1]] = None
        elif not text.startswith(" " * 13):  # not the rest of a purpose, in a narrow window
            self._learning = False
        return self._learning

    # What is typed

    def _words(self):
        """Returns the words that can be typed, each with those that may follow it."""
        return {"agent": dict.fromkeys(filter(str.isalpha, self._agent_commands)), "daemon": self._daemon_commands,
                "start": {"agent", "daemon"}, "log": {"on", "off"}, "status": None, "help": None, "quit": None}

    def _perform(self, line):
        verb, _, rest = line.partition(" ")
        rest = rest.strip()
        if verb == "quit":
            return False
        if verb == "agent" and rest:
            self._tell_agent(rest)
        elif verb == "daemon" and rest:
            self._tell_daemon(rest)
        elif verb == "start" and rest in ("daemon", "agent"):
            self._start_again(rest)
        elif verb == "log" and rest in ("on", "off"):
            self._shows_log = rest == "on"
            self._say(f"the log is {rest}")
        elif verb == "status":
            self._say(self._status())
        elif verb == "help":
            self._say(*self._possible(HELP))
        elif verb in USAGE:
            self._say("usage: " + USAGE[verb])
        elif verb:
            self._say(self._advice(verb, line))
        return True

    def _advice(self, verb, line):
        for program, commands in (("agent", self._agent_commands), ("daemon", self._daemon_commands)):
            if verb in commands or program == "agent" and verb.isdecimal():
                return f'unknown command: {line} (try "{program} {line}")'
        return f'unknown command: {line} (try "help")'

    def _tell_agent(self, command):
        agent = self._box.agent
        agent.set_columns(self._screen.columns)
        if not agent.running or not agent.say(command):
            self._say('the agent does not run; "start agent" starts it')
        elif self._ui != "terminal":
            self._say("only an agent with the terminal front end takes commands")

    def _tell_daemon(self, command):
        # Not by its standard input: the helper may have started it.
        answer = self._box.tell_daemon(command)
        if answer is None:
            self._say('the daemon does not answer; after its end, "start daemon" starts it')
            return
        for line in answer.split("; ") if command in ("help", "agents") else [answer]:
            self._screen.show("daemon", line)

    # The programs

    def _start_again(self, name):
        box = self._box
        if box.agent.running if name == "agent" else box.daemon_listens():
            self._say(f"the {name} runs already")
        else:
            (box.agent if name == "agent" else box.daemon).end()
            self._start(name)

    def _start(self, name):
        box = self._box
        if name == "daemon":
            box.start_daemon()
        else:
            box.start_agent(self._ui, columns=self._screen.columns)
            if self._ui == "terminal" and not self._agent_commands:
                box.agent.say("help")
        program = box.daemon if name == "daemon" else box.agent
        threading.Thread(target=self._await_end, args=(name, program), daemon=True).start()

    def _await_end(self, name, program):
        status = program.wait(None)
        if not self._ending:
            reason = f"ended with status {status}" if status >= 0 else f"was ended by {signal.Signals(-status).name}"
            self._say(f'the {name} {reason}; "start {name}" starts it again')

    def _status(self):
        box = self._box
        states = {"agent": box.agent.running, "daemon": box.daemon_listens()}
        return " | ".join([*(f"{name} {'runs' if runs else 'is down'}" for name, runs in states.items()),
                           str(self._polls), "log " + ("on" if self._shows_log else "off")])
