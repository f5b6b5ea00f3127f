#!/bin/sh
# SPDX-License-Identifier: MIT
# Runs shell_bus_test.py on a display and a session bus of its own. Arguments: the program, and
# x11 or wayland.
for tool in Xvfb weston dbus-run-session; do
    if ! command -v "$tool" >/dev/null; then
        echo "skipped: no $tool (packages xvfb, weston, dbus and at-spi2-core)"
        exit 77
    fi
done
folder=$(mktemp -d)
server=
trap 'kill $server 2>/dev/null; wait; rm -rf "$folder"' EXIT
export XDG_RUNTIME_DIR="$folder" QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1
do_the_job() {
    dbus-run-session -- /usr/bin/python3 "$(dirname "$0")/shell_bus_test.py" "$@"
}

if [ "$2" = x11 ]; then
    # The server chooses a free number and tells it once it can be connected to. Without -noreset it
    # starts anew when its first client leaves, and for a moment nobody can connect.
    mkfifo "$folder/number"
    Xvfb -displayfd 3 -noreset -nolisten tcp 3>"$folder/number" &
    server=$!
    read -r number <"$folder/number" || exit 1
    DISPLAY=:$number QT_QPA_PLATFORM=xcb do_the_job "$1"
    exit
fi

# The compositor runs the one program that its file names once it can be connected to.
mkfifo "$folder/name"
cat >"$folder/tell" <<END
#!/bin/sh
echo "\$WAYLAND_DISPLAY" >"$folder/name"
END
chmod +x "$folder/tell"
printf '[autolaunch]\npath=%s\n' "$folder/tell" >"$folder/weston.ini"
weston --backend=headless-backend.so --idle-time=0 --config="$folder/weston.ini" \
    >"$folder/log" 2>&1 &
server=$!
if ! read -r name <"$folder/name"; then
    cat "$folder/log"
    exit 1
fi
# The requests that the program makes are printed on its standard error.
export WAYLAND_DISPLAY="$name" QT_QPA_PLATFORM=wayland WAYLAND_DEBUG=1
if ! do_the_job "$1" 2>"$folder/requests"; then
    grep -v '^\[' "$folder/requests"
    exit 1
fi
# By this name the task bar finds the icon.
grep -F 'set_app_id("org.keyloft.Keyloft")' "$folder/requests"
