#!/bin/sh
# SPDX-License-Identifier: MIT
# Asks the agent of the login window which permissions it has; it answers with a notification. Failures are reported on
# standard error. KVN_REMOTE_ROOT names the folder that is used in place of "/"; the agent sets it if it was given a
# root.
set -eu

root="${KVN_REMOTE_ROOT:-}"
application="$root/Library/PrivilegedHelperTools/com.korvane.remote.KvnPreLoginAgent.app"
program="$application/Contents/MacOS/KvnPreLoginAgent"
if [ ! -x "$program" ]; then
    echo "KvnPreLoginAgent is not installed at $program" >&2
    exit 1
fi
if [ "$(uname -s)" = Darwin ] && [ -z "$root" ]; then
    # macOS answers a child of this script with the permissions of the agent that runs the script.
    exec /usr/bin/open -n -g "$application" --args --check
fi
exec "$program" --check
