#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""identify as a process, on simulated machines whose parts move, and in front of a terminal."""

import json
import os
import pty
import signal
import subprocess
import sys
import tempfile
import termios
import unittest
from pathlib import Path

import jsonschema

PROGRAM = os.environ["KEYLOFTCTL"]
SCHEMA = json.loads((Path(os.environ["KEYLOFT_DOCS"]) / "keyloftctl.schema.json").read_text(
    encoding="utf-8"))
WARNING = ("keyloftctl: this replaces the mappings of all 128 parts of 4AC5F4C4 (128:0), and saves "
           "nothing\n"
           "keyloftctl: what was saved comes back when the machine is switched off and on; ")
ADVICE = "--then FILE applies a layout at the end\n"
READY = "keyloftctl: press or turn a part; Ctrl-C ends this\n"
LEFT = "keyloftctl: 4AC5F4C4 keeps these mappings until it is switched off or set again\n"
LAYOUT = """[4AC5F4C4]
1 = { type = "Note On", channel = 10, controller = 36 }
127 = { type = "Bend Change", channel = 1, controller = 0 }
"""
# The parts that move on the machine of the demo, one after the other.
MOVED = [0, 1, 2, 12, 36, 119, 127, 0]


def start(*arguments, **options):
    return subprocess.Popen([PROGRAM, "--demo", "identify", *arguments],
                            **{"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE,
                               "stderr": subprocess.PIPE, "text": True, **options})


class Identify(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.layout = f"{folder.name}/desk.toml"
        Path(self.layout).write_text(LAYOUT, encoding="utf-8")

    def test_tells_each_part_that_moves_until_it_is_interrupted(self):
        for which in (signal.SIGINT, signal.SIGTERM):
            with start("--yes") as identify:
                lines = [identify.stdout.readline() for _ in MOVED]
                identify.send_signal(which)
                _, errors = identify.communicate(timeout=60)
            self.assertEqual(lines, [f"4AC5F4C4  part {part}\n" for part in MOVED])
            self.assertEqual((identify.returncode, errors), (0, WARNING + ADVICE + READY + LEFT))

    def test_shows_a_layout_and_applies_one_at_its_end(self):
        with start("--yes", "--layout", self.layout, "--then", self.layout) as identify:
            lines = [identify.stdout.readline() for _ in range(3)]
            identify.send_signal(signal.SIGINT)
            output, errors = identify.communicate(timeout=60)
        self.assertEqual(lines, [
            f"4AC5F4C4  part 0  not in {self.layout}\n",
            f"4AC5F4C4  part 1: Note On, channel 10, controller 36  {self.layout}:2:1\n",
            f"4AC5F4C4  part 2  not in {self.layout}\n"])
        self.assertRegex(output.splitlines()[-1],
                         r"^4AC5F4C4  2 mappings  confirmed \([0-9]+\.[0-9]{2} s\)$")
        self.assertEqual((identify.returncode, errors), (
            0, f"{WARNING}{self.layout} (2 parts) is applied at the end\n{READY}"
               f"keyloftctl: parts that are not in {self.layout} keep the mappings of identify "
               "until 4AC5F4C4 is switched off\n"))

    def test_reads_a_layout_from_standard_input(self):
        with start("--yes", "--layout", "-", stdin=subprocess.PIPE) as identify:
            identify.stdin.write(LAYOUT)
            identify.stdin.close()
            lines = [identify.stdout.readline() for _ in range(2)]
            identify.send_signal(signal.SIGINT)
            identify.stdin = None
            identify.communicate(timeout=60)
        self.assertTrue(lines[0].startswith("4AC5F4C4  part 0  not in "), lines)
        self.assertTrue(lines[1].startswith("4AC5F4C4  part 1: Note On, "), lines)

    def test_json_fits_the_schema(self):
        validator = jsonschema.Draft202012Validator(SCHEMA)
        with start("--yes", "--json", "--layout", self.layout, "--then", self.layout) as identify:
            lines = [json.loads(identify.stdout.readline()) for _ in range(2)]
            identify.send_signal(signal.SIGINT)
            rest, _ = identify.communicate(timeout=60)
        last = json.loads(rest.splitlines()[-1])
        for line in (*lines, last):
            validator.validate(line)
        self.assertEqual([(line["kind"], line["part"]) for line in lines],
                         [("part", 0), ("part", 1)])
        self.assertEqual(lines[0]["layout"], None)
        self.assertEqual(lines[1]["layout"], {"type": "Note On", "channel": 10, "controller": 36,
                                              "place": f"{self.layout}:2:1"})
        self.assertEqual((last["kind"], last["confirmed"]), ("sum", 2))

    def test_lists_unconfirmed_parts_first(self):
        with start("--yes", "--silent", "--times", "2") as identify:
            lines = [identify.stdout.readline() for _ in range(2)]
            identify.send_signal(signal.SIGINT)
            identify.communicate(timeout=60)
        self.assertEqual(lines, ["4AC5F4C4  part 0: Control Change, channel 16, controller 0  "
                                 "unconfirmed: sent twice, and no echo came\n",
                                 "4AC5F4C4  part 0\n"])
        self.assertEqual(identify.returncode, 0)

    def test_ends_when_its_reader_goes(self):
        with start("--yes") as identify:
            identify.stdout.readline()
            identify.stdout.close()
            self.assertEqual(identify.stderr.read(), WARNING + ADVICE + READY + LEFT)
            identify.wait(timeout=60)
        self.assertEqual(identify.returncode, 0)

    def test_sends_nothing_without_a_terminal_or_leave(self):
        for standard_input in (subprocess.DEVNULL, subprocess.PIPE):
            with start(stdin=standard_input) as identify:
                output, errors = identify.communicate(timeout=60)
            self.assertEqual((identify.returncode, output, errors), (
                2, "", "keyloftctl: identify replaces all mappings of a machine; without a "
                       "terminal to ask on, allow it with --yes\n"))

    def ask(self, answer, done):
        """Types an answer; what the terminal shows, and what the program ends with. `done` is the
        last thing that it shows."""
        master, slave = pty.openpty()
        settings = termios.tcgetattr(slave)
        settings[1] &= ~termios.OPOST
        settings[3] &= ~termios.ECHO
        termios.tcsetattr(slave, termios.TCSANOW, settings)

        def take_terminal():
            os.setsid()
            os.close(os.open(os.ttyname(slave), os.O_RDWR)) # the first one becomes its terminal

        with start(stdin=slave, stderr=slave, preexec_fn=take_terminal) as identify:
            shown = b""
            while not shown.endswith(b"[y/n] "):
                shown += os.read(master, 1)
            os.write(master, answer)
            while not shown.endswith(done.encode()):
                shown += os.read(master, 1)
            if identify.poll() is None and answer == b"y\n":
                os.write(master, b"\x03") # Ctrl-C
                while not shown.endswith(LEFT.encode()):
                    shown += os.read(master, 1)
            identify.communicate(timeout=60)
        os.close(master)
        os.close(slave)
        return shown.decode(), identify.returncode

    def test_asks_on_a_terminal(self):
        question = WARNING + ADVICE + "keyloftctl: go on? [y/n] "
        nothing = "keyloftctl: nothing was sent\n"
        self.assertEqual(self.ask(b"n\n", nothing), (question + nothing, 1))
        self.assertEqual(self.ask(b"\x04", nothing), (question + "\n" + nothing, 1))
        self.assertEqual(self.ask(b"\x03", nothing), (question + "\n" + nothing, -signal.SIGINT))
        self.assertEqual(self.ask(b"y\n", READY), (question + READY + LEFT, 0))


if __name__ == "__main__":
    sys.exit(unittest.main(verbosity=2))
