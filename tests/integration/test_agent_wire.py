#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The agent's bytes and rhythm, from a real process to a service that shares no code with it."""

import os
import pwd
import re
import time

from harness import ends_well, expect, logged, main, wait_until
from processes import login_session_of
from wire import WireDaemon

POLL = 5.0
SLACK = 0.75  # of a busy machine under a sanitizer


def started(box, ui):
    service = WireDaemon(box)
    box.start_agent(ui)
    return service


def heard(service, text, start=0, count=1):
    return expect(service.record.wait(text, 40, start, count), f"did not come: {text}")


def identity_of(pid):
    """The attributes that name the user and the login session of a process."""
    return f'SessionID="{login_session_of(pid)}" UserID="{pwd.getpwuid(os.geteuid()).pw_name}"'


def it_registers_polls_and_commands(box):
    service = started(box, "terminal")
    first, second = (heard(service, "<GetStatus", count=count) for count in (1, 2))
    expect(abs(second.time - first.time - POLL) < SLACK, f"polled again after {second.time - first.time:.2f} s")
    for command in ("pause", "continue", "reboot"):
        expect(box.agent.say(command), "the agent does not listen")
    heard(service, "<RebootSystem")
    pid = box.agent.pid
    sent = "".join(line.text for line in service.record.find(""))
    expect(sent == f'<RegisterAgent {identity_of(pid)} ProcessID="{pid}" RequestData="1"></RegisterAgent>'
           '<GetStatus RequestData="2" /><GetStatus RequestData="3" /><Pause /><GetStatus RequestData="4" />'
           '<Continue /><GetStatus RequestData="5" /><RebootSystem />', f"sent {sent}")
    expect(service.connections == 1, "more than one connection")
    box.agent.say("quit")
    expect(box.agent.wait(20) == 0, "the agent's exit status is not 0")
    service.die()


def it_launches_clients(box):
    service = started(box, "none")
    heard(service, "<GetStatus")
    client = box.root / "my client"
    client.write_text('#!/bin/sh\nprintf "%s\\n" "$@" >"$0.new"; mv "$0.new" "$0.arguments"\n')
    client.chmod(0o755)
    service.push(f'<Status Value="online"/><ServiceCommand Command="ExecuteProcess" Executable="&#34;{client}&#34;"'
                 ' Parameters="  /sessionid:9  &#34;/remoteuser:A &amp; B&#34; /proxyconfig:x plain "/>'.encode())
    sent = time.monotonic()
    line = heard(service, "<ClientLauched")
    if time.monotonic() > 100:  # seconds since the machine's start; before, the desktop gets time to come up
        expect(abs(line.time - sent - 1.0) < SLACK, f"launched after {line.time - sent:.2f} s")
    pid = re.search(r"procId: (\d+)", logged(box, r"\tStarted: ").text)[1]
    wanted = f'<ClientLauched ProcessID="{pid}" {identity_of(box.agent.pid)} RequestData="0"></ClientLauched>'
    expect(line.text.startswith(wanted), f"sent {line.text}")
    arguments = client.with_name("my client.arguments")
    expect(wait_until(arguments.exists, 10), "the client did not run")
    found = arguments.read_text().splitlines()
    expect(found == ["-sid:9", '"-sessionclientname:A & B"', "-proxyconfig:x", "plain"], f"arguments {found}")
    ends_well(box, service)


main([it_launches_clients], at_terminal=[it_registers_polls_and_commands])
