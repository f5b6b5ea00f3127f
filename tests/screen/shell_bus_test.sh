#!/bin/sh
# SPDX-License-Identifier: MIT
# Runs shell_bus_test.py on a display and a session bus of its own. Argument: the program.
for tool in Xvfb dbus-run-session; do
    if ! command -v "$tool" >/dev/null; then
        echo "skipped: no $tool (packages xvfb, dbus and at-spi2-core)"
        exit 77
    fi
done
folder=$(mktemp -d)
server=
trap 'kill $server 2>/dev/null; rm -rf "$folder"' EXIT
export XDG_RUNTIME_DIR="$folder" QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1 QT_QPA_PLATFORM=xcb
# The server chooses a free number and tells it once it can be connected to. Without -noreset it
# starts anew when its first client leaves, and for a moment nobody can connect.
mkfifo "$folder/number"
Xvfb -displayfd 3 -noreset -nolisten tcp 3>"$folder/number" &
server=$!
read -r number <"$folder/number" || exit 1
DISPLAY=:$number dbus-run-session -- /usr/bin/python3 "$(dirname "$0")/shell_bus_test.py" "$1"
