#!/bin/sh
# Asks the agent of the login window which permissions it has; its answer comes as a notification. Whatever
# goes wrong is told on the standard error. KVN_REMOTE_ROOT names the folder that stands for "/"; the agent
# sets it where it was given a root.
set -eu

agent="${KVN_REMOTE_ROOT:-}/Library/PrivilegedHelperTools/com.korvane.remote.KvnPreLoginAgent.app/Contents/MacOS/KvnPreLoginAgent"
if [ ! -x "$agent" ]; then
    echo "KvnPreLoginAgent is not installed at $agent" >&2
    exit 1
fi
exec "$agent" --check
