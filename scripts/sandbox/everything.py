# SPDX-License-Identifier: MIT

"""Everything: the whole life of an agent, from its launch to its end by a signal."""

import os
import plistlib
import pwd
import re
import signal
import time

from installation import SERVICE, write_policy
from sandbox import wait_until
from scenario import AgentScenario, expect

MENU = ["Service Status", "Show Log Files", "Settings", "Permissions", "Start Service", "Stop Service", "Hide"]
START, STOP = MENU[4], MENU[5]
GRACE = 15  # seconds in which an offline service is shown as one that starts
RECHECK = 10  # seconds between two checks of the permissions
POPPED_UP = "Show permission dialog: reset count=0, remaining="
ASKED_FOR = "Show permission dialog: reset count=1, remaining="


class Everything(AgentScenario):
    def launch(self):
        box = self._box
        box.start_daemon()
        expect(box.wait_for_daemon(), "the daemon's control socket does not answer")
        self._start_agent()
        user = pwd.getpwuid(os.geteuid()).pw_name
        starts = ["Launched: KvnGUIAgent version: ", "Starting status timer", "Registering service agent...",
                  "Checking permissions: received all: 0, did check: 0", "Service agent registered.",
                  "No other running KvnGUIAgent instance found"]
        lines = [self._logged(text) for text in starts]
        expect(lines[0].text.endswith(f" for user: {user}({os.geteuid()})"), f"logged is {lines[0].text}")
        self._launched = lines[0].time
        times = [line.time for line in lines]
        expect(times == sorted(times), "the start-up's log lines are out of order")
        self._shows("online .*icon: connected$")
        menu, disabled = self._menu()
        expect(menu == MENU, f"the menu is {menu}")
        expect(disabled == {START}, f"disabled are {disabled}")
        return f"the agent registered and is online; its menu has {len(menu)} items, {START} is disabled"

    def be_controlled(self):
        box = self._box
        self._mark()
        own = re.search(r"\bsession=(\d+)", box.tell_daemon("agents"))[1]
        expect(box.tell_daemon(f"sessions 4711,{own}|user") == "ok", "the daemon takes no session")
        expect(box.tell_daemon("status") is not None, "the daemon pushes no status")
        self._shows("online .*session: running .*icon: controlled$")
        self._mark()
        box.tell_daemon("sessions")
        box.tell_daemon("status")
        self._shows("online .*icon: connected$")
        return "during a remote session the icon showed it, and the usual icon came back afterwards"

    def sleep_and_wake(self):
        unregistered = r"^<- \d+ <UnregisterAgent"
        heard = len(self._box.daemon.record)
        self._say("sleep")
        self._logged("System will sleep, stopping controller")
        self._printed("icon: not connected$")
        expect(self._box.daemon.record.wait(unregistered, 5, heard), "the agent did not unregister")
        expect(self._box.tell_daemon("agents") == "ok", "the daemon still knows an agent")
        self._say("wake")
        self._logged("System did wake up, starting controller")
        self._logged("Service agent registered.")
        self._shows("online .*icon: connected$")
        return f"the agent unregistered before sleep, and registered again {1000 * self._since():.0f} ms after waking"

    def show_permissions_unasked(self):
        came = []
        for left in (1, 0):
            came.append(self._logged(f"{POPPED_UP}{left}").time)
            if left:  # it waits, because the menu was opened last
                self._printed("^Permissions: this dialog has come up")
                self._say("dialog")
            self._printed("^== Permissions ==$")
            self._printed("<Open Screen Recording Settings>$")
            buttons = self._box.agent.record.find("<Request Permission>$", self._shown)
            expect(len(buttons) == 1, f"{len(buttons)} request buttons are shown")
            self._say("close")
            self._printed("^ok")
        first = came[0] - self._launched
        expect(abs(first - RECHECK) < 2, f"the first dialog came {first:.1f} s after the launch")
        self._budget_spent = came[-1]
        return f"the permission dialog opened by itself after {first:.0f} s, and once more after it was closed"

    def stop(self):
        self._say("stop")
        self._printed("^Authorization: .")
        self._printed("^stop: completed$")
        self._logged("stop service completed: 0")
        self._shows("offline .*icon: not connected$")
        menu, disabled = self._menu()
        expect(disabled == {STOP}, f"disabled are {disabled}")
        return f"the helper was installed and stopped the service; {STOP} is disabled now"

    def fail_to_start(self):
        job = self._box.jobs / f"{SERVICE}.plist"
        job.rename(job.with_suffix(".away"))
        self._press(START)
        self._logged("start service completed: -201")
        self._printed(r"^start: failed \(-201\): .*No such file")
        menu, disabled = self._menu()
        expect(disabled == {START}, f"disabled are {disabled}")
        job.with_suffix(".away").rename(job)
        self._press(STOP)
        self._logged("stop service completed: 0")
        return f"a start failed with -201, after which {START} stayed disabled until a stop had succeeded"

    def start(self):
        expect(wait_until(lambda: START not in self._menu()[1], GRACE + 5), f"{START} stays disabled")
        self._press(START)
        self._logged("start service completed: 0")
        self._shows("online .*icon: connected$")
        expect(self._box.serving("service-daemon"), "no daemon runs")
        return f"the service was started from the menu; the agent was online after {self._since():.1f} s"

    def change_settings(self):
        box = self._box
        self._say("settings")
        self._printed(r"^ 1  \[ \] Keep a transfer log$")
        folder = box.root / "session logs"
        for number, value in ((1, "on"), (2, "on"), (3, folder), (4, "on")):
            self._say(f"set {number} {value}")
            self._printed("^ok")
        expect(not self._preference("TransferLogEnabled"), "saved before the dialog was closed")
        self._say("close")
        expect(wait_until(lambda: self._preference("SessionLogPath"), 5), "the settings were not saved")
        found = {key: self._preference(key) for key in
                 ("TransferLogEnabled", "SessionLogEnabled", "SessionLogPath", "ShowStatusBarMenu")}
        expect(list(found.values()) == [True, True, str(folder), True], f"saved is {found}")
        expect(folder.is_dir(), "the folder of the session log was not made")
        return f"{len(found)} settings were saved when their dialog was closed"

    def obey_policy(self):
        write_policy(self._box, EnableTransferLog=1)
        self._say("settings")
        self._printed(r"^ 1  \[x\] Keep a transfer log$")
        self._say("close")  # rereads the policy
        self._printed("^ok")
        self._say("settings")
        self._printed(r"^ 1  \[x\] Keep a transfer log \(disabled\)$")
        self._say("set 1 off")
        self._printed("^error: .*disabled")
        self._say("close")
        self._printed("^ok")
        return "a policy that forces the transfer log on disabled its setting"

    def hide_and_show(self):
        self._press("Hide")
        self._printed("icon: hidden$")
        self._say("menu")
        self._printed("^error: there is no menu")
        self._say("hotkey")
        self._shows("online .*icon: connected$")
        return "the status item was hidden, and the hot key showed it again"

    def show_permissions(self):
        box = self._box
        expect(time.monotonic() - self._budget_spent > RECHECK, "too early to say that no dialog follows")
        popups = box.log.record.find(rf"\t{POPPED_UP}")
        expect(len(popups) == 2, f"the dialog came up by itself {len(popups)} times")
        self._press("Permissions")
        self._logged(ASKED_FOR + "2")
        self._printed("^ 1  <Request Permission>$")
        self._say("1")
        self._printed("^ok")
        expect(box.run_pre_login_agent("--check", "--notification-name", "com.korvane.remote.PermissionInfo") == 0,
               "the login window's agent could not tell its permissions")
        self._logged("Ignoring notification: com.korvane.remote.PermissionInfo")
        self._say("close")
        self._printed("^ok")
        return "the permission dialog opened a third time only from the menu; the agent ignored the login window's answer"

    def replace_first_instance(self):
        box = self._box
        texts = box.language_file.read_text(encoding="utf-8")
        before, german, after = re.split(r'(<Language langKey="7">.*?</Language>)', texts, maxsplit=1, flags=re.S)
        german = re.sub(r'\s*<KeyPair key="LV_FORM_HIDE"[^>]*>', "", german)
        box.language_file.write_text(before + german + after, encoding="utf-8")
        first = box.agent
        self._start_agent(environment={"LC_ALL": "de_AT.UTF-8", "LANGUAGE": ""})
        self._logged("Language set to: de, preferred: de-AT")
        menu, _ = self._menu()
        expect("Dienststatus" in menu[0] and menu[-1] == "Hide", f"the menu is {menu}")
        expect(first.wait(10) == -signal.SIGKILL, "the first instance was not ended")
        expect(box.log.record.find("\tAnother running KvnGUIAgent instance found, sending terminate event$"),
               "not in the log: Another running KvnGUIAgent instance found")
        expect(self._box.agent.running, "the second instance ended too")
        return f"a second, German instance ended the first; a text without a translation is English ({menu[-1]})"

    def end(self):
        box = self._box
        self._mark()
        self._end_agent()
        self._logged("Terminating agent: com.korvane.remote.KvnGUIAgent")
        self._logged("Application will terminate: KvnGUIAgent")
        box.end_others()
        expect(not box.left_running(), f"still running: {box.left_running()}")
        expect(self._preference("SessionLogPath"), "the preferences were lost")
        return "SIGTERM ended the agent with status 0; no process is left"

    def _since(self):
        return time.monotonic() - self._said

    def _menu(self):
        """Returns the titles of the menu's items, and those of the disabled ones."""
        self._say("menu")
        self._printed(rf"^ {len(MENU)}  ")
        found = [re.fullmatch(r" \d  (.+?)( \(disabled\))?", line.text)
                 for line in self._box.agent.record.find(r"^ \d  ", self._shown)]
        return [item[1] for item in found], {item[1] for item in found if item[2]}

    def _press(self, title):
        """Chooses an item of the menu."""
        number = self._menu()[0].index(title) + 1
        self._say(str(number))
        self._printed("^ok: " + re.escape(title))

    def _preference(self, key):
        return plistlib.loads(self._box.preferences.read_bytes()).get(key)

    steps = (launch, show_permissions_unasked, be_controlled, sleep_and_wake, stop, fail_to_start, start,
             change_settings, obey_policy, hide_and_show, show_permissions, replace_first_instance, end)
