# SPDX-License-Identifier: MIT
"""The installed keyloftctl, as scenarios run it."""

import os
import queue
import re
import subprocess
import threading
from pathlib import Path

import layouts
import wire
from gadgets import CODES
from scenario import SCRATCH, Scenario
from until import PATIENCE

SET = ("set", "12", "cc", "1", "7")
WORDS = "part 12: Control Change, channel 1, controller 7  "
MAPPING = {"part": 12, "type": "Control Change", "channel": 1, "controller": 7}
MESSAGE = wire.mapping(12, "Control Change", 1, 7)
PAUSES = 11  # milliseconds: the sum of those of a sequence
CODE = CODES[5]


def program():
    return Path(os.environ["KEYLOFT_E2E_PROGRAM"]).with_name("keyloftctl")


class Lines:
    """What a program writes, line by line: one that never comes is a failure, not a halt."""

    def __init__(self, stream):
        self._lines = queue.Queue()
        threading.Thread(target=self._read, args=(stream,), daemon=True).start()

    def _read(self, stream):
        try:
            for line in stream:
                self._lines.put(line)
        except ValueError:
            pass  # the test is over and has closed it

    def next(self):
        return self._lines.get(timeout=PATIENCE)


class KeyloftCtl(Scenario):
    TIME_LIMIT = 480

    def setUp(self):
        super().setUp()
        self.environment = {**os.environ, "XDG_RUNTIME_DIR": str(SCRATCH)}

    def start(self, *arguments):
        process = subprocess.Popen([program(), *arguments], stdin=subprocess.DEVNULL,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                                   env=self.environment)
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.stderr.close)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def write_layout(self, held, name="layout.toml"):
        """A layout file for mappings by code."""
        file = SCRATCH / name
        file.write_text(layouts.text(held))
        return file

    def run_it(self, *arguments):
        """Output, errors and status. N stands for milliseconds, of which there were enough."""
        process = self.start(*arguments)
        output, errors = process.communicate(timeout=60)
        for took in re.findall(r"([0-9]+) ms\)", output):
            self.assertGreaterEqual(int(took), PAUSES)
        return re.sub(r"[0-9]+ ms\)", "N ms)", output), errors, process.returncode

    def expect(self, arguments, output="", errors="", status=0):
        self.assertEqual(self.run_it(*arguments), (output, errors, status), arguments)
