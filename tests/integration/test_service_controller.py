#!/usr/bin/env python3
"""The stand-in privileged helper, as an agent sees it on the wire, and what it does to the service."""

import errno
import os
import pathlib
import plistlib
import signal
import stat
import subprocess
import time

from harness import expect, main
from helper_client import HelperClient, version_in
from installation import SERVICE
from sandbox import wait_until


def program_of(box):
    return box.build / "standins/KvnServiceController"


def started(box, *options):
    box.start_helper(*options)
    expect(wait_until(box.helper_socket.is_socket, 20), "the helper does not come up")
    return box.helper


def completion(name, status=0, **more):
    return {"Event": "CommandCompleted", "Cmd": name, "status": status, **more}


def completes(client, name, status=0, details=None, **parameters):
    event = client.command(name, **parameters)
    said = event.pop("ErrorDetails", "")
    event.pop("Response", None)
    expect(event == completion(name, status), f"{name}: {event}, {said}")
    expect((details or "") in said and bool(details) == bool(said), f"{name}: {said}")


def daemon_pid(box):
    return (box.serving("service-daemon") or [None])[0]


def the_service_is_started_and_stopped(box):
    started(box)
    with HelperClient(box.helper_socket) as client:
        client.send({"Ctrl": "getVersion"})
        version = version_in(program_of(box))
        wanted = b'F71%05X{"version":"%s"}' % (14 + len(version), version.encode())
        expect(client.bytes(len(wanted)) == wanted, "the answer to getVersion differs")
        expect(stat.S_IMODE(box.helper_socket.stat().st_mode) == 0o666, "others cannot connect")
        completes(client, "StopService")
        completes(client, "StartService")
        first = daemon_pid(box)
        expect(first and box.tell_daemon("agents") == "ok", "the service does not run")
        expect(os.getsid(first) == first, "the service shares the helper's session")
        completes(client, "StartService")
        expect(daemon_pid(box) == first, "a running service was started again")
        completes(client, "RestartService")
        expect(daemon_pid(box) not in (None, first), "the service was not restarted")
        completes(client, "StopService")
        expect(daemon_pid(box) is None and not box.control.exists(), "the service still runs")
        # One that somebody else has started, and one that does not listen to a request to end.
        box.start_daemon()
        expect(box.wait_for_daemon(), "the daemon does not come up")
        completes(client, "StopService")
        expect(box.daemon.wait(5) == 0, "the stranger was not asked to end")
        completes(client, "StartService")
        os.kill(daemon_pid(box), signal.SIGSTOP)
        completes(client, "StopService")
        expect(daemon_pid(box) is None, "the frozen service still runs")


def a_service_that_does_not_start_is_told(box):
    started(box)
    job = box.jobs / f"{SERVICE}.plist"
    script = box.root / "service"
    script.write_text("#!/bin/sh\nexit 3\n")
    script.chmod(0o755)
    with HelperClient(box.helper_socket) as client:
        for content, details in (
                (None, "No such file"), (b"nonsense", str(job)),
                (plistlib.dumps({"Label": SERVICE}), "ProgramArguments"),
                (plistlib.dumps({"ProgramArguments": [3]}), "ProgramArguments"),
                (plistlib.dumps({"ProgramArguments": ["/nowhere/" + "\u20ac" * 300]}), "/nowhere/\u20ac"),
                (plistlib.dumps({"ProgramArguments": [str(script)]}), "ended with status 3"),
                (plistlib.dumps({"ProgramArguments": ["/bin/sleep", "100"]}), "in time")):
            job.unlink(missing_ok=True)
            if content:
                job.write_bytes(content)
            completes(client, "StartService", -201, details)
        expect(client.version(), "the helper does not answer any more")


def tasks_run_beside_each_other(box):
    started(box, "--task-limit", "700")
    with HelperClient(box.helper_socket) as client, HelperClient(box.helper_socket) as other:
        def task(*command, **more):
            return client.command("ExecuteTask", task=command[0], args=list(command[1:]), **more)

        descriptors = "test $# = 1 && test \"$1\" = 'a  b' && test $(ls /proc/self/fd | wc -l) = 4 && exit 7"
        expect(task("/bin/sh", "-c", descriptors, "x", "a  b", requestId=4000000000) == completion(
            "ExecuteTask", Response={"requestId": 4000000000, "result": 7}), "the task's result differs")
        expect(client.command("ExecuteTask", task="/bin/true") == completion("ExecuteTask", Response={"result": 0}),
               "a task without an identifier differs")
        for command, status in ((("/nowhere",), errno.ENOENT), (("/bin/sleep", "9"), errno.ETIMEDOUT),
                                (("true",), errno.EINVAL)):
            event = task(*command, requestId=5)
            expect(event.pop("ErrorDetails") and event == completion(
                "ExecuteTask", status, Response={"requestId": 5, "result": -1}), f"{command}: {event}")
        began = time.monotonic()
        client.send({"Cmd": "ExecuteTask", "task": "/bin/sleep", "args": ["0.5"], "requestId": 6})
        expect(other.version() and time.monotonic() - began < 0.4, "a task holds the other session up")
        expect(client.receive()["Response"] == {"requestId": 6, "result": 0}, "the slow task's result is lost")
        # Its agent leaves before the end.
        client.send({"Cmd": "ExecuteTask", "task": "/bin/sleep", "args": ["0.3"], "requestId": 7})
    with HelperClient(box.helper_socket) as client:
        expect(client.version(), "an agent that left took the helper with it")


def it_starts_anew_and_is_uninstalled(box):
    helper = started(box)
    log = box.helper_log.record
    with HelperClient(box.helper_socket) as client, HelperClient(box.helper_socket) as other:
        completes(client, "StartService")
        service = daemon_pid(box)
        client.send({"Ctrl": "bye"})
        expect(client.receive() is None, "the session did not end")
        expect(other.version(), "the other session ended with it")
        seen = len(log)
    for _ in range(20):  # connections are never refused meanwhile
        with HelperClient(box.helper_socket) as client:
            expect(client.version(), "no version")
            client.send({"Ctrl": "bye"})
            expect(client.receive() is None, "the session did not end")
    expect(helper.running and daemon_pid(box) == service, "the helper or its service ended")
    with HelperClient(box.helper_socket) as client:
        expect(client.version(), "no version after so many starts")
        words = pathlib.Path(f"/proc/{helper.pid}/cmdline").read_bytes()
        expect(words.count(b"--listener") == 1 and words.count(b"--service") == 1, f"started anew with {words}")
        completes(client, "StopService")
        expect(subprocess.run(["ps", "--ppid", str(helper.pid), "-o", "stat="], capture_output=True).stdout == b"",
               "the helper left a zombie")
        second = subprocess.run([program_of(box), "--root", box.root], capture_output=True, timeout=20)
        expect(second.returncode == 1 and b"in use" in second.stderr, f"a second helper: {second}")
        for file in (box.helper_tool, box.helper_job):
            file.write_text("installed")
        completes(client, "UninstallInstallerAgent")
        expect(client.receive() is None, "the session did not end")
    expect(helper.wait(10) == 0, "the exit status is not 0")
    left = [path for path in (box.helper_tool, box.helper_job, box.helper_socket) if path.exists()]
    expect(not left, f"left behind: {left}")
    expect(sorted(path.name for path in box.jobs.iterdir()) == [f"{SERVICE}.plist"], "it removed another's file")
    for options, status in ((["--root"], 2), (["--fault", "handshake"], 2), (["--root", "/proc/1/nowhere"], 1),
                            (["--root", f"{box.root}/{'long/' * 30}"], 1), (["--status-of", "x=y"], 2)):
        failed = subprocess.run([program_of(box), *options], capture_output=True, timeout=20)
        expect(failed.returncode == status and failed.stderr, f"{options}: {failed}")


def it_survives_its_peers(box):
    helper = started(box, "--version", "9.9")
    quiet = len(os.listdir(f"/proc/{helper.pid}/fd"))
    with HelperClient(box.helper_socket) as half:
        half.send_bytes(b"F710")
        for data in (b"F7100000", b"F71zzzzz", b"F7100200" + b" " * 512, b"F7100001{", b'F7100003"a"',
                     b"F7100002\xff\xfe", b"F71001FF" + b"[" * 511, b"F7100015", b"GET / HTTP/1.1\r\n\r\n"):
            with HelperClient(box.helper_socket) as client:
                client.send_bytes(data)
                client.end_sending()
                expect(client.receive() is None, f"{data[:20]} was answered")
        with HelperClient(box.helper_socket) as client:
            for message in ({}, {"Ctrl": 5}, {"Ctrl": "dance"}, {"Cmd": None}, [1], {"a": [[[[]]]]}):
                client.send(message)
            expect(client.version() == "9.9", "another version than told")
            event = client.command("x" * 400)
            expect(event.pop("ErrorDetails") and event == completion("x" * 64, -1), f"an unknown command: {event}")
            for parameters in ({}, {"task": 5}, {"task": "/bin/true", "args": "x"},
                               {"task": "/bin/true", "args": [1]}):
                status = client.command("ExecuteTask", **parameters)["status"]
                expect(status == errno.EINVAL, f"{parameters}: status {status}")
        # One that asks and never reads is dropped.
        with HelperClient(box.helper_socket) as client:
            try:
                while True:
                    client.send({"Ctrl": "getVersion"})
            except OSError:
                pass
    expect(wait_until(lambda: len(os.listdir(f"/proc/{helper.pid}/fd")) == quiet, 10), "the helper leaks descriptors")
    helper.signal(signal.SIGTERM)
    expect(helper.wait(10) == 0 and not box.helper_socket.exists(), "it did not end cleanly")


def faults_come_as_told(box):
    for place, message in (("handshake", {"Ctrl": "getVersion"}), ("completion", {"Cmd": "StopService"})):
        for kind, answer in (("close", b""), ("short-header", b"F7100"), ("short-body", b'F7100015{"version":'),
                             ("oversize", b"F7100200" + b" " * 512), ("bad-json", b'F7100008{"a":1,}'),
                             ("silent", b"")):
            helper = started(box, "--fault", f"{place}:{kind}")
            with HelperClient(box.helper_socket) as client:
                client.send(message)
                expect(client.bytes(len(answer)) == answer, f"{place}:{kind}: another answer")
                if kind in ("silent", "oversize", "bad-json"):
                    expect(client.hears_nothing(0.2), f"{place}:{kind}: more came")
                else:
                    expect(client.receive() is None, f"{place}:{kind}: more came")
            helper.end()
    helper = started(box, "--fault", "refuse")
    with HelperClient(box.helper_socket) as client:
        expect(client.receive() is None, "the connection was not refused")
    helper.end()
    started(box, "--status-of", "StartService=-201:the \u20ac\"reason", "--status-of", "StopService=7")
    with HelperClient(box.helper_socket) as client:
        completes(client, "StartService", -201, 'the \u20ac"reason')
        completes(client, "StopService", 7)
        expect(daemon_pid(box) is None, "the service was started")


main([the_service_is_started_and_stopped, a_service_that_does_not_start_is_told, tasks_run_beside_each_other,
      it_starts_anew_and_is_uninstalled, it_survives_its_peers, faults_come_as_told])
