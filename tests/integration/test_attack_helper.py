#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What another user, a hostile helper and an unprivileged agent can do through the helper and its installer."""

import contextlib
import os
import pathlib
import random
import select
import shutil
import signal
import socket
import subprocess
import tempfile
import threading
import time

from harness import expect, logged, main, wait_until
from helper_client import VERSION, frame, version_in
from installation import EMBEDDED, HELPER
from programs import starting
from sandbox import Sandbox
from strangers import OWNER, STRANGER, Actor, skip_unless_root
from wire import RETIRE, WireDaemon, WireServer

ASKED = b'F7100015{"Ctrl":"getVersion"}'


def of_version(program, version):
    """The bytes of a helper with another version of the same length."""
    content, count = VERSION.subn(rb"\g<1>%b\g<3>" % version.encode(), program.read_bytes())
    expect(count == 1, f"the helper has {count} versions")
    return content


def other_version(program, step):
    first, _, rest = version_in(program).partition(".")
    return f"{int(first) + step}.{rest}"


def started_agent(box):
    daemon = WireDaemon(box)
    box.start_agent("terminal")
    expect(daemon.record.wait("<GetStatus", 30), "the agent does not come up")
    return daemon


def listen_as_helper(ready, path):
    """Takes the place of the helper's socket, and returns what the first peer sends."""
    path.unlink(missing_ok=True)
    with socket.socket(socket.AF_UNIX) as listener:
        listener.bind(str(path))
        path.chmod(0o777)
        listener.listen()
        ready.set()
        peer = listener.accept()[0]
        peer.settimeout(5)
        data = peer.recv(1000)
        if data == ASKED:
            peer.sendall(frame({"version": "1"}))
            data += peer.recv(1000)
        return data


def a_strangers_socket_is_told_nothing(sandbox):
    with Sandbox(sandbox.build, user=OWNER) as box:
        box.start_daemon()
        box.start_agent("terminal")
        logged(box, "\tService agent registered")
        box.helper_socket.parent.chmod(0o777)
        with Actor(STRANGER, listen_as_helper, box.helper_socket, server=True) as stranger:
            expect(box.agent.say("task /bin/true"), "the agent does not listen")
            expect(stranger.result() == b"", "the stranger was told something")
        logged(box, "\tIOException: Failed to connect Unix domain socket, error: 13")
        # The user's own helper, which takes the place of the stranger's, is obeyed.
        expect(box.agent.record.wait("^task: result 0$", 20), "the task was not carried out")
        box.agent.end()


class Dripping(WireServer):
    """Sends one byte every 0.7 seconds after it was asked for its version, which never becomes a whole message."""

    def react(self, peer, data):
        self.asked, self.left = time.monotonic(), None
        threading.Thread(target=self._drip, args=(peer,), daemon=True).start()
        return [RETIRE]

    def _drip(self, peer):
        try:
            for byte in b'F7100100{"a":"' + b"x" * 20:
                peer.send(bytes([byte]))
                time.sleep(0.7)
        except OSError:
            self.left = time.monotonic()


def a_slow_handshake_ends(box):
    daemon = started_agent(box)
    helper = Dripping(box.helper_socket)
    helper.left = None
    expect(box.agent.say("task /bin/true"), "the agent does not listen")
    expect(wait_until(lambda: helper.left, 10), "the handshake does not end")
    took = helper.left - helper.asked
    expect(took < 4, f"the handshake took {took:.1f} s")
    helper.die()
    expect(box.agent.record.wait("^task: result 0$", 20), "the task was not carried out by a better helper")
    daemon.die()


class Helper(WireServer):
    """A helper of this version, which never answers a command. `greeting` follows the version."""

    def __init__(self, box, version, flood=b""):
        self._version, self._flood, self.commands = version, flood, 0
        super().__init__(box.helper_socket)

    def react(self, peer, data):
        if data == ASKED:
            return [frame({"version": self._version})] if self._version else []
        self.commands += 1
        if self._flood:
            threading.Thread(target=self._pour, args=(peer,), daemon=True).start()
        return []

    def _pour(self, peer):
        with contextlib.suppress(OSError):
            while True:
                peer.sendall(self._flood)


def a_flood_is_bounded(box):
    daemon = started_agent(box)
    event = frame({"Event": "CommandCompleted", "Cmd": "StartService", "status": 5, "ErrorDetails": "x" * 400})
    helper = Helper(box, version_in(box.bundle / EMBEDDED), event * 100)
    log = max((box.root / "var/log/com.korvane.remote").glob("KvnGUIAgent_*.txt"))
    memory = resident(box)
    expect(box.agent.say("restart"), "the agent does not listen")
    expect(wait_until(lambda: helper.commands, 10), "the helper got no command")
    start, size = time.monotonic(), log.stat().st_size
    logged(box, "\tCommand StartService failed, status: 5")
    time.sleep(6)
    grown = (log.stat().st_size - size) / (time.monotonic() - start) * 60 / 1e6
    expect(grown < 10, f"the log grows by {grown:.0f} MB a minute")
    expect(resident(box) - memory < 20e6, f"the memory grew from {memory} to {resident(box)}")
    box.agent.signal(signal.SIGTERM)
    expect(box.agent.wait(5) == 0, "the agent does not end under the flood")
    helper.die()
    daemon.die()


def resident(box):
    return int(pathlib.Path(f"/proc/{box.agent.pid}/statm").read_text().split()[1]) * os.sysconf("SC_PAGESIZE")


def install_in(box, content):
    """Puts an installed helper into the sandbox, which does not run."""
    box.helper_tool.parent.mkdir(parents=True, exist_ok=True)
    box.helper_tool.write_bytes(content)
    box.helper_tool.chmod(0o755)
    box.helper_job.write_text(f'<plist version="1.0"><dict><key>ProgramArguments</key><array><string>{box.helper_tool}'
                              '</string></array></dict></plist>')


def the_agent_ends_at_once_whatever_the_helper_does(box):
    newer = other_version(box.bundle / EMBEDDED, 1)
    for state, version, told in (("during the handshake", None, lambda helper: "getVersion"),
                                 ("while it waits for the uninstallation", newer, lambda helper: "Uninstall")):
        install_in(box, of_version(box.bundle / EMBEDDED, newer))
        installed = box.helper_tool.stat().st_ino
        daemon = started_agent(box)
        helper = Helper(box, version)
        expect(box.agent.say("task /bin/true"), "the agent does not listen")
        expect(helper.record.wait(told(helper), 20), f"not {state}")
        start = time.monotonic()
        box.agent.signal(signal.SIGTERM)
        expect(box.agent.wait(20) == 0, "the agent's exit status is not 0")
        took = time.monotonic() - start
        expect(took < 0.5, f"{state}, the agent ended after {took:.2f} s")
        expect(box.helper_tool.stat().st_ino == installed and not box.serving(HELPER), f"installed {state}")
        helper.die()
        daemon.die()


def an_older_helper_is_refused(box):
    newer = of_version(box.bundle / EMBEDDED, other_version(box.bundle / EMBEDDED, 1))
    install_in(box, newer)
    daemon = started_agent(box)
    expect(box.agent.say("task /bin/true"), "the agent does not listen")
    logged(box, f"\tFailed to install privileged helper tool: {HELPER}: error:.* older than the installed")
    expect(box.helper_tool.read_bytes() == newer, "the newer helper was replaced")
    daemon.die()


# The installer works on the real file system, so it gets one of its own.

class Machine:
    """A root folder with the system's programs, in which only root may write."""

    def __init__(self, build):
        self._build = build
        self.root = pathlib.Path(tempfile.mkdtemp(prefix="kvn", dir="/run"))
        self.root.chmod(0o755)
        for name in ("usr", "proc", "dev", "etc", "var/run", "opt/kvn", "tmp"):
            (self.root / name).mkdir(parents=True)
        for name in ("bin", "lib", "lib64", "sbin"):
            if os.path.islink(f"/{name}"):
                (self.root / name).symlink_to(os.readlink(f"/{name}"))
        with starting:
            shutil.copy(build / "KvnGUIAgent.app/Contents/MacOS/KvnHelperInstaller", self.root / "opt/kvn/installer")
        self.source = self.root / "opt/kvn" / HELPER
        self.folder = self.root / "Library/PrivilegedHelperTools"
        self.tool = self.folder / HELPER
        shutil.copy(build / "standins/KvnServiceController", self.source)

    def start(self, program, *options, **variables):
        mounts = "".join(f"mount --rbind /{name} {self.root}/{name} && " for name in ("usr", "proc", "dev"))
        run = f'{mounts} exec chroot {self.root} {program} "$@"'
        with starting:
            return subprocess.Popen(["unshare", "--mount", "--propagation", "private", "sh", "-c", run, "sh", *options],
                                    stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                    env={**os.environ, **variables})

    def installer(self, *options):
        return self.start("/opt/kvn/installer", *options, PKEXEC_UID=str(STRANGER))

    def ask(self, source):
        """Returns an installer that is at work on its only command."""
        installer = self.installer()
        expect(installer.stdout.readline() == b"ready\n", "the installer does not start")
        installer.stdin.write(f"bless\n/{source.relative_to(self.root)}\n{HELPER}\n".encode())
        installer.stdin.flush()
        return installer

    def bless(self, source=None):
        """Returns the installer's answer: "ok", or the reason of its error."""
        with self.ask(source or self.source) as installer:
            answer = [installer.stdout.readline().decode().rstrip("\n")]
            if answer == ["error"]:
                answer = [installer.stdout.readline().decode() for _ in range(3)]
        self.end_helpers()
        return answer[-1]

    def processes(self):
        """Yields the folders in /proc of the processes that run here."""
        for entry in pathlib.Path("/proc").glob("[0-9]*"):
            with contextlib.suppress(OSError):
                if os.readlink(entry / "root") == str(self.root):
                    yield entry

    def end_helpers(self):
        """An installer does not know the helpers of another one, which had a file system of its own."""
        for entry in self.processes():
            with contextlib.suppress(OSError):
                process = os.pidfd_open(int(entry.name))
                signal.pidfd_send_signal(process, signal.SIGKILL)
                select.select([process], [], [], 10)  # until its socket is closed, too
                os.close(process)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.end_helpers()
        shutil.rmtree(self.root)


def the_installer_trusts_only_root(box):
    with Machine(box.build) as machine:
        theirs = machine.root / "opt/theirs"
        theirs.mkdir()
        source = theirs / HELPER

        def refused(case):
            answer = machine.bless(source)
            expect("not permitted" in answer or "symbolic" in answer or "Not a directory" in answer,
                   f"{case}: answered {answer}")
            expect(not machine.folder.exists() or not any(machine.folder.iterdir()), f"{case}: installed")

        shutil.copy(machine.source, source)
        for case, path, owner, mode in (("a stranger's file", source, STRANGER, 0o755),
                                        ("a file that all may write", source, 0, 0o757),
                                        ("a file that a group may write", source, 0, 0o775),
                                        ("a stranger's folder", theirs, STRANGER, 0o755),
                                        ("a folder that all may write", theirs, 0, 0o1777),
                                        ("a folder above", theirs.parent, STRANGER, 0o755)):
            os.chown(path, owner, owner)
            path.chmod(mode)
            refused(case)
            os.chown(path, 0, 0)
            path.chmod(0o755)
        source.unlink()
        source.symlink_to(f"/opt/kvn/{HELPER}")
        refused("a link")
        source = machine.root / "opt/link" / HELPER
        source.parent.symlink_to("/opt/kvn")
        refused("a link to a folder")

        source = machine.source
        for folder in (machine.root / "Library", machine.folder, machine.root / "Library/LaunchDaemons"):
            folder.mkdir(exist_ok=True)
            folder.chmod(0o777)
            refused(f"{folder} that all may write")
            folder.chmod(0o755)

        options = machine.installer("--root", "/tmp")
        options.communicate(b"", 20)
        expect(options.returncode == 2, f"--root is accepted: {options.returncode}")

        answer = machine.bless()
        expect(answer == "ok", f"root's own helper is not installed: {answer}")
        expect(machine.tool.read_bytes() == source.read_bytes(), "another file was installed")
        version = version_in(source)
        older = machine.source.with_suffix(".older")
        machine.source.write_bytes(of_version(source, other_version(source, 2)))
        answer = machine.bless()
        expect(answer == "ok", f"a newer helper is not installed: {answer}")
        older.write_bytes(of_version(source, version))
        expect("older" in machine.bless(older), "an older helper was installed")
        expect(version_in(machine.tool) != version, "the older helper is in the place")

        killed_in_the_middle(machine)


def killed_in_the_middle(machine):
    """Kills the installer at any moment: one of the two helpers is there as a whole, and the next installation works."""
    for _ in range(6):
        before = machine.tool.read_bytes()
        machine.source.write_bytes(of_version(machine.source, other_version(machine.source, 1)))
        with machine.ask(machine.source) as installer:
            time.sleep(random.uniform(0, 0.03))
            installer.kill()
        expect(machine.tool.read_bytes() in (before, machine.source.read_bytes()), "half a helper is installed")
        machine.end_helpers()
    answer = machine.bless()
    expect(answer == "ok", f"no installation after those that were killed: {answer}")
    expect(os.listdir(machine.folder) == [HELPER], f"left are {os.listdir(machine.folder)}")


def an_inherited_root_is_not_passed_on(box):
    with Machine(box.build) as machine:
        shutil.copytree(box.bundle, machine.root / "opt/kvn/agent")
        machine.pipes = machine.root / "var/tmp/com.korvane/pipes"
        service = WireDaemon(machine)
        agent = machine.start("/opt/kvn/agent/Contents/MacOS/KvnGUIAgent", "--ui", "none",
                              KVN_REMOTE_ROOT="/tmp", HOME="/tmp")
        expect(service.record.wait("<GetStatus", 20), "the agent does not come up below the machine's own root")
        service.push(b'<ServiceCommand Command="ExecuteProcess" Executable="/usr/bin/sleep" Parameters="60"/>')
        client = expect(wait_until(lambda: [process for process in machine.processes()
                                            if b"sleep" in (process / "cmdline").read_bytes()], 20), "not launched")
        variables = (client[0] / "environ").read_bytes().split(b"\0")
        machine.end_helpers()
        agent.wait()
        service.die()
        expect(b"HOME=/tmp" in variables, "the client does not have the agent's environment")
        expect(b"KVN_REMOTE_ROOT=/tmp" not in variables, "the client was given a root")


on_machines = [the_installer_trusts_only_root, an_inherited_root_is_not_passed_on]
skip_unless_root()
if subprocess.run(["unshare", "--mount", "true"], stderr=subprocess.DEVNULL).returncode:
    print("SKIPPED: what needs a file system of its own")
    on_machines.clear()
main([a_strangers_socket_is_told_nothing, a_slow_handshake_ends, a_flood_is_bounded,
      the_agent_ends_at_once_whatever_the_helper_does, an_older_helper_is_refused, *on_machines])
