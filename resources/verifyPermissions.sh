#!/bin/sh
# SPDX-License-Identifier: MIT
# Asks the agent of the login window which permissions it has; it answers with a notification. Failures are reported on
# standard error. KVN_REMOTE_ROOT names the folder that is used in place of "/"; the agent sets it if it was given a
# root.
set -eu

agent="${KVN_REMOTE_ROOT:-}/Library/PrivilegedHelperTools/com.korvane.remote.KvnPreLoginAgent.app/Contents/MacOS/KvnPreLoginAgent"
if [ ! -x "$agent" ]; then
    echo "KvnPreLoginAgent is not installed at $agent" >&2
    exit 1
fi
exec "$agent" --check
