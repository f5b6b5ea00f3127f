# SPDX-License-Identifier: MIT
"""The X server and the session bus that all scenarios share."""

import os
import shutil
import subprocess
import tempfile
from pathlib import Path

from until import until


class Desktop:
    """Starts both and puts them into the environment; no window manager."""

    def __init__(self, folder, display=7):
        self._processes = []
        self._folder = Path(folder)
        runtime = tempfile.mkdtemp(prefix="runtime-")
        self._start("Xvfb", f":{display}", "-screen", "0", "1024x768x24",
                    "-nolisten", "tcp", "-noreset")
        bus = self._start("dbus-daemon", "--session", "--nofork", "--print-address=1")
        until("the X server", Path(f"/tmp/.X11-unix/X{display}").exists)
        address = self._folder / "dbus-daemon.out"
        until("the session bus", lambda: "\n" in address.read_text() or bus.poll() is not None)
        os.environ.update({
            "DISPLAY": f":{display}", "DBUS_SESSION_BUS_ADDRESS": address.read_text().strip(),
            "QT_QPA_PLATFORM": "xcb", "XDG_RUNTIME_DIR": runtime,
            # Otherwise a program is on the accessibility bus only when a screen reader asks.
            "QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1"})

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
