#!/usr/bin/env python3
"""The stand-in service daemon, as an agent sees it on the wire."""

import signal
import socket
import subprocess
import time
import xml.etree.ElementTree as xml

from harness import expect, main
from sandbox import wait_until

REGISTER = '<RegisterAgent SessionID="7" UserID="Zoé &amp; co" ProcessID="42" RequestData="3"></RegisterAgent>'


class Peer:
    """A bare connection to one of the daemon's pipes."""

    def __init__(self, box, pipe="Kvn30RemoteClient"):
        self._socket = socket.socket(socket.AF_UNIX)
        self._socket.settimeout(10)
        self._socket.connect(str(box.pipes / pipe))

    def send(self, text):
        self._socket.sendall(text.encode() if isinstance(text, str) else text)

    def receive(self):
        return self._socket.recv(1 << 20)

    def ask(self, text):
        self.send(text)
        return xml.fromstring(self.receive())

    def hears_nothing(self):
        """Whether nothing was sent before the answer to one more request."""
        return self.ask('<GetStatus RequestData="999" />').get("RequestData") == "999"

    def ended(self):
        return self.receive() == b""

    def close(self):
        self._socket.close()


def started(box, *options):
    box.start_daemon(*options)
    expect(box.wait_for_daemon(), "the daemon does not come up")


def tell(box, command, answer="ok"):
    said = box.tell_daemon(command)
    expect(said == answer, f"{command}: answered {said}")


def registered(box):
    peer = Peer(box)
    result = peer.ask(REGISTER)
    expect((result.tag, result.attrib) == ("RequestResult", {"RequestData": "3", "StatusCode": "0"}),
           f"registration answered {xml.tostring(result)}")
    return peer


def agents_come_and_go(box):
    started(box)
    tell(box, "agents")
    first = registered(box)
    agents = box.tell_daemon("agents")
    expect(agents.endswith("session=7 user=Zoé & co pid=42"), agents)
    result = first.ask(REGISTER.replace("Register", "Unregister").replace('"3"', '"4"'))
    expect(result.attrib == {"RequestData": "4", "StatusCode": "0"}, xml.tostring(result))
    tell(box, "agents")
    # Without an identifier nothing is answered.
    first.send(REGISTER.replace('"3"', '"0"'))
    expect(first.hears_nothing(), "a registration without an identifier was answered")
    second = registered(box)
    expect(box.tell_daemon("agents").count("pid=42") == 2, "two agents are not told apart")
    first.close()
    expect(wait_until(lambda: box.tell_daemon("agents").count("pid=42") == 1, 10), "a closed agent stays")
    tell(box, "refuse on")
    expect(Peer(box).ask(REGISTER).get("StatusCode") == "5", "the agent was not refused")
    tell(box, "drop")
    expect(second.ended(), "the connection was not dropped")
    tell(box, "agents")
    tell(box, "refuse off")
    registered(box)


def status_tells_the_state(box):
    started(box)
    for command in ("state offline", "server a<b>\"c\"&d", "registration Büro 1", "sessions 7|bob,8",
                    "last-error", "proxy clear", 'proxy add "north side" 1 relay02', "proxy add b 0 r 12:00 2"):
        tell(box, command)
    peer = Peer(box)
    status = peer.ask('<GetStatus RequestData="17" />')
    expect(status.tag == "Status" and status.attrib == {
        "Value": "offline", "RequestData": "17", "Server": 'a<b>"c"&d', "Version": "5.0.1",
        "RemoteRegistrationName": "Büro 1", "SubProcessSessions": "7|bob,8"}, xml.tostring(status))
    expect([proxy.attrib for proxy in status] == [
        {"Name": "north side", "Server": "relay02", "Value": "1"},
        {"Name": "b", "Server": "r", "Time": "12:00", "Priority": "2", "Value": "0"}], xml.tostring(status))
    tell(box, "last-error no licence")
    server = Peer(box, "Kvn30RemoteServer").ask('<GetServerStatus RequestData="1" />')
    expect((server.tag, server.attrib) == ("ServerStatus", {"Value": "offline", "LastError": "no licence"}),
           xml.tostring(server))
    peer.send('<GetServerStatus RequestData="18" />')
    expect(peer.hears_nothing(), "the wrong pipe answered")


def one_delivery_holds_several_requests(box):
    started(box)
    peer = Peer(box)
    paused = peer.ask('<Pause /><GetStatus RequestData="1" />')
    expect(paused.attrib.items() >= {"Value": "paused", "RequestData": "1"}.items(), xml.tostring(paused))
    expect(peer.ask('<Continue /><GetStatus RequestData="2" />').get("Value") == "online", "not online")
    peer.send('<RebootSystem /><ClientLauched ProcessID="1" SessionID="2" UserID="x" RequestData="0">'
              "</ClientLauched>")
    expect(peer.hears_nothing(), "a request without an identifier was answered")
    for tag in ("Pause", "Continue", "RebootSystem", "ClientLauched"):
        expect(box.daemon.record.wait(rf"^<- \d+ <{tag}", 5), f"{tag} was not shown")


def commands_reach_registered_agents(box):
    started(box)
    tell(box, "execute /bin/true", "ok 0")
    agent, stranger = registered(box), Peer(box)
    tell(box, 'execute "/opt/my client" /sessionid:1 "/remoteuser:John Smith"', "ok 1")
    command = xml.fromstring(agent.receive())
    expect((command.tag, command.attrib) == ("ServiceCommand", {
        "Command": "ExecuteProcess", "Executable": '"/opt/my client"',
        "Parameters": '/sessionid:1 "/remoteuser:John Smith"'}), xml.tostring(command))
    tell(box, "command Dance", "ok 1")
    expect(xml.fromstring(agent.receive()).attrib == {"Command": "Dance"}, "another command differs")
    tell(box, "status", "ok 1")
    expect("RequestData" not in xml.fromstring(agent.receive()).attrib, "an unprompted status has an identifier")
    tell(box, "flood 200", "ok 200")
    flood = b""
    while flood.count(b"</Status>") < 200:
        flood += agent.receive()
    expect(stranger.hears_nothing(), "an agent that did not register was commanded")


def answers_go_wrong_as_told(box):
    started(box)
    peer = Peer(box)
    tell(box, "late 300")
    began = time.monotonic()
    peer.ask('<GetStatus RequestData="1" />')
    expect(time.monotonic() - began > 0.29, "the answer was not late")
    tell(box, "late 0")
    tell(box, "split")
    peer.send('<GetStatus RequestData="2" />')
    first = peer.receive()
    expect(not first.endswith(b"</Status>"), "the answer was not split")
    xml.fromstring(first + peer.receive())
    tell(box, "garbage 6")
    for number in range(6):
        peer.send(f'<GetStatus RequestData="{number + 3}" />')
        answer = peer.receive()
        while answer.endswith(b"<a>") and len(answer) < 100_000:
            answer += peer.receive()
        try:
            xml.fromstring(answer)
            expect(False, f"an answer makes sense: {answer}")
        except xml.ParseError:
            pass
    tell(box, "silent on")
    peer.send('<GetStatus RequestData="20" />')
    expect(box.daemon.record.wait('RequestData="20"', 5), "the request was not shown")
    tell(box, "silent off")
    expect(peer.hears_nothing(), "the daemon was not silent")


def nonsense_from_a_peer_is_survived(box):
    started(box)
    peer = Peer(box)
    for nonsense in (b"\0" * 100, b"\xff<a", b"<GetStatus", b"<a>" * 100_000, b"<Unknown />", b"x<GetStatus />"):
        peer.send(nonsense)
        seen = wait_until(lambda: box.tell_daemon("agents") is not None, 5)
        expect(seen, f"the daemon is gone after {nonsense[:20]}")
    # What is left of the nonsense and the request may come as one delivery.
    peer = Peer(box)
    expect(peer.hears_nothing(), "the daemon answers no more")
    for command in ("", "nonsense", "state on", "late -1", "flood x", "proxy add a", "execute", "x" * 5000):
        expect(box.tell_daemon(command).startswith("error "), f"{command[:20]} was accepted")


def it_ends_and_starts_cleanly(box):
    started(box)
    second = subprocess.run([box.build / "standins/service-daemon", "--root", box.root],
                            capture_output=True, timeout=20, stdin=subprocess.DEVNULL)
    expect(second.returncode == 1 and second.stderr, f"a second daemon: {second}")
    expect(Peer(box).hears_nothing(), "the second daemon disturbed the first")
    tell(box, "die")
    expect(box.daemon.wait(10) == 1 and box.control.is_socket(), "the daemon cleaned up when it died")
    for end in (lambda: box.daemon.signal(signal.SIGTERM), lambda: box.daemon.signal(signal.SIGINT),
                lambda: box.daemon.say("quit")):
        started(box)
        peer = registered(box)
        end()
        expect(box.daemon.wait(10) == 0, "the exit status is not 0")
        expect(peer.ended(), "the connection stays")
        left = [path for path in (box.control, *box.pipes.iterdir()) if path.is_socket()]
        expect(not left, f"left behind: {left}")
    for options, status in ((["--root"], 2), (["--colour"], 2), ([], 2), (["--root", "/proc/1/nowhere"], 1),
                            (["--root", str(box.root), "--script", "/nowhere"], 1),
                            (["--root", f"{box.root}/{'long/' * 30}"], 1)):
        failed = subprocess.run([box.build / "standins/service-daemon", *options], capture_output=True, timeout=20)
        expect(failed.returncode == status and failed.stderr, f"{options}: {failed}")


def a_script_is_played(box):
    script = box.root / "script"
    script.write_text("# a story\nstate paused\nwait 50\nserver scripted\nwait-for RegisterAgent\nstatus\nstate online\n")
    started(box, "--script", str(script))
    peer = Peer(box)
    expect(wait_until(lambda: peer.ask("<GetStatus />").get("Server") == "scripted", 10), "the script did not go on")
    expect(peer.ask("<GetStatus />").get("Value") == "paused", "the script did not wait")
    peer.send(REGISTER)
    answers = b""
    while b"</Status>" not in answers:
        answers += peer.receive()
    expect(answers.startswith(b"<RequestResult ") and b'Value="paused"' in answers, answers)
    expect(peer.ask("<GetStatus />").get("Value") == "online", "the script did not end")
    box.daemon.end()
    script.write_text("state online\nnonsense\n")
    box.start_daemon("--script", str(script))
    expect(box.daemon.wait(10) == 1, "a broken script was accepted")
    expect(box.daemon.record.find("script line 2: error"), "the broken line was not named")


main([agents_come_and_go, status_tells_the_state, one_delivery_holds_several_requests,
      commands_reach_registered_agents, answers_go_wrong_as_told, nonsense_from_a_peer_is_survived,
      it_ends_and_starts_cleanly, a_script_is_played])
