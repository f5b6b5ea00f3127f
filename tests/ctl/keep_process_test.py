#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""keyloftctl keep as a process, with simulated machines, and where there is no sequencer."""

import json
import os
import signal
import subprocess
import tempfile
import unittest
from pathlib import Path

import jsonschema

PROGRAM = os.environ["KEYLOFTCTL"]
DOCS = Path(os.environ["KEYLOFT_DOCS"])
LAYOUT = "[4AC5F4C4]\n12 = { type = 'Control Change', channel = 1, controller = %d }\n"
INTENT = "keyloftctl: keeping 1 machine with 1 mapping\n"
CHANGED = "keyloftctl: the files have changed; keeping 1 machine with 1 mapping\n"


class Keep(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.layout = Path(folder.name) / "desk.toml"
        self.layout.write_text(LAYOUT % 7, encoding="utf-8")

    def start(self, *arguments):
        process = subprocess.Popen(
            [PROGRAM, *arguments, "keep", self.layout], stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.stderr.close)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def replace_layout(self):
        """As editors do it: it is never there by half."""
        new = self.layout.with_suffix(".new")
        new.write_text(LAYOUT % 8, encoding="utf-8")
        new.rename(self.layout)

    def end(self, process, signal_number):
        process.send_signal(signal_number)
        self.assertEqual(process.wait(timeout=60), 0)

    def test_sets_the_machine_of_a_demo_again_whenever_it_is_back(self):
        validator = jsonschema.Draft202012Validator(
            json.loads((DOCS / "keyloftctl.schema.json").read_text(encoding="utf-8")))
        process = self.start("--demo", "--json")
        self.assertEqual(process.stderr.readline(), INTENT)
        for _ in range(2):
            mapping, total = (json.loads(process.stdout.readline()) for _ in range(2))
            validator.validate(mapping)
            validator.validate(total)
            self.assertEqual((mapping["kind"], mapping["part"], mapping["result"]),
                             ("mapping", 12, "confirmed"))
            self.assertEqual((total["kind"], total["confirmed"], total["saved"]), ("sum", 1, None))
        self.end(process, signal.SIGTERM)
        self.assertEqual(process.stderr.read(), "")

    def test_reads_a_layout_again_that_is_replaced(self):
        process = self.start("--demo")
        self.assertEqual(process.stderr.readline(), INTENT)
        self.assertRegex(process.stdout.readline(), r"^4AC5F4C4  1 mapping  confirmed \(")
        self.replace_layout()
        self.assertEqual(process.stderr.readline(), CHANGED)
        self.assertRegex(process.stdout.readline(), r"^4AC5F4C4  1 mapping  confirmed \(")
        self.end(process, signal.SIGINT)

    def test_goes_on_without_a_reader(self):
        process = self.start("--demo")
        process.stdout.close()
        self.assertEqual(process.stderr.readline(), INTENT)
        self.replace_layout()
        self.assertEqual(process.stderr.readline(), CHANGED)
        self.end(process, signal.SIGTERM)

    def test_waits_for_a_sequencer(self):
        process = self.start()
        self.assertEqual(process.stderr.readline(), INTENT)
        self.assertRegex(process.stderr.readline(),
                         "^keyloftctl: there is no ALSA sequencer: .*; looking again every ten "
                         "seconds\n$")
        self.end(process, signal.SIGTERM)
        self.assertEqual(process.stderr.read(), "")

    def test_ends_with_2_where_the_layout_cannot_be_read(self):
        self.layout.unlink()
        process = self.start("--demo")
        output, errors = process.communicate(timeout=60)
        self.assertEqual((process.returncode, output, errors),
                         (2, "", f"{self.layout}: there is no such file\n"))


if __name__ == "__main__":
    unittest.main()
