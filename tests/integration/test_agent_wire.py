#!/usr/bin/env python3
"""The agent's bytes, rhythm and log lines, against a service that is not the product's own."""

import pathlib
import signal
import time

from agent_process import session_of
from harness import expect, main
from sandbox import wait_until
from wire import WireDaemon, answer_all, answer_nothing

POLL = 5.0
SLACK = 0.75  # of a busy machine under a sanitizer


def started(box, answer=answer_all, ui="terminal"):
    service = WireDaemon(box, answer)
    box.start_agent(ui)
    return service


def logged(box, text, seconds=20, start=0):
    return expect(box.log.record.wait(text, seconds, start), f"not in the log: {text}")


def heard(service, text, seconds=20, start=0):
    return expect(service.record.wait(text, seconds, start), f"did not come: {text}")


def near(measured, wanted, what):
    expect(abs(measured - wanted) < SLACK, f"{what}: {measured:.2f} s, not {wanted} s")


def registers_and_polls(box):
    service = started(box)
    heard(service, "<GetStatus", 30, 0)
    expect(service.record.wait("<GetStatus", 30, 0, count=3), "no third status request came")
    pid = box.agent.pid
    session, user = session_of(pid)
    wanted = (f'<RegisterAgent SessionID="{session}" UserID="{user}" ProcessID="{pid}" RequestData="1">'
              '</RegisterAgent><GetStatus RequestData="2" /><GetStatus RequestData="3" />'
              '<GetStatus RequestData="4" />')
    expect(service.all_bytes().decode() == wanted, f"sent {service.all_bytes()}")
    polls = [delivery for delivery in service.deliveries if b"<GetStatus" in delivery.data]
    near(polls[1].time - polls[0].time, POLL, "second poll")
    near(polls[2].time - polls[1].time, POLL, "third poll")
    expect({delivery.connection for delivery in service.deliveries} == {1}, "more than one connection")
    for text in (r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3} Thread\[[0-9a-f]+\]:\tStarting status timer$",
                 r"\tRegistering service agent\.\.\.$",
                 rf"\tSending RegisterAgent request for user: {user}, session: {session}, pid: {pid}$",
                 r"\tService agent registered\.$"):
        expect(len(box.log.record.find(text)) == 1, f"not once in the log: {text}")
    service.push(b'<Status Value="paused"/>')
    box.agent.signal(signal.SIGTERM)
    expect(box.agent.wait(20) == 0, "the agent's exit status is not 0")
    service.die()


def requests_of_the_terminal(box):
    service = started(box)
    heard(service, "<GetStatus")
    for command, wanted in (("pause", '<Pause /><GetStatus RequestData="3" />'),
                            ("continue", '<Continue /><GetStatus RequestData="4" />'),
                            ("reboot", "<RebootSystem />")):
        seen = len(service.all_bytes())
        expect(box.agent.say(command), "the agent does not listen")
        expect(wait_until(lambda: len(service.all_bytes()) >= seen + len(wanted), 10), f"{command}: nothing came")
        sent = service.all_bytes()[seen:].decode()
        expect(sent == wanted, f"{command}: sent {sent}")
    logged(box, r"\treboot request succesfully sent$")
    box.agent.say("quit")
    expect(box.agent.wait(20) == 0, "the agent's exit status is not 0")
    service.die()


def launches_clients(box):
    service = started(box)
    heard(service, "<GetStatus")
    client = box.root / "my client"
    client.write_text('#!/bin/sh\nprintf "%s\\n" "$@" >"$0.new"; mv "$0.new" "$0.arguments"\n')
    client.chmod(0o755)
    seen = len(service.record)
    service.push(f'<Status Value="online"/><ServiceCommand Command="ExecuteProcess" Executable="&#34;{client}&#34;"'
                 ' Parameters="  /sessionid:9  &#34;/remoteuser:A &amp; B&#34; /proxyconfig:x plain "/>'.encode())
    sent = time.monotonic()
    line = heard(service, "<ClientLauched", 40, seen)
    fresh = float(pathlib.Path("/proc/uptime").read_text().split()[0]) < 100
    if not fresh:
        near(line.time - sent, 1.0, "launch delay")
    started_line = logged(box, r"\tStarted: ").text
    pid = started_line.split("procId: ")[1].split(",")[0]
    session, user = session_of(box.agent.pid)
    wanted = (f'<ClientLauched ProcessID="{pid}" SessionID="{session}" UserID="{user}" RequestData="0">'
              "</ClientLauched>")
    expect(line.text.startswith(wanted), f"sent {line.text}")
    arguments = client.with_name("my client.arguments")
    expect(wait_until(arguments.exists, 10), "the client did not run")
    found = arguments.read_text().splitlines()
    expect(found == ["-sid:9", '"-sessionclientname:A & B"', "-proxyconfig:x", "plain"], f"arguments {found}")
    logged(box, r"\tRemoteServiceConnector: Processing command: ExecuteProcess$")
    logged(box, r"\tLaunching client in 1?\d\.0 seconds$")

    # What cannot be launched is only logged.
    (box.root / "text").write_text("no program")
    reported = len(service.record.find("<ClientLauched"))
    for program in ("/nowhere/client", str(box.root / "text"), str(box.root), ""):
        seen = len(box.log.record)
        service.push(f'<ServiceCommand Command="ExecuteProcess" Executable="{program}" Parameters=""/>'.encode())
        logged(box, r"\tFailed to launch: ", 40, seen)
    service.push(b'<ServiceCommand Command="Dance"/>')
    logged(box, r"\tReceived unknown service command: Dance$")
    expect(len(service.record.find("<ClientLauched")) == reported, "a launch that failed was reported")
    service.die()


def refusal_and_split_answers(box):
    def refuse(tag, identifier):
        if tag == b"RegisterAgent":
            return b'<RequestResult RequestData="%d" StatusCode="5"/>' % identifier
        return answer_all(tag, identifier)

    service = started(box, refuse, "none")
    logged(box, r"\tService agent registeration failed, status: 5$")
    # The poll that finds the agent unregistered starts over with a new connection.
    expect(service.record.wait("<RegisterAgent", 20, count=2), "the agent did not register again")
    logged(box, r"\tReregistering service agent\.\.\.$")
    near(service.deliveries[-1].time - service.deliveries[0].time, POLL, "second registration")

    # An answer that comes in two deliveries is two broken documents.
    service.answer = answer_nothing
    seen = len(service.record)
    request = heard(service, "<RegisterAgent", 20, seen).text
    identifier = request.split('RequestData="')[1].split('"')[0].encode()
    service.push(b'<RequestResult RequestData="' + identifier)
    expect(wait_until(service.all_taken, 10), "the agent does not read")
    service.push(b'" StatusCode="0"/>')
    expect(wait_until(service.all_taken, 10), "the agent does not read")
    # What comes after it is understood.
    service.answer = answer_all
    seen = len(service.record)
    heard(service, "<RegisterAgent", 20, seen)
    logged(box, r"\tService agent registered\.$")
    expect(len(box.log.record.find(r"\tService agent registered\.$")) == 1, "a split answer was taken")
    service.die()


main([registers_and_polls, requests_of_the_terminal, launches_clients, refusal_and_split_answers], side_by_side=True)
