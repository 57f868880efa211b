#!/bin/sh
# SPDX-License-Identifier: MIT
# sudo sh install.sh: installs or upgrades the agent, and starts it for every user who is logged in.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
. "$here/common.sh"

# folder MODE PATH: makes a folder that root owns, or takes over the one that is there.
folder() {
    [ -e "$2" ] || [ -L "$2" ] || mkdir "$2"
    # A user may have put a link there. Once root owns it, no user can replace it between the question and chmod.
    chown -h root:wheel "$2"
    { [ -d "$2" ] && [ ! -L "$2" ]; } || fail "$2 is not a folder"
    chmod "$1" "$2"
}

# copy_bundle TO: verifies the copy, which only root can change, rather than the original.
copy_bundle() {
    cp -R "$here/KvnGUIAgent.app" "$1"
    chown -R root:wheel "$1"
    chmod -R u=rwX,go=rX "$1"
    plutil -lint -s "$1/Contents/Info.plist" "$here/$label.plist" || fail "a property list is damaged"
    if [ -d "$1/Contents/_CodeSignature" ]; then
        codesign --verify --deep --strict "$1" || fail "the signature of KvnGUIAgent.app is not valid"
    else
        echo "KvnGUIAgent.app is not signed as a whole. Use it for tests only." >&2
    fi
    # The mark of a download would have the system ask the user, who did not start the agent. It may be absent.
    xattr -dr com.apple.quarantine "$1" 2>/dev/null || true
}

require_root_on_macos
folder 755 "$support"
trap 'rm -rf "$bundle.new"' EXIT
rm -rf "$bundle.new"
copy_bundle "$bundle.new"

folder 777 "$registry" # the agents of all users write the settings there
folder 777 "$logs"
# Every program may add a folder, and nobody can replace the one that the service has its sockets in.
folder 1777 "$pipes"
folder 755 "$pipes/pipes"

users=$(session_users)
for user in $users; do
    unload "gui/$user/$label"
done
rm -rf "$bundle"
mv "$bundle.new" "$bundle"
rm -f "$job"
cp "$here/$label.plist" "$job"
chown root:wheel "$job"
chmod 644 "$job"

failed=""
for user in $users; do
    launchctl enable "gui/$user/$label" # a job that was unloaded for good stays disabled
    launchctl bootstrap "gui/$user" "$job" || failed="$failed $user"
done
[ -z "$failed" ] || fail "installed, but not started for the users$failed; it starts when they log in again"
echo "KvnGUIAgent is installed."
