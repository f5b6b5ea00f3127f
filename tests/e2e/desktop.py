# SPDX-License-Identifier: MIT
"""The X server and the session bus that all scenarios share."""

import os
import shutil
import subprocess
from pathlib import Path

from until import until


class Desktop:
    """Starts both and puts them into the environment; no window manager."""

    def __init__(self, folder):
        self._processes = []
        self._folder = Path(folder)
        runtime = Path("/run/keyloft-e2e")
        runtime.mkdir(mode=0o700)
        self._start("Xvfb", ":7", "-screen", "0", "1024x768x24", "-nolisten", "tcp", "-noreset")
        bus = self._start("dbus-daemon", "--session", "--nofork", "--print-address=1")
        until("the X server", Path("/tmp/.X11-unix/X7").exists)
        address = self._folder / "dbus-daemon.out"
        until("the session bus", lambda: "\n" in address.read_text() or bus.poll() is not None)
        os.environ.update({
            "DISPLAY": ":7",
            "DBUS_SESSION_BUS_ADDRESS": address.read_text().strip(),
            "QT_QPA_PLATFORM": "xcb",
            # Otherwise a program is on the accessibility bus only when a screen reader asks.
            "QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1",
            "XDG_RUNTIME_DIR": str(runtime),
        })

    def _start(self, program, *arguments):
        with open(self._folder / f"{program}.out", "wb") as output, \
                open(self._folder / f"{program}.err", "wb") as errors:
            process = subprocess.Popen([program, *arguments], stdin=subprocess.DEVNULL,
                                       stdout=output, stderr=errors)
        self._processes.append(process)
        return process

    def stop(self):
        for process in reversed(self._processes):
            process.terminate()
            process.wait(60)


def screenshot(path):
    """What is on the X server now, as a PNG file."""
    taken = Path("/tmp/screenshot.png")  # not in the shared folder until it is whole
    subprocess.run(["import", "-window", "root", taken], check=True)
    shutil.move(taken, path)
