# SPDX-License-Identifier: MIT
"""Asks a window to close, as a window manager does when its close button is pressed."""

import ctypes


class _ClientMessage(ctypes.Structure):
    _fields_ = [("type", ctypes.c_int), ("serial", ctypes.c_ulong), ("send_event", ctypes.c_int),
                ("display", ctypes.c_void_p), ("window", ctypes.c_ulong),
                ("message_type", ctypes.c_ulong), ("format", ctypes.c_int),
                ("data", ctypes.c_long * 5), ("rest", ctypes.c_long * 24)]


_CLIENT_MESSAGE = 33
_ANY_TYPE = 0


def _library():
    x = ctypes.CDLL("libX11.so.6")
    x.XOpenDisplay.restype = ctypes.c_void_p
    x.XInternAtom.restype = ctypes.c_ulong
    x.XDefaultRootWindow.restype = ctypes.c_ulong
    return x


def _children(x, display, window):
    root, parent = ctypes.c_ulong(), ctypes.c_ulong()
    children, count = ctypes.POINTER(ctypes.c_ulong)(), ctypes.c_uint()
    if not x.XQueryTree(display, ctypes.c_ulong(window), ctypes.byref(root), ctypes.byref(parent),
                        ctypes.byref(children), ctypes.byref(count)):
        return []
    found = list(children[:count.value]) if count.value else []
    if count.value:
        x.XFree(children)
    return found


def _property(x, display, window, name):
    """The numbers of a window's property."""
    kind, form = ctypes.c_ulong(), ctypes.c_int()
    count, left = ctypes.c_ulong(), ctypes.c_ulong()
    data = ctypes.POINTER(ctypes.c_ulong)()
    atom = ctypes.c_ulong(x.XInternAtom(display, name, 0))
    x.XGetWindowProperty(display, ctypes.c_ulong(window), atom, ctypes.c_long(0),
                         ctypes.c_long(64), 0, ctypes.c_ulong(_ANY_TYPE), ctypes.byref(kind),
                         ctypes.byref(form), ctypes.byref(count), ctypes.byref(left),
                         ctypes.byref(data))
    if not data:
        return []
    values = list(data[:count.value]) if form.value == 32 else []
    x.XFree(data)
    return values


def close(pid):
    """Asks every main window of the program; an alert in front of it keeps it open."""
    x = _library()
    display = ctypes.c_void_p(x.XOpenDisplay(None))
    if not display:
        raise AssertionError("the X server cannot be reached")
    delete = x.XInternAtom(display, b"WM_DELETE_WINDOW", 0)
    protocols = x.XInternAtom(display, b"WM_PROTOCOLS", 0)
    asked = 0
    for window in _children(x, display, x.XDefaultRootWindow(display)):
        if pid not in _property(x, display, window, b"_NET_WM_PID") or \
                delete not in _property(x, display, window, b"WM_PROTOCOLS") or \
                _property(x, display, window, b"WM_TRANSIENT_FOR"):
            continue
        message = _ClientMessage(type=_CLIENT_MESSAGE, window=window, message_type=protocols,
                                 format=32, data=(delete, 0, 0, 0, 0))
        x.XSendEvent(display, ctypes.c_ulong(window), 0, ctypes.c_long(0), ctypes.byref(message))
        asked += 1
    x.XCloseDisplay(display)
    if not asked:
        raise AssertionError(f"process {pid} has no window to close")
