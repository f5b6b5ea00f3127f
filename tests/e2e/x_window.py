# SPDX-License-Identifier: MIT
"""Asks a window to close, as a window manager does when its close button is pressed."""

from Xlib import X
from Xlib.display import Display
from Xlib.protocol.event import ClientMessage


def close(pid):
    """Asks every main window of the program; an alert in front of it keeps it open."""
    display = Display()
    delete, protocols, process = (display.intern_atom(name) for name in (
        "WM_DELETE_WINDOW", "WM_PROTOCOLS", "_NET_WM_PID"))
    asked = 0
    for window in display.screen().root.query_tree().children:
        owner = window.get_full_property(process, X.AnyPropertyType)
        if owner and pid in owner.value and delete in window.get_wm_protocols() and \
                not window.get_wm_transient_for():
            window.send_event(ClientMessage(window=window, client_type=protocols,
                                            data=(32, (delete, 0, 0, 0, 0))))
            asked += 1
    display.close()
    if not asked:
        raise AssertionError(f"process {pid} has no window to close")
