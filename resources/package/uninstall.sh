#!/bin/sh
# SPDX-License-Identifier: MIT
# sudo sh uninstall.sh [--all]: ends the agent and its helper, and removes them with what they made. The settings stay,
# which are the users' own; with --all they go, too.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
. "$here/common.sh"

case "$*" in
"") all=false ;;
--all) all=true ;;
*)
    echo "usage: sudo sh uninstall.sh [--all]" >&2
    exit 2
    ;;
esac

# for_every_user COMMAND: runs it with the name and the home of each account of a person.
for_every_user() {
    dscl . -list /Users NFSHomeDirectory | while read -r name home; do
        case $name in
        _* | daemon | nobody | root) ;;
        *) "$1" "$name" "$root$home" ;;
        esac
    done
}

# Files in a home are removed with its owner's rights, because the owner decides where links in it lead.
remove_tools_link() {
    link="$2/Applications/KvnRemotedTools"
    [ ! -L "$link" ] || sudo -n -u "$1" rm -f "$link" </dev/null || echo "not removed: $link" >&2
}

remove_preferences() {
    sudo -n -u "$1" defaults delete "$label" </dev/null >/dev/null 2>&1 || true # most users have none
}

remove_helper() {
    helper=com.korvane.remote.KvnServiceController
    unload "system/$helper"
    rm -f "$root/Library/LaunchDaemons/$helper.plist" "$root/Library/PrivilegedHelperTools/$helper" \
        "$root/var/run/$helper.socket"
}

require_root_on_macos
for user in $(session_users); do
    unload "gui/$user/$label"
done
rm -f "$job"
remove_helper
for_every_user remove_tools_link
if $all; then
    for_every_user remove_preferences
    # The permissions; the system finds them by the bundle, which is therefore removed later.
    [ ! -d "$bundle" ] || tccutil reset All "$label" >/dev/null || echo "not reset: the permissions" >&2
    rm -f "$registry/com.korvane.remote.plist"
fi
rm -rf "$bundle" "$bundle.new"
rm -f "$logs"/KvnGUIAgent_*.txt
# The other programs of the product use these folders, too.
for folder in "$registry" "$support" "$logs" "$pipes/pipes" "$pipes"; do
    [ ! -d "$folder" ] || rmdir "$folder" 2>/dev/null || echo "not empty, and kept: $folder"
done
echo "KvnGUIAgent is uninstalled."
