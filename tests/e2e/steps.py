# SPDX-License-Identifier: MIT
"""Follows a program step by step, and stops it where a test wants it."""

import os
import tempfile
import threading

from until import PATIENCE

MIDI_OUT, LOOKUP = (ord(letter) for letter in "mM")  # of the lines that are steps
EVENT = 28  # bytes of an event on its way to the sequencer


class Steps:
    """Give `environment` to the program; from then on it asks before each step."""

    def __init__(self, library):
        self._name = os.path.join(tempfile.mkdtemp(prefix="steps-"), "step")
        for end in (".at", ".go"):
            os.mkfifo(self._name + end)
        self.environment = {"KEYLOFT_STEPS": self._name, "LD_PRELOAD": str(library)}
        self._lock = threading.Lock()
        self._wanted = None
        self._held = threading.Event()
        self._released = threading.Event()
        threading.Thread(target=self._follow, daemon=True).start()

    def _follow(self):
        with open(self._name + ".at", encoding="ascii") as at, \
                open(self._name + ".go", "wb", buffering=0) as go:
            for line in at:
                what, argument = line.split()
                with self._lock:
                    hold = self._counts_down((what, int(argument)))
                if hold:
                    self._held.set()
                    self._released.wait()
                try:
                    go.write(b".")
                except BrokenPipeError:
                    return

    def _counts_down(self, step):
        if self._wanted is None or step != self._wanted[:2]:
            return False
        what, argument, times = self._wanted
        self._wanted = (what, argument, times - 1) if times > 1 else None
        return times == 1

    def hold_at(self, what, argument, times=1):
        """Stops the program before a step: the first of its kind from now on, or a later one."""
        with self._lock:
            self._held.clear()
            self._released.clear()
            self._wanted = (what, argument, times)

    def wait_until_held(self):
        if not self._held.wait(PATIENCE):
            raise AssertionError(f"the step {self._wanted} did not come")

    def release(self):
        self._released.set()
