# SPDX-License-Identifier: MIT

"""First session: the agent registers with its daemon, launches a client, and survives the daemon's death."""

import plistlib
import re
import signal
import time

from sandbox import wait_until
from scenario import AgentScenario, expect

# The program that the agent launches. It writes its arguments, one a line, and its process id to files.
CLIENT = """\
#!/bin/sh
cd "$(dirname "$0")"
printf '%s\\n' "$@" >arguments.new
mv arguments.new arguments
echo $$ >pid.new
mv pid.new pid
"""
POLL = 5.0
REQUEST = r"^<- (?P<peer>\d+) <GetStatus "


def attribute(text, name):
    found = re.search(rf' {name}="([^"]*)"', text)
    return found.group(1) if found else None


class FirstSession(AgentScenario):
    def start_daemon(self):
        box = self._box
        box.start_daemon()
        expect(box.wait_for_daemon(), "the daemon's control socket does not answer")
        return "the service daemon is running"

    def register(self):
        box = self._box
        self._start_agent()
        expect(wait_until(self._registered, 20), "the daemon knows no agent with the process id "
               f"{box.agent.pid}: {box.tell_daemon('agents')}")
        expect(box.log.record.wait(r"\tService agent registered\.$", 5),
               'the log has no "Service agent registered."')
        line = box.daemon.record.wait(r"^<- \d+ <RegisterAgent ", 0)
        return f"the agent registered in {1000 * (line.time - box.agent.started):.0f} ms"

    def poll(self):
        # The first request follows the registration at once, the second comes from the timer.
        requests = self._box.daemon.record
        expect(requests.wait(REQUEST, POLL + 10, count=2), "no second status request came")
        first, second = requests.find(REQUEST)[:2]
        apart = second.time - first.time
        expect(abs(apart - POLL) < 0.75, f"two status requests came {apart:.2f} s apart")
        expect(attribute(first.text, "RequestData") != attribute(second.text, "RequestData"),
               "two requests have one identifier: " + first.text)
        return f"the agent polled the status twice, {apart:.2f} s apart"

    def launch_client(self):
        box = self._box
        folder = box.root / "client folder"
        folder.mkdir()
        client = folder / "client"
        client.write_text(CLIENT)
        client.chmod(0o755)
        answer = box.tell_daemon(f'execute "{client}" /sessionid:123 "/remoteuser:John Smith" /transferlog:on')
        expect(answer == "ok 1", f"the daemon answered {answer}")
        # Right after the start of the machine the agent gives the desktop time to come up.
        fresh = time.monotonic() < 90  # seconds since the machine's start, on Linux and macOS
        arguments = folder / "arguments"
        expect(wait_until(arguments.exists, 30 if fresh else 15), "the client was not started")
        found = arguments.read_text().splitlines()
        expect(found == ["-sid:123", '"-sessionclientname:John Smith"', "-transferlog:on"],
               f"the client's arguments are {found}")
        expect(wait_until((folder / "pid").exists, 5), "the client left no process id")
        self._client_pid = (folder / "pid").read_text().strip()
        return "the agent launched the client with the arguments " + " ".join(found)

    def report_client(self):
        line = expect(self._box.daemon.record.wait(r"^<- \d+ <ClientLauched ", 5),
                      'no "ClientLauched" came')
        pid = attribute(line.text, "ProcessID")
        expect(pid == self._client_pid, f"the client's process is {self._client_pid}, reported is {pid}")
        registration = self._box.daemon.record.find(r"^<- \d+ <RegisterAgent ")[0]
        for name in ("SessionID", "UserID"):
            expect(attribute(line.text, name) == attribute(registration.text, name),
                   f"{name} differs between {registration.text} and {line.text}")
        self._session = "|".join(attribute(line.text, name) for name in ("SessionID", "UserID"))
        return f"the agent reported the client's process, {pid}"

    def remember_client(self):
        wanted = f"{self._client_pid}|{self._session}"
        preferences = self._box.preferences
        expect(wait_until(preferences.exists, 5), f"there is no {preferences.name}")
        found = plistlib.loads(preferences.read_bytes()).get("LastClientProcessInfo")
        expect(found == wanted, f"LastClientProcessInfo is {found}, not {wanted}")
        return f"the agent saved the client as {found}"

    def lose_daemon(self):
        box = self._box
        seen = len(box.log.record)
        expect(box.tell_daemon("die") is not None, "the daemon did not listen")
        expect(box.daemon.wait(5) is not None, "the daemon did not die")
        expect(box.log.record.wait(r"\tpipe: \d+ closed by peer,$", 5, seen),
               "the agent did not notice the daemon's death")
        expect(box.log.record.wait(r"\tRemoteServiceConnector: Connection failed: 54$", 5, seen),
               "the connector did not report the daemon's death")
        expect(box.log.record.wait(r"no messenger for given pipe ID$", POLL + 5, seen),
               "the agent did not try to reach the daemon again")
        expect(box.agent.running, "the agent ended with the daemon")
        return "the agent noticed the daemon's death and tried to connect again"

    def register_again(self):
        box = self._box
        seen = len(box.log.record)
        started = time.monotonic()
        box.daemon.end()
        box.start_daemon()
        expect(box.wait_for_daemon(), "the daemon does not come back")
        expect(wait_until(self._registered, 3 * POLL + 5),
               f"the agent did not register again: {box.tell_daemon('agents')}")
        expect(box.log.record.wait(r"\tReregistering service agent\.\.\.$", 1, seen),
               'the log has no "Reregistering service agent..."')
        expect(box.log.record.wait(r"\tService agent registered\.$", 5, seen),
               'the log has no second "Service agent registered."')
        return f"the agent registered again {time.monotonic() - started:.1f} s after the daemon was started again"

    def pause(self):
        return self._change("pause", "Pause", "paused")

    def resume(self):
        return self._change("continue", "Continue", "online")

    def end_agent(self):
        box = self._box
        box.agent.signal(signal.SIGTERM)
        status = box.agent.wait(10)
        expect(status is not None, "the agent does not end on SIGTERM")
        expect(status == 0, f"the agent's exit status is {status}")
        return "the agent ended with status 0"

    def end_daemon(self):
        box = self._box
        answer = box.tell_daemon("quit")
        expect(answer == "ok", f"the daemon answered {answer}")
        status = box.daemon.wait(5)
        expect(status == 0, f"the daemon's exit status is {status}")
        left = [path.name for path in (*box.pipes.iterdir(), box.control) if path.is_socket()]
        expect(not left, f"the daemon left its sockets {left}")
        expect(not box.left_running(), f"still running: {box.left_running()}")
        return "the daemon ended and removed its sockets; no process is left"

    def _registered(self):
        answer = self._box.tell_daemon("agents")
        return answer and re.search(rf"\bpid={self._box.agent.pid}\b", answer)

    def _change(self, command, tag, state):
        box = self._box
        daemon, agent = box.daemon.record, box.agent.record
        seen, shown = len(daemon), len(agent)
        expect(box.agent.say(command), "the agent does not read its commands")
        expect(daemon.wait(rf"^<- \d+ <{tag} />$", 5, seen), f'no "{tag}" came')
        expect(daemon.wait(REQUEST, 5, seen), f'no "GetStatus" followed "{tag}"')
        expect(daemon.wait(rf'^-> \d+ <Status Value="{state}"', 5, seen), f"the service is not {state}")
        expect(agent.wait(rf"(?i)^status: {state}\b", 5, shown), f"the agent's terminal does not show {state}")
        return f'after the command "{command}", the service is {state}'

    steps = (start_daemon, register, poll, launch_client, report_client, remember_client, lose_daemon,
             register_again, pause, resume, end_agent, end_daemon)
