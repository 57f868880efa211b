#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What another user can do with the preferences, which every user may write: links, locks, damage, folders."""

import fcntl
import os
import plistlib
import signal
import stat
import threading
import time

from harness import expect, logged, main
from sandbox import wait_until
from strangers import OWNER, STRANGER, Actor, as_user, skip_unless_root
from wire import WireDaemon

SECRET = b"a private text"


def start(box):
    """Starts the agent, whose home is in the sandbox, at a terminal."""
    box.preferences.parent.chmod(0o777)  # every user's agent makes the file
    box.home = box.root / "home"
    if not box.home.exists():
        box.home.mkdir(mode=0o755)
        os.chown(box.home, OWNER, OWNER)
    box.logged_before = len(box.log.record)
    box.start_agent("terminal", environment={"HOME": str(box.home)})


def launched(box):
    """Waits until the agent has started, and returns the seconds until its log said so."""
    took = logged(box, "\tLaunched: ", box.logged_before).time - box.agent.started
    logged(box, "Starting status timer", box.logged_before)  # from now on SIGTERM ends it in order
    return took


def says(box, command, answer):
    start = len(box.agent.record)
    box.agent.say(command)
    expect(box.agent.record.wait(answer, 10, start), f"not printed after {command}: {answer}")


def change(box, value="on"):
    """Changes a setting, and closes the settings, which saves it."""
    says(box, "settings", "Keep a transfer log")
    says(box, f"set 1 {value}", "^ok")
    box.agent.say("close")


def stored(box):
    return plistlib.loads(box.preferences.read_bytes())


def saved(box):
    try:
        return stored(box).get("TransferLogEnabled", False)
    except plistlib.InvalidFileException:
        return False


def replace(path, content):
    """Another user's program writes the preferences as its own file."""
    path.unlink()
    path.write_bytes(content)
    path.chmod(0o666)


def link_in_place_of(path, target):
    path.unlink()
    path.symlink_to(target)


def hold_lock(ready, path, seconds):
    with open(path, "rb") as file:
        fcntl.flock(file, fcntl.LOCK_EX)
        ready.set()
        time.sleep(seconds)


def a_link_leads_to_no_other_file(box):
    for links in (lambda path, secret: as_user(STRANGER, link_in_place_of, path, secret),
                  lambda path, secret: (path.unlink(), os.link(secret, path))):
        secret = box.root / "secret"
        secret.unlink(missing_ok=True)
        secret.write_bytes(SECRET)
        secret.chmod(0o600)
        os.chown(secret, OWNER, OWNER)
        box.preferences.parent.chmod(0o777)
        links(box.preferences, secret)
        start(box)
        launched(box)
        change(box)
        told = box.agent.record.wait("could not be saved", 10)
        box.agent.signal(signal.SIGTERM)
        expect(box.agent.wait(10) == 0, "the agent does not end")
        expect(secret.read_bytes() == SECRET, f"the private file is now {secret.read_bytes()[:80]}")
        others = [path for path in box.preferences.parent.iterdir() if path != box.preferences]
        expect(not others, f"copied to {others}")
        expect(told, "the person is not told")


def a_link_in_place_of_the_copy_leads_nowhere(box):
    copy = box.preferences.with_name(box.preferences.name + ".damaged")
    secret = box.root / "secret"
    start(box)
    launched(box)
    says(box, "settings", "Keep a transfer log")
    as_user(STRANGER, copy.symlink_to, secret)
    as_user(STRANGER, replace, box.preferences, b"damaged " + SECRET)
    says(box, "set 1 on", "^ok")
    box.agent.say("close")
    expect(wait_until(lambda: saved(box), 5), "not saved")
    expect(not secret.exists(), "the copy was written through the link")
    copy.unlink()
    as_user(STRANGER, replace, box.preferences, b"damaged again")
    change(box, "off")
    expect(wait_until(copy.exists, 5), "there is no copy")
    expect(stat.S_IMODE(copy.stat().st_mode) == 0o600, f"the copy's mode is {copy.stat().st_mode:o}")


def what_cannot_be_read_stays_and_is_logged_once(box):
    box.preferences.write_bytes(b"damaged")
    start(box)
    launched(box)
    logged(box, "verifyPreLoginPermissions (failed|task)")
    count = len(box.log.record.find("Failed to deserialize prefs file"))
    expect(count == 1, f"logged {count} times")
    change(box)
    expect(box.agent.record.wait("could not be saved", 10), "the person is not told")
    says(box, "close", "^ok")
    expect(box.preferences.read_bytes() == b"damaged", "the file was overwritten")


def preferences_of_others_are_obeyed(box):
    """The control: what another user's program writes, in either form, is shown and kept."""
    box.preferences.parent.chmod(0o777)
    values = {"TransferLogEnabled": True, "ShowStatusBarMenu": True, "theirs": "Grüße"}
    for form in (plistlib.FMT_XML, plistlib.FMT_BINARY):
        as_user(STRANGER, replace, box.preferences, plistlib.dumps(values, fmt=form))
        start(box)
        launched(box)
        says(box, "settings", r"^ 1  \[x\] Keep a transfer log$")
        says(box, "set 1 off", "^ok")
        says(box, "status", "^Service Status|Status:")  # another page
        expect(wait_until(lambda: not saved(box), 5), "not saved when another page was shown")
        expect(stored(box) == {**values, "TransferLogEnabled": False}, f"stored is {stored(box)}")
        says(box, "settings", "Keep a transfer log")
        says(box, "set 1 on", "^ok")
        box.agent.signal(signal.SIGTERM)
        expect(box.agent.wait(10) == 0, "the agent does not end")
        expect(stored(box) == values, f"stored at the end is {stored(box)}")


def a_held_lock_holds_nothing_up(box):
    service = WireDaemon(box)
    for path in (box.root / "var", *(box.root / "var").rglob("*")):
        os.chown(path, OWNER, OWNER)
    start(box)
    free = launched(box)
    expect(service.record.wait("<GetStatus", 20), "the agent does not poll")
    expect(box.agent.end() == 0, "the agent does not end")
    expect(not box.log.record.find("Failed to"), f"logged: {box.log.record.find('Failed to')}")
    before = len(service.record)
    with Actor(STRANGER, hold_lock, box.preferences, 60, server=True) as stranger:
        start(box)
        held = launched(box)
        change(box)
        says(box, "settings", r"\[x\] Keep a transfer log")
        polls = [service.record.wait("<GetStatus", 20, before, count) for count in (1, 2, 3)]
        expect(all(polls), "the agent does not poll")
        gaps = [second.time - first.time for first, second in zip(polls, polls[1:])]
        print(f"launched after {free:.3f} s, with a held lock after {held:.3f} s; polled after {gaps} s", flush=True)
        expect(held < free + 3, f"launched after {held} s, without the lock after {free} s")
        expect(all(gap < 8 for gap in gaps), f"the polls come after {gaps} s")
        expect(not saved(box), "written without the lock")
        stranger.end()
    expect(wait_until(lambda: saved(box), 5), "not written when the lock went")
    with Actor(STRANGER, hold_lock, box.preferences, 60, server=True) as stranger:
        change(box, "off")
        box.agent.signal(signal.SIGTERM)
        threading.Timer(0.5, stranger.end).start()
        expect(box.agent.wait(10) == 0, "the agent does not end")
    expect(not saved(box), "not written at the end")
    service.die()


def a_held_lock_does_not_keep_an_agent_from_ending(box):
    start(box)
    launched(box)
    with Actor(STRANGER, hold_lock, box.preferences, 60, server=True):
        change(box)
        begun = time.monotonic()
        box.agent.signal(signal.SIGTERM)
        expect(box.agent.wait(10) == 0, "the agent does not end")
        took = time.monotonic() - begun
        expect(took < 4, f"the agent ended after {took} s")
    logged(box, "Failed to lock app suite prefs file for writing")


def a_folder_for_logs_is_private_in_the_own_home(box):
    box.preferences.parent.chmod(0o777)
    shared = box.root / "var/tmp/shared"
    for folder, mode in ((box.root / "home/a/logs", 0o700), (shared / "logs", 0o777)):
        as_user(STRANGER, replace, box.preferences, plistlib.dumps({"SessionLogPath": str(folder)}))
        start(box)
        launched(box)
        found = stat.S_IMODE(folder.stat().st_mode)
        expect(found == mode, f"{folder.name} has the mode {found:o}")
        expect(box.agent.end() == 0, "the agent does not end")


if __name__ == "__main__":
    skip_unless_root()
    os.umask(0o022)
    main([a_link_leads_to_no_other_file, a_link_in_place_of_the_copy_leads_nowhere,
          what_cannot_be_read_stays_and_is_logged_once, preferences_of_others_are_obeyed,
          a_held_lock_holds_nothing_up, a_held_lock_does_not_keep_an_agent_from_ending,
          a_folder_for_logs_is_private_in_the_own_home], user=OWNER)
