# SPDX-License-Identifier: MIT
# Read by install.sh and uninstall.sh: the places of an installation, and launchd's jobs.

# KVN_REMOTE_ROOT names a folder that is used in place of "/"; the tools are then those of PATH.
root="${KVN_REMOTE_ROOT:-}"
[ -n "$root" ] || PATH=/usr/bin:/bin:/usr/sbin:/sbin

label=com.korvane.remote.KvnGUIAgent
job="$root/Library/LaunchAgents/$label.plist"
support="$root/Library/Application Support/com.korvane.remote"
bundle="$support/KvnGUIAgent.app"
registry="$support/registry"
logs="$root/var/log/com.korvane.remote"
pipes="$root/var/tmp/com.korvane"

fail() {
    echo "${0##*/}: $*" >&2
    exit 1
}

require_root_on_macos() {
    release=$(uname -r) # 20 is macOS 11
    { [ "$(uname -s)" = Darwin ] && [ "${release%%.*}" -ge 20 ]; } || fail "macOS 11 or newer is needed"
    [ "$(id -u)" -eq 0 ] || fail "root's rights are needed: sudo sh $0"
}

# Prints the identifier of every user who has a session at the screen. Each session has a login window; root's serves
# those who are about to log in.
session_users() {
    ps -axo uid= -o comm= | awk '$1 != 0 && /\/loginwindow\.app\// { print $1 }' | sort -un
}

is_loaded() {
    launchctl print "$1" >/dev/null 2>&1
}

# unload SERVICE: ends a job, and waits for its end, because until then it can be neither loaded nor replaced.
unload() {
    is_loaded "$1" || return 0
    launchctl bootout "$1" >/dev/null 2>&1 || true # reports a job that takes its time as an error
    seconds=0
    while is_loaded "$1"; do
        [ "$seconds" -lt 30 ] || fail "$1 does not end"
        sleep 1
        seconds=$((seconds + 1))
    done
}
