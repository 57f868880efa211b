# SPDX-License-Identifier: MIT

"""Service control: the agent installs its privileged helper, replaces it, and controls the service with it."""

import os
import plistlib
import re
import shutil
import time

from helper_client import VERSION, HelperClient, version_in
from installation import EMBEDDED, HELPER, SERVICE
from sandbox import wait_until
from scenario import PATIENCE, AgentScenario, expect

TASK = """\
#!/bin/sh
printf '%s\\n' "$@" >"$0.arguments"
exit 3
"""


class ServiceControl(AgentScenario):
    def __init__(self, box):
        super().__init__(box)
        self._embedded = box.bundle / EMBEDDED
        self._version = version_in(self._embedded)

    def launch(self):
        box = self._box
        box.start_daemon()
        expect(box.wait_for_daemon(), "the daemon's control socket does not answer")
        self._start_agent()
        self._shows("online")
        self._no_helper()
        return f"the service is online; no helper is installed, version {self._version} is in the agent's bundle"

    def install(self):
        box = self._box
        self._say("stop")
        self._printed("^Authorization: .")
        for text in ("AuthorizationCreate: flags: 19", "AuthorizationCopyRights: ",
                     f"Privileged helper {HELPER} is up-to-date, version: {self._version}",
                     "Sending stop service command"):
            line = self._logged(text)
        expect(len(self._found("Retrying to connect PrivilegedAgent...")) == 2, "there were not two retries")
        self._helper_is(self._version)
        job = plistlib.loads(box.helper_job.read_bytes())
        expect(job["Label"] == HELPER and job["ProgramArguments"][0] == str(box.helper_tool), f"the job is {job}")
        return f"after the user was asked, the helper was installed {line.time - self._said:.1f} s after the command"

    def stop(self):
        box = self._box
        expect(box.daemon.wait(PATIENCE) == 0, "the daemon was not asked to end")
        self._shows("offline")
        return f"stop ended the daemon; the agent showed it as offline after {time.monotonic() - self._said:.1f} s"

    def start(self):
        self._say("start")
        self._logged("Sending start service command")
        expect(wait_until(self._daemon, PATIENCE), "no daemon runs")
        self._shows("online")
        expect(not self._found("AuthorizationCreate"), "the user was asked again")
        return f"start started the daemon; the agent was online after {time.monotonic() - self._said:.1f} s"

    def restart(self):
        former = self._daemon()
        self._say("restart")
        self._logged("Sending restart service command")
        expect(wait_until(lambda: self._daemon() not in (None, former), PATIENCE), "the daemon was not restarted")
        return f"restart replaced the daemon's process {former} by {self._daemon()}"

    def task(self):
        box = self._box
        script = box.root / "task"
        script.write_text(TASK)
        script.chmod(0o755)
        self._say(f"task {script} one two")
        self._logged("Sending launch command")
        line = self._printed("^task: result 3$")
        found = (box.root / "task.arguments").read_text().split()
        expect(found == ["one", "two"], f"the task's arguments are {found}")
        return f"the helper ran a task with its arguments ({line.text})"

    def fail_to_start(self):
        self._say("stop")
        expect(wait_until(lambda: not self._daemon(), PATIENCE), "the daemon still runs")
        job = self._box.jobs / f"{SERVICE}.plist"
        job.rename(job.with_suffix(".away"))
        self._say("start")
        self._logged("Command StartService failed, status: -201")
        details = self._box.log.record.wait("^Details: .*No such file", 5, self._seen)
        expect(details, "no details in the log")
        job.with_suffix(".away").rename(job)
        self._say("start")
        expect(wait_until(self._daemon, PATIENCE), "the daemon does not start again")
        return f"a start without the daemon's job failed with -201 ({details.text.rpartition(': ')[2]})"

    def upgrade(self):
        self._newer = re.sub(r"\d+", lambda number: str(int(number[0]) + 1), self._version, count=1)
        expect(len(self._newer) == len(self._version), f"{self._newer} does not fit in the place of {self._version}")
        bundle = self._box.root / "newer" / self._box.bundle.name
        shutil.copytree(self._box.bundle, bundle)
        helper = bundle / EMBEDDED
        content, count = VERSION.subn(rb"\g<1>%b\g<3>" % self._newer.encode(), helper.read_bytes())
        expect(count == 1, f"the helper has {count} versions")
        helper.write_bytes(content)
        self._replace(bundle)
        self._logged(f"Privileged helper:Library/LaunchServices/{HELPER} must be updated, installed version: "
                     f"{self._version}, current: {self._newer}")
        self._logged(f"Privileged helper {HELPER} is up-to-date, version: {self._newer}")
        expect(not self._found("Must downgrade"), "an upgrade was taken for a downgrade")
        self._helper_is(self._newer, helper)
        return f"a newer agent replaced the helper by version {self._newer}"

    def downgrade(self):
        self._replace(self._box.bundle)
        self._logged(f"Must downgrade {HELPER} from version: {self._newer} to version:{self._version}")
        self._logged(f"Privileged helper tool version: {self._newer}, uninstalled: 0")
        self._logged(f"Privileged helper {HELPER} is up-to-date, version: {self._version}")
        self._helper_is(self._version)
        return f"the older agent uninstalled that helper and installed version {self._version}"

    def stop_installing(self):
        box = self._box
        self._end_agent()
        with HelperClient(box.helper_socket) as client:
            answer = client.command("UninstallInstallerAgent")
        expect(answer["status"] == 0, f"the helper was not uninstalled: {answer}")
        expect(wait_until(lambda: not box.serving(HELPER), 5), "the uninstalled helper still runs")
        self._no_helper()
        (box.helper_tool / "obstacle").mkdir(parents=True)
        self._start_agent()
        unavailable = "Can't start/stop service, priviliged helper tool not available (-2)"
        for attempt in range(1, 8):
            self._say("start")
            self._logged(unavailable, 40)
            refused = self._found(f"Too many install errors of privileged agent: {HELPER}, skipping installation "
                                  "in this session")
            failed = self._found(f"Failed to install privileged helper tool: {HELPER}: error:")
            expect((len(failed), len(refused)) == ((1, 0) if attempt <= 5 else (0, 1)),
                   f"attempt {attempt}: {len(failed)} failures, {len(refused)} refusals in the log")
        shutil.rmtree(box.helper_tool)
        self._no_helper()
        expect(not box.installed_helpers(), "the failed installations left files")
        return "after 5 failed installations, the agent did not try any more"

    def end(self):
        box = self._box
        self._end_agent()
        expect(box.tell_daemon("quit") == "ok", "the daemon does not listen")
        box.daemon.end()
        expect(wait_until(lambda: not box.left_running(), 5), f"still running: {box.left_running()}")
        found = sorted(path.name for path in box.jobs.iterdir())
        expect(found == [f"{SERVICE}.plist"], f"the jobs are {found}")
        left = [path.name for path in (box.root / "var/run").iterdir()]
        expect(not left, f"left in var/run: {left}")
        return "all programs ended; no process, job or socket is left"

    def _replace(self, bundle):
        """Starts another agent, which must replace the helper and restart the service with it."""
        former = self._box.serving(HELPER)
        service = self._daemon()
        self._end_agent()
        self._start_agent(bundle)
        self._say("restart")
        self._logged("Sending restart service command", 60)
        expect(wait_until(lambda: self._daemon() not in (None, service), PATIENCE), "the daemon was not restarted")
        expect(former and former != self._box.serving(HELPER), "the former helper still runs")

    def _helper_is(self, version, source=None):
        """Expects one running helper: the one embedded in the bundle, of this version."""
        box = self._box
        expect(len(box.serving(HELPER)) == 1, f"the helpers are {box.serving(HELPER)}")
        expect(box.helper_tool.read_bytes() == (source or self._embedded).read_bytes(), "another file was installed")
        expect(box.installed_helpers() == [HELPER], f"installed are {box.installed_helpers()}")
        with HelperClient(box.helper_socket) as client:
            told = client.version()
        expect(told == version, f"the helper tells {told}, not {version}")

    def _no_helper(self):
        box = self._box
        expect(not box.serving(HELPER), "a helper runs")
        left = [path for path in (box.helper_tool, box.helper_job, box.helper_socket) if os.path.lexists(path)]
        expect(not left, f"there are {left}")

    steps = (launch, install, stop, start, restart, task, fail_to_start, upgrade, downgrade, stop_installing, end)
