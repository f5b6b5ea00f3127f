#!/bin/sh
# SPDX-License-Identifier: MIT
# Runs shell_bus_test.py on a display and a session bus of its own. Argument: the program.
for tool in xvfb-run dbus-run-session; do
    if ! command -v "$tool" >/dev/null; then
        echo "skipped: no $tool (packages xvfb, dbus and at-spi2-core)"
        exit 77
    fi
done
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
export XDG_RUNTIME_DIR="$folder" QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1 QT_QPA_PLATFORM=xcb
xvfb-run -a dbus-run-session -- /usr/bin/python3 "$(dirname "$0")/shell_bus_test.py" "$1"
