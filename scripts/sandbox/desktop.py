# SPDX-License-Identifier: MIT

"""Desktop: a day with the agent's item in a real panel, its dialogs and its menu, by real clicks and keys."""

import re
import subprocess
import time

import person
from desktop_scenario import TITLES, DesktopScenario
from desktop_session import BAR, WATCHER
from picture import Box, Picture
from sandbox import wait_until
from scenario import PATIENCE, expect

STATUS, SETTINGS, PERMISSIONS = "Service Status", "Settings", "Permissions"  # items of the menu, and titles of dialogs
DETAILS = ["Status: Online", "Server: relay01", "Registered as: Sandbox", "Version: 5.0.1",
           "default", "relay01", "12:00:00", "1", "Yes"]  # as the stand-in daemon tells them
HOT_KEY = "ctrl+super+Up"


class Desktop(DesktopScenario):
    def start_before_panel(self):
        box = self._box
        box.start_daemon()
        expect(box.wait_for_daemon(), "the daemon's control socket does not answer")
        self._start_agent()
        self._logged("Service agent registered.")
        expect(self._icon_is_gone(), "there is an icon without a panel")
        return "the agent registered on a desktop without a panel"

    def start_panel(self):
        self._session.start_panel()
        began = time.monotonic()
        self._icon_comes()
        took = time.monotonic() - began
        self._tells("Online")
        self._place = self._icon_comes()
        self._icon_becomes("usual")
        self._picture("online")
        return f"a panel started after the agent; the icon was in it {took:.1f} s later"

    def show_tool_tip(self):
        icon = self._icon_comes()
        person.point_at(icon.centre)
        tip = self._property("ToolTip")
        words = " ".join(tip[2:])
        expect("Online" in words, f"the tool tip is {tip}")
        below = Box(icon.x - 200, BAR + 2, 200, 60)
        self._until(lambda: Picture.take(below).drawn(), "no tool tip is shown")
        self._picture("tool-tip")
        self._leave()
        return f'the tool tip says "{words.strip()}"'

    def show_permissions_unasked(self):
        for number in (1, 2):
            window = self._window(PERMISSIONS)
            expect(person.active_window() != window, "the dialog that came by itself took the keys")
            if number == 1:
                self._session.start_screen_reader()
            self._control("push button", "Open Accessibility Settings")
            if number == 1:
                self._picture("permissions")
            person.activate(window)
            self._close(PERMISSIONS)
        return ("the permission dialog came by itself, twice, did not take the keys, was read by a screen reader that was "
                "started then, and was closed by Escape")

    def click_icon(self):
        person.click(self._icon_comes().centre)
        self._reads(STATUS, DETAILS)
        self._leave()
        self._picture("status")
        self._close(STATUS)
        return f"a click at the icon opened the service's status: {', '.join(DETAILS[:4])}, and a table"

    def open_menu(self):
        items = self._menu()
        titles = [title for title, _ in items]
        expect(titles == TITLES, f"the menu has {titles}")
        disabled = [title for title, enabled in items if not enabled and title != "-"]
        expect(disabled == ["Start Service"], f"disabled are {disabled}")
        self._choose(SETTINGS, "menu")
        self._window(SETTINGS)
        return f"the menu has {len(TITLES) - titles.count('-')} items, disabled {disabled[0]}; a click chose {SETTINGS}"

    def change_settings(self):
        box = self._control("check box", "Keep a transfer log")
        expect(not box.has("checked"), "the transfer log is on already")
        person.click(box.place.centre)
        self._until(lambda: box.has("checked"), "a click does not check the box")
        expect(not self._preference("TransferLogEnabled"), "saved before the dialog was closed")
        self._leave()
        self._picture("settings")
        self._close(SETTINGS)
        self._until(lambda: self._preference("TransferLogEnabled"), "the setting was not saved")
        return "a click checked a box of the settings, and Escape closed and saved them"

    def use_keys_alone(self):
        self._choose(SETTINGS)
        self._takes_keys(SETTINGS)
        box = self._control("check box", "Keep a session log")
        for _ in range(20):
            if wait_until(lambda: box.has("focused"), 0.5):
                break
            person.press("Tab")
        expect(box.has("focused"), "Tab does not reach the session log")
        person.press("space")
        self._until(lambda: box.has("checked"), "the space bar does not check the box")
        self._picture("keys")
        self._close(SETTINGS)
        self._until(lambda: self._preference("SessionLogEnabled"), "the setting was not saved")
        return "Tab and the space bar changed another setting"

    def be_controlled(self):
        own = re.search(r"\bsession=(\d+)", self._box.tell_daemon("agents"))[1]
        self._push(f"sessions 4711,{own}|user")
        self._icon_becomes("coloured")
        begun = self._noticed()
        self._picture("controlled")
        self._push("sessions")
        self._icon_becomes("usual")
        ended = self._noticed()
        expect(begun != ended, f"both notices say {begun}")
        person.click(self._session.notices_box.centre)
        self._until(lambda: not Picture.take(self._session.notices_box).drawn(), "a click does not close the notice")
        return f'during a remote session the icon was coloured; notices said "{begun}", then "{ended}"'

    def hide_and_show(self):
        self._choose("Hide")
        expect(wait_until(self._icon_is_gone, PATIENCE), "the icon stays")
        self._picture("hidden")
        person.press(HOT_KEY)
        self._icon_comes()
        self._tells("Online")
        return "the menu hid the item, and Control+Super+Up showed it again"

    def sleep_and_wake(self):
        self._mark()
        self._session.announce_sleep(True)
        self._logged("System will sleep, stopping controller")
        self._icon_becomes("greyed")
        self._picture("asleep")
        self._session.announce_sleep(False)
        self._logged("System did wake up, starting controller")
        self._logged("Service agent registered.")
        self._tells("Online")
        self._icon_becomes("usual")
        return "logind announced a sleep, which greyed the icon; after waking the agent registered again"

    def lose_panel(self):
        self._session.crash_bar()
        expect(wait_until(lambda: not self._session.bus.owner(WATCHER), PATIENCE), "the panel is still there")
        self._session.start_panel()
        began = time.monotonic()
        self._icon_comes()
        took = time.monotonic() - began
        person.click(self._icon_comes().centre)
        self._close(STATUS)
        return f"the panel was killed and came back; the icon was there {took:.1f} s later, and a click worked"

    def use_tray(self):
        self._session.end_bar()
        expect(wait_until(lambda: not self._session.bus.owner(WATCHER), PATIENCE), "the panel is still there")
        self._session.start_tray()
        self._icon_comes()
        self._picture("tray")
        person.click(self._icon_comes().centre)
        self._close(STATUS)
        self._choose(SETTINGS, "tray-menu")
        self._close(SETTINGS)
        return "a tray without the panel's protocol showed the icon, its menu, and the dialogs"

    def live_without_panel(self):
        self._session.end_bar()
        expect(wait_until(self._icon_is_gone, PATIENCE), "the icon stays without a tray")
        for word, title in (("settings", SETTINGS), ("status", STATUS)):
            program = self._box.bundle / "Contents/MacOS/KvnGUIAgent"
            shown = subprocess.run([program, "--root", self._box.root, "--show", word], timeout=PATIENCE,
                                   capture_output=True, text=True, check=False)
            expect(shown.returncode == 0, f"--show {word} ended with {shown.returncode}: {shown.stderr}")
            self._takes_keys(title)
            if word == "settings":
                self._picture("no-panel")
            self._close(title)
        return "without any panel, the launcher's actions opened the settings and the status in the running agent"

    def end_by_signal(self):
        told = self._session.notices.record.find("^\tsummary: ")
        expect(len(told) == 2, f"{len(told)} notices came, not those of the remote session alone")
        self._mark()
        self._end_agent()
        self._logged("Terminating agent: com.korvane.remote.KvnGUIAgent")
        self._logged("Application will terminate: KvnGUIAgent")
        return "SIGTERM ended the agent with status 0"

    def end_with_display(self):
        self._start_agent()
        self._logged("Service agent registered.")
        self._session.end_display()
        status = self._box.agent.wait(PATIENCE)
        expect(status is not None, "the agent outlives its display")
        self._logged("Application will terminate: KvnGUIAgent")
        self._box.end_others()
        expect(not self._box.left_running(), f"still running: {self._box.left_running()}")
        return f"the end of the display ended the agent in order, with status {status}; no process is left"

    steps = (start_before_panel, start_panel, show_tool_tip, show_permissions_unasked, click_icon, open_menu,
             change_settings, use_keys_alone, be_controlled, hide_and_show, sleep_and_wake, lose_panel, use_tray,
             live_without_panel, end_by_signal, end_with_display)
