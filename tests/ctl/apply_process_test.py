#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""keyloftctl's check and apply as a process, with simulated machines."""

import fcntl
import json
import os
import pty
import re
import signal
import struct
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
CODES = [f"4AC{number:X}F4C4" for number in range(16)]


def table(code, parts):
    lines = [f'{part} = {{ type = "Control Change", channel = 1, controller = {part} }}\n'
             for part in parts]
    return f"[{code}]\n" + "".join(lines)


def without_times(text):
    return re.sub(r"[0-9]+\.[0-9]{2} s", "N s", text)


class Apply(unittest.TestCase):
    def setUp(self):
        self.folder = self.enterContext(tempfile.TemporaryDirectory())
        self.all = self.layout("all.toml", "".join(table(code, range(128)) for code in CODES))
        self.one = self.layout("one.toml", table(CODES[5], [12, 36, 37]))

    def layout(self, name, content):
        path = Path(self.folder) / name
        path.write_text(content, encoding="utf-8")
        return str(path)

    def run_program(self, *arguments, **options):
        return subprocess.run([PROGRAM, *arguments], text=True, timeout=60, check=False, **{
            "stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE, "stderr": subprocess.PIPE,
            **options})

    def start(self, *arguments, **options):
        return subprocess.Popen([PROGRAM, *arguments], text=True, **{
            "stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE, "stderr": subprocess.PIPE,
            **options})

    def expect(self, arguments, status, output="", errors=""):
        done = self.run_program(*arguments)
        self.assertEqual((without_times(done.stdout), done.stderr, done.returncode),
                         (output, errors, status), arguments)

    def test_check_needs_no_machine(self):
        self.expect(["check", self.all], 0, "".join(
            f"{code}  128 mappings  parts 0-127 (N s at the least)\n" for code in CODES))

    def test_sets_all_machines_at_once(self):
        self.expect(["--demo=all", "apply", self.all, "--save"], 0, "".join(
            f"{code}  128 mappings  confirmed and saved (N s)\n" for code in CODES))

    def test_tells_what_faulty_machines_do(self):
        silent = "unconfirmed: sent twice, and no echo came\n"
        mapping = f"{CODES[5]}  part %d: Control Change, channel 1, controller %d  "
        lines = [mapping % (part, part) for part in (12, 36, 37)]
        total = f"{CODES[5]}  3 mappings  "
        self.expect(["--demo", "--silent", "apply", self.one], 1,
                    "".join(line + silent for line in lines) + f"{total}unconfirmed (N s)\n")
        self.expect(["--demo", "--silent", "--times", "3", "apply", self.one, "--save"], 1,
                    f"{lines[0]}{silent}{total}2 confirmed, 1 unconfirmed; not saved (N s)\n")
        self.expect(["--demo", "--silent", "--times", "1", "apply", self.one], 0,
                    f"{total}confirmed (N s)\n")
        self.expect(["--demo", "--vanish-after", "11", "apply", self.one], 1,
                    f"{lines[1]}not sent: the machine is gone\n"
                    f"{total}1 confirmed, 2 not sent (N s)\n")

    def test_sends_nothing_unless_every_machine_is_there(self):
        missing = "".join(f'keyloftctl: {code} is not there; "keyloftctl doctor" says what is\n'
                          for code in CODES if code != CODES[5])
        self.expect(["--demo", "apply", self.all], 3, "",
                    f"{missing}keyloftctl: nothing is sent, because 15 of 16 machines cannot be "
                    "set up; --available leaves them out\n")
        self.expect(["--demo", "--available", "apply", self.all], 0,
                    f"{CODES[5]}  128 mappings  confirmed (N s)\n",
                    f"{missing}keyloftctl: 15 of 16 machines are left out\n")

    def test_a_mistake_has_its_place(self):
        wrong = self.layout("wrong.toml", "[4AC5F4C4]\n12 = 7\n[x]\n")
        for command in ("check", "apply"):
            done = self.run_program("--demo", command, wrong)
            self.assertEqual((done.stdout, done.returncode), ("", 2))
            self.assertRegex(done.stderr, rf"\A{re.escape(wrong)}:2:\d+: .*\n"
                                          rf"{re.escape(wrong)}:3:\d+: .*\n\Z")

    def test_reads_standard_input(self):
        content = Path(self.one).read_text(encoding="utf-8")
        done = subprocess.run([PROGRAM, "--demo", "apply", "-"], input=content, text=True,
                              capture_output=True, timeout=60, check=False)
        self.assertEqual((without_times(done.stdout), done.stderr, done.returncode),
                         (f"{CODES[5]}  3 mappings  confirmed (N s)\n", "", 0))

    def test_ctrl_c_ends_it_while_it_waits_for_standard_input(self):
        with self.start("--demo", "apply", "-", stdin=subprocess.PIPE) as program:
            # Longer than the pipe: once all is written the program is reading.
            program.stdin.write("#" + "x" * 200_000)
            program.stdin.flush()
            program.send_signal(signal.SIGINT)
            self.assertEqual(program.wait(timeout=30), -signal.SIGINT)
            program.stdin.close()

    def test_json_fits_the_schema(self):
        validator = jsonschema.Draft202012Validator(SCHEMA)
        kinds = {}
        for command in (["check", self.all], ["--demo", "apply", self.one, "--save"],
                        ["--demo", "--available", "apply", self.all],
                        ["--demo", "--vanish-after", "11", "--save", "apply", self.one]):
            for line in self.run_program("--json", *command).stdout.splitlines():
                read = json.loads(line)
                validator.validate(read)
                kinds[read["kind"]] = kinds.get(read["kind"], 0) + 1
        self.assertEqual(kinds, {"layout": 16, "mapping": 3 + 128 + 3, "save": 1,
                                 "sum": 1 + 16 + 1})

    def test_json_is_a_receipt(self):
        lines = self.run_program("--demo", "--json", "--save", "apply", self.one).stdout
        *mappings, save, total = map(json.loads, lines.splitlines())
        self.assertEqual([each["part"] for each in mappings], [12, 36, 37])
        self.assertEqual({each["result"] for each in [*mappings, save]}, {"confirmed"})
        self.assertGreaterEqual(total.pop("milliseconds"), 4 * 11)
        self.assertEqual(total, {
            "kind": "sum", "machine": CODES[5], "port": "128:0", "mappings": 3, "confirmed": 3,
            "unconfirmed": 0, "not_sent": 0, "saved": True, "left_out": None})

    def test_does_its_work_without_a_reader(self):
        for arguments in (["apply", self.one], ["--json", "apply", self.one]):
            with self.start("--demo", *arguments) as program:
                program.stdout.close()
                self.assertEqual(program.stderr.read(), "")
            self.assertEqual(program.returncode, 0)

    def test_says_that_it_could_not_write(self):
        for command in ("check", "apply"):
            with open("/dev/full", "w", encoding="utf-8") as full:
                done = self.run_program("--demo", command, self.one, stdout=full)
            self.assertEqual((done.returncode, done.stderr),
                             (1, "keyloftctl: cannot write to standard output: No space left on "
                                 "device\n"))

    def test_a_signal_ends_it_with_a_true_sum(self):
        for which in (signal.SIGINT, signal.SIGTERM):
            whole = self.layout("whole.toml", table(CODES[5], range(128)))
            # A quarter of a second for each mapping: there is time to send a signal.
            with self.start("--demo", "--delay", "250", "--json", "apply", whole) as program:
                first = program.stdout.readline()
                program.send_signal(which)
                rest, errors = program.communicate(timeout=30)
            self.assertEqual((program.returncode, errors), (-which, ""))
            *mappings, total = map(json.loads, (first + rest).splitlines())
            self.assertEqual(len(mappings), 128)
            confirmed = sum(each["result"] == "confirmed" for each in mappings)
            self.assertEqual((total["confirmed"], total["unconfirmed"], total["not_sent"]),
                             (confirmed, 0, 128 - confirmed))
            self.assertGreater(confirmed, 0)
            self.assertGreater(total["not_sent"], 0)
            self.assertEqual({each["reason"] for each in mappings}, {None, "stopped"})

    def on_terminal(self, *arguments, **environment):
        """Runs a command with standard error on a terminal. What is printed, what the terminal
        gets, and the status."""
        screen, terminal = pty.openpty()
        fcntl.ioctl(terminal, termios.TIOCSWINSZ, struct.pack("HHHH", 24, 60, 0, 0))
        with self.start(*arguments, stderr=terminal,
                        env={**os.environ, "TERM": "xterm", **environment}) as program:
            os.close(terminal)
            shown = b""
            while True:
                try:
                    some = os.read(screen, 4096)
                except OSError:
                    break # nobody has the terminal any more
                shown += some
                if some: # a smaller window is no trouble
                    fcntl.ioctl(screen, termios.TIOCSWINSZ, struct.pack("HHHH", 24, 50, 0, 0))
            output = program.stdout.read()
        os.close(screen)
        return without_times(output), shown.decode(), program.returncode

    def test_shows_on_a_terminal_how_far_it_is(self):
        sums = "".join(f"{code}  128 mappings  confirmed (N s)\n" for code in CODES)
        for environment in ({}, {"NO_COLOR": "1"}):
            output, shown, status = self.on_terminal("--demo=all", "apply", self.all, **environment)
            self.assertEqual((output, status), (sums, 0))
            drawn = shown.split("\r")
            self.assertEqual((drawn[0], drawn[-1]), ("", "\x1b[K"))
            self.assertGreaterEqual(len(drawn), 3)
            for line in drawn[1:-1]:
                self.assertRegex(line, r"^\[#*\.*\] [0-9]+/2048 mappings, 0 failures"
                                       r"(, [0-9]:[0-9]{2} left)?\x1b\[K$")
                self.assertLess(len(line), 60 + len("\x1b[K"))

    def test_shows_nothing_on_a_dumb_terminal_and_with_json(self):
        sums = "".join(f"{code}  128 mappings  confirmed (N s)\n" for code in CODES)
        self.assertEqual(self.on_terminal("--demo=all", "apply", self.all, TERM="dumb"),
                         (sums, "", 0))
        _, shown, status = self.on_terminal("--demo", "--json", "--silent", "apply", self.one)
        self.assertEqual((shown, status), ("", 1))

    @unittest.skipIf(os.path.exists("/dev/snd/seq"), "this computer has a sequencer")
    def test_says_what_to_do_where_there_is_no_sequencer(self):
        self.expect(["apply", self.one], 4, "",
                    "keyloftctl: there is no ALSA sequencer: /dev/snd/seq does not exist; load it "
                    'with "sudo modprobe snd-seq"\n')


if __name__ == "__main__":
    sys.exit(unittest.main(verbosity=2))
