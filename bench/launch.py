# SPDX-License-Identifier: MIT
"""Starts programs with a window, watches the X server for their first paint, and looks at what they
hold and do then."""

import ctypes
import os
import select
import shutil
import subprocess
import tempfile
import time
from pathlib import Path

PEERS = ("vmpk", "qmidiroute", "qjackctl")
PATIENCE = 60  # seconds until a window has to be there
SETTLED = 0.5  # a program whose memory did not grow for so long has started
MAP_NOTIFY = 19
SUBSTRUCTURE_NOTIFY = 1 << 19
RAW_RECTANGLES = 0
REVERT_TO_NONE = 0
TAB, END = 0xFF09, 0xFF57


class _Damage(ctypes.Structure):
    _fields_ = [("type", ctypes.c_int), ("serial", ctypes.c_ulong), ("send_event", ctypes.c_int),
                ("display", ctypes.c_void_p), ("drawable", ctypes.c_ulong),
                ("damage", ctypes.c_ulong), ("level", ctypes.c_int), ("more", ctypes.c_int),
                ("timestamp", ctypes.c_ulong), ("x", ctypes.c_short), ("y", ctypes.c_short),
                ("width", ctypes.c_ushort), ("height", ctypes.c_ushort),
                ("rest", ctypes.c_long * 24)]


def _server(command, option):
    """Starts a server that writes where it can be reached to the file of this option; gives the
    process and the place."""
    read_end, write_end = os.pipe()
    process = subprocess.Popen([*command, option.format(write_end)], pass_fds=[write_end],
                               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    os.close(write_end)
    with os.fdopen(read_end, encoding="ascii") as place:
        return process, place.readline().strip()


class Screen:
    """An X server and a session bus, as on every desktop, and a watch on what is painted there."""

    def __init__(self):
        self._bus, self.bus = _server(["dbus-daemon", "--session", "--nofork"],
                                      "--print-address={}")
        self._server, number = _server(
            ["Xvfb", "-noreset", "-nolisten", "tcp", "-screen", "0", "1280x1024x24", "-displayfd"],
            "{}")
        self.name = ":" + number
        self._x = ctypes.CDLL("libX11.so.6")
        self._keyboard = ctypes.CDLL("libXtst.so.6")
        self._x.XOpenDisplay.restype = ctypes.c_void_p
        self._x.XDefaultRootWindow.restype = ctypes.c_ulong
        damage = ctypes.CDLL("libXdamage.so.1")
        self._display = ctypes.c_void_p(self._x.XOpenDisplay(self.name.encode()))
        base, unused = ctypes.c_int(), ctypes.c_int()
        damage.XDamageQueryExtension(self._display, ctypes.byref(base), ctypes.byref(unused))
        self._painted = base.value
        root = ctypes.c_ulong(self._x.XDefaultRootWindow(self._display))
        self._x.XSelectInput(self._display, root, ctypes.c_long(SUBSTRUCTURE_NOTIFY))
        damage.XDamageCreate(self._display, root, RAW_RECTANGLES)
        self._x.XSync(self._display, 0)

    def forget(self):
        """What happened so far is not waited for."""
        self._x.XSync(self._display, 1)

    def wait_for_paint(self, start):
        """Waits until a window is there and something of size is painted; the microseconds since
        `start`."""
        mapped = False
        event = _Damage()
        while time.monotonic() - start < PATIENCE:
            while self._x.XPending(self._display):
                self._x.XNextEvent(self._display, ctypes.byref(event))
                if event.type == MAP_NOTIFY:
                    mapped = True
                    self._window = event.damage  # where a map event has its window
                if mapped and event.type == self._painted and event.width * event.height > 20_000:
                    return (time.monotonic() - start) * 1e6
            select.select([self._x.XConnectionNumber(self._display)], [], [], 1)
        raise SystemExit("script/bench: no window came")

    def press(self, *keys):
        """Gives the window the keyboard, and presses keys."""
        self._x.XSetInputFocus(self._display, ctypes.c_ulong(self._window), REVERT_TO_NONE, 0)
        for key in keys:
            code = self._x.XKeysymToKeycode(self._display, ctypes.c_ulong(key))
            for is_down in (1, 0):
                self._keyboard.XTestFakeKeyEvent(self._display, code, is_down, ctypes.c_ulong(0))
        self._x.XSync(self._display, 0)

    def stop(self):
        self._x.XCloseDisplay(self._display)
        for process in (self._server, self._bus):
            process.terminate()
            process.wait()


def _status(pid):
    lines = Path(f"/proc/{pid}/status").read_text().splitlines()
    return dict(line.split(":", 1) for line in lines)


def _kilobytes(pid, field):
    return int(_status(pid)[field].split()[0])


def _wait_until_settled(pid):
    peak, since = 0, time.monotonic()
    while time.monotonic() - since < SETTLED:
        now = _kilobytes(pid, "VmHWM")
        if now != peak:
            peak, since = now, time.monotonic()
        time.sleep(0.05)


def _libraries(pid):
    maps = Path(f"/proc/{pid}/maps").read_text().splitlines()
    return len({line.split()[-1] for line in maps if ".so" in line})


def _switches(pid):
    """How often each thread of the program has gone to sleep, by its number; the window's is the
    program's. (That others take the processor away says nothing of this program.)"""
    return {int(task.name): int(line.split()[1])
            for task in Path(f"/proc/{pid}/task").iterdir()
            for line in (task / "status").read_text().splitlines()
            if line.startswith("voluntary_ctxt_switches")}


def _processor_us(pid):
    tasks = Path(f"/proc/{pid}/task").iterdir()
    return sum(int((task / "schedstat").read_text().split()[0]) for task in tasks) / 1e3


def _start(program, screen, environment):
    screen.forget()
    start = time.monotonic()
    process = subprocess.Popen([program], env=environment, stdin=subprocess.DEVNULL,
                               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return process, screen.wait_for_paint(start)


def _stop(process):
    process.kill()  # some ask before they end
    process.wait()


def start_once(program, screen, environment):
    """The figures of one start."""
    process, painted = _start(program, screen, environment)
    _wait_until_settled(process.pid)
    figures = {"us": painted, "peak_kb": _kilobytes(process.pid, "VmHWM"),
               "anonymous_kb": _kilobytes(process.pid, "RssAnon"),
               "libraries": _libraries(process.pid)}
    _stop(process)
    return figures


def idle(program, screen, environment, seconds, *keys):
    """The figures of a window that nobody touches after these keys were pressed."""
    process, _ = _start(program, screen, environment)
    _wait_until_settled(process.pid)
    if keys:
        screen.press(*keys)
        _wait_until_settled(process.pid)
    before, processor = _switches(process.pid), _processor_us(process.pid)
    time.sleep(seconds)
    after = _switches(process.pid)
    figures = {"switches": sum(after.values()) - sum(before.values()),
               "main_switches": after[process.pid] - before[process.pid],
               "cpu_us": _processor_us(process.pid) - processor}
    _stop(process)
    return figures


def _add(samples, name, figures):
    for metric, value in figures.items():
        samples.setdefault("host " + name, {}).setdefault(metric, []).append(value)


def _install(build, folder):
    """Installs ours as a package does: with its icons, and their cache."""
    subprocess.run(["cmake", "--install", build, "--prefix", folder], check=True,
                   stdout=subprocess.DEVNULL)
    if tool := shutil.which("gtk-update-icon-cache"):
        subprocess.run([tool, "-f", "-q", "-t", f"{folder}/share/icons/hicolor"], check=True)


def measure(names, build, rounds, short):
    """The figures of the benchmarks "start" and "idle"."""
    samples = {}
    screen = Screen()
    with tempfile.TemporaryDirectory() as home, tempfile.TemporaryDirectory() as installed:
        _install(build, installed)
        ours = {"keyloft": f"{installed}/bin/keyloft", "demo": f"{installed}/bin/keyloft-demo"}
        programs = dict(ours)
        if not short:
            programs["empty"] = build / "bench/empty_window"
            programs["plain"] = build / "bench/plain_window"
            programs |= {peer: found for peer in PEERS if (found := shutil.which(peer))}
        environment = {"DISPLAY": screen.name, "QT_QPA_PLATFORM": "xcb", "HOME": home,
                       "DBUS_SESSION_BUS_ADDRESS": screen.bus, "XDG_RUNTIME_DIR": home,
                       "XDG_DATA_DIRS": f"{installed}/share:/usr/local/share:/usr/share",
                       "PATH": os.environ["PATH"], "LANG": "C.UTF-8"}
        if not Path("/dev/snd/seq").exists():
            environment["LD_PRELOAD"] = str(build / "bench/stub_sequencer.so")
        try:
            if "start" in names:
                # The first round reads everything from the disk, and is not counted.
                for number in range(rounds + (0 if short else 1)):
                    for name, program in programs.items():
                        figures = start_once(program, screen, environment)
                        if number or short:
                            _add(samples, f"start/{name}", figures)
            if "idle" in names:
                seconds = 2 if short else 10
                for name, program in ours.items():
                    _add(samples, f"idle/{name}",
                         idle(program, screen, environment, seconds))
                # From the first menu to the first field, and behind its text.
                for name in ("keyloft", "plain"):
                    if name in programs:
                        _add(samples, f"idle/{name} with caret",
                             idle(programs[name], screen, environment, seconds, TAB, END))
        finally:
            screen.stop()
    return samples
