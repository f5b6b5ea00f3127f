#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The program keyloftctl as a process, with simulated machines, and where there is no sequencer."""

import json
import os
import re
import resource
import signal
import subprocess
import sys
import unittest
from pathlib import Path

import jsonschema

PROGRAM = os.environ["KEYLOFTCTL"]
VERSION = os.environ["KEYLOFT_VERSION"]
DOCS = Path(os.environ["KEYLOFT_DOCS"])
SCHEMA = json.loads((DOCS / "keyloftctl.schema.json").read_text(encoding="utf-8"))
MAPPING = "4AC5F4C4  part 12: Control Change, channel 1, controller 7  "
SET = ("set", "12", "control-change", "1", "7")
SOONEST = 11  # milliseconds: the sum of the pauses of a sequence


def run(*arguments, **options):
    return subprocess.run([PROGRAM, *arguments], stdin=subprocess.DEVNULL, capture_output=True,
                          text=True, timeout=60, check=False, **options)


def start(*arguments, **options):
    return subprocess.Popen([PROGRAM, *arguments], stdin=subprocess.DEVNULL,
                            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, **options)


class KeyloftCtl(unittest.TestCase):
    def expect(self, arguments, status, output="", errors=""):
        """Runs a command. In the output N stands for milliseconds."""
        done = run(*arguments)
        for took in re.findall(r"([0-9]+) ms\)", done.stdout):
            self.assertGreaterEqual(int(took), SOONEST)
        said = re.sub(r"[0-9]+ ms\)", "N ms)", done.stdout)
        self.assertEqual((said, done.stderr, done.returncode), (output, errors, status), arguments)

    def test_says_its_version(self):
        self.expect(["--version"], 0, f"keyloftctl {VERSION}\n")

    def test_explains_every_command_option_and_status(self):
        done = run("--help")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        for text in ("list ", "set PART TYPE CHANNEL NUMBER", "save ", "check FILE...",
                     "apply FILE...", "keep FILE...", "watch ", "identify ", "doctor ",
                     "--available", "--yes", "--layout FILE", "--then FILE",
                     "-m, --machine MACHINE", "CODE@CLIENT:PORT", "--save", "--gentle", "--json",
                     "--demo[=CODES]", "--silent", "--delay MS", "--wrong", "--wrong-byte N",
                     "--chatter", "--vanish-after N", "--times N", "--version",
                     "Exit status: 0 all", "; 1 something", "; 2 the\narguments", "; 3 no such",
                     "; 4 there is no sequencer"):
            self.assertIn(text, done.stdout)
        self.assertLessEqual(max(map(len, done.stdout.splitlines())), 100)

    def test_refuses_wrong_arguments_with_a_sentence_and_2(self):
        mistakes = {
            (): "a command is missing",
            ("set", "200", "cc", "1", "7"):
                'PART is "200": it has to be a whole number from 0 to 127',
            ("--silent", "list"): "--silent needs --demo: a real machine has its own faults",
        }
        for arguments, sentence in mistakes.items():
            self.expect(arguments, 2, "", f'keyloftctl: {sentence}\nTry "keyloftctl --help".\n')

    def test_lists_the_machines_of_a_demo(self):
        self.expect(["--demo", "list"], 0, "4AC5F4C4  128:0  4AC5F4C4 MIDI 1\n")
        self.expect(["list", "--demo=all"], 0, "".join(
            f"4AC{i:X}F4C4  {128 + i}:0  4AC{i:X}F4C4 MIDI 1\n" for i in range(16)))

    def test_sets_each_type_and_saves(self):
        types = {"note-on": "Note On", "Note Off": "Note Off", "CC": "Control Change",
                 "bend": "Bend Change"}
        for word, name in types.items():
            self.expect(["--demo", "set", "127", word, "16", "0"], 0,
                        f"4AC5F4C4  part 127: {name}, channel 16, controller 0  "
                        "confirmed (N ms)\n")
        self.expect(["--demo", *SET, "--save"], 0,
                    f"{MAPPING}confirmed (N ms)\n4AC5F4C4  save  confirmed (N ms)\n")
        self.expect(["--demo", "save"], 0, "4AC5F4C4  save  confirmed (N ms)\n")

    def test_is_as_slow_as_the_window_when_it_is_told_to_be_gentle(self):
        done = run("--demo", "--gentle", "save")
        self.assertGreaterEqual(int(re.search(r"\(([0-9]+) ms\)", done.stdout)[1]), 311)

    def test_tells_what_faulty_machines_do(self):
        outcomes = {
            ("--silent",): (1, "unconfirmed: sent twice, and no echo came"),
            ("--silent", "--times", "1"): (0, "confirmed (second attempt, N ms)"),
            ("--wrong",):
                (1, "unconfirmed: sent twice, and B0 06 0C came back instead of B0 07 0C"),
            ("--wrong", "--wrong-byte", "3", "--times", "1"):
                (0, "confirmed (second attempt, N ms)"),
            ("--delay", "30"): (0, "confirmed (N ms)"),
            ("--delay", "2000"): (1, "unconfirmed: sent twice, and no echo came"),
            ("--chatter",): (0, "confirmed (N ms)"),
            ("--vanish-after", "1"): (1, "not sent: the machine is gone"),
            ("--vanish-after", "9"):
                (1, "unconfirmed: sent, and no echo came; then the machine is gone"),
        }
        for faults, (status, outcome) in outcomes.items():
            with self.subTest(faults=faults):
                self.expect(["--demo", *faults, *SET], status, f"{MAPPING}{outcome}\n")

    def test_chooses_the_machine_that_is_named(self):
        two = "--demo=4AC0F4C4,4AC5F4C4"
        self.expect([two, *SET], 3, "",
                    "keyloftctl: several machines are there, name one with -m: 4AC0F4C4 (128:0), "
                    "4AC5F4C4 (129:0)\n")
        self.expect([two, "-m", "4ac5f4c4", *SET], 0, f"{MAPPING}confirmed (N ms)\n")
        self.expect([two, "-m", "4AC5F4C4@129:0", *SET], 0, f"{MAPPING}confirmed (N ms)\n")
        self.expect([two, "-m", "4AC9F4C4", *SET], 3, "",
                    'keyloftctl: 4AC9F4C4 is not there; "keyloftctl doctor" says what is\n')
        self.expect([two, "-m", "4AC5F4C4@9:0", *SET], 3, "",
                    "keyloftctl: 9:0: there is no such port that can be sent to\n")

    def test_json_fits_the_schema(self):
        validator = jsonschema.Draft202012Validator(SCHEMA)
        validator.check_schema(SCHEMA)
        commands = (
            ["list"], [*SET, "--save"], ["save", "--silent"], [*SET, "--wrong"],
            [*SET, "--vanish-after", "2"], [*SET, "--delay", "5"], ["doctor"],
        )
        for command in commands:
            done = run("--demo", "--json", *command)
            self.assertTrue(done.stdout)
            for line in done.stdout.splitlines():
                validator.validate(json.loads(line))
        done = run("--demo=4AC5F4C4,4AC5F4C4", "--json", "list")
        validator.validate(json.loads(done.stdout))
        self.assertEqual(json.loads(done.stdout)["obstacle"], "several_destinations")

    def test_json_is_a_receipt(self):
        mapping, save = map(json.loads, run("--demo", "--json", *SET, "--save").stdout.splitlines())
        self.assertEqual(list(mapping), [
            "kind", "machine", "port", "part", "type", "channel", "controller", "result", "reason",
            "error", "attempts", "milliseconds", "message", "echo", "echo_milliseconds"])
        self.assertGreaterEqual(mapping.pop("milliseconds"), SOONEST)
        self.assertGreaterEqual(mapping.pop("echo_milliseconds"), 1)
        self.assertEqual(mapping, {
            "kind": "mapping", "machine": "4AC5F4C4", "port": "128:0", "part": 12,
            "type": "Control Change", "channel": 1, "controller": 7, "result": "confirmed",
            "reason": None, "error": 0, "attempts": 1, "message": "B0 07 0C", "echo": "B0 07 0C"})
        self.assertEqual((save["kind"], save["message"], save["echo"]),
                         ("save", "AF 7F 7F", "AF 7F 7F"))
        wrong = json.loads(run("--demo", "--json", "--wrong", "save").stdout)
        self.assertEqual((wrong["result"], wrong["reason"], wrong["attempts"], wrong["echo"]),
                         ("unconfirmed", "other_echo", 2, "AF 7E 7F"))

    def test_watch_shows_turning_parts_until_it_is_interrupted(self):
        for which in (signal.SIGINT, signal.SIGTERM):
            with start("--demo", "watch") as watch:
                lines = [watch.stdout.readline() for _ in range(3)]
                watch.send_signal(which)
                rest, errors = watch.communicate(timeout=30)
            self.assertEqual((watch.returncode, errors), (0, ""))
            time = r"[0-2][0-9]:[0-5][0-9]:[0-5][0-9]\.[0-9]{3}  4AC5F4C4  "
            self.assertRegex(lines[0], f"^{time}is there, 128:0\n$")
            for line in lines[1:] + rest.splitlines(keepends=True):
                self.assertRegex(line, f"^{time}(Control Change, channel 1, controller 7, value|"
                                       "Note On, channel 10, note 36, velocity|"
                                       "Bend Change, channel 1, position) -?[0-9]+\n$")

    def test_watch_in_json_fits_the_schema(self):
        validator = jsonschema.Draft202012Validator(SCHEMA)
        with start("--demo", "--json", "watch") as watch:
            kinds = []
            for _ in range(3):
                line = json.loads(watch.stdout.readline())
                validator.validate(line)
                kinds.append(line["kind"])
            watch.terminate()
        self.assertEqual(kinds, ["presence", "message", "message"])

    def test_a_reader_that_goes_away_ends_it_quietly(self):
        for command in ("list", "watch", "doctor"):
            with start("--demo=all", command) as program:
                program.stdout.close()
                self.assertEqual(program.stderr.read(), "")
                program.wait(timeout=30)
            self.assertEqual(program.returncode, 0, command)

    def test_set_does_its_work_without_a_reader(self):
        with start("--demo", *SET) as program:
            program.stdout.close()
            self.assertEqual(program.stderr.read(), "")
        self.assertEqual(program.returncode, 0)

    def test_says_that_it_could_not_write(self):
        for command in (["list"], SET):
            with open("/dev/full", "w", encoding="utf-8") as full:
                done = subprocess.run([PROGRAM, "--demo", *command], stdout=full,
                                      stderr=subprocess.PIPE, text=True, timeout=60, check=False)
            self.assertEqual((done.returncode, done.stderr),
                             (1, "keyloftctl: cannot write to standard output: No space left on "
                                 "device\n"))

    def test_set_ends_by_the_signal_that_stopped_it(self):
        for which in (signal.SIGINT, signal.SIGTERM):
            with start("--demo", "--silent", *SET) as program:
                self.wait_until_held_back(program.pid, which)
                program.send_signal(which)
                output, errors = program.communicate(timeout=30)
            self.assertEqual((program.returncode, errors), (-which, ""))
            # Whether the sequence had begun by then is a matter of microseconds.
            self.assertIn(output, (
                f"{MAPPING}unconfirmed: sent once because it was stopped, and no echo came\n",
                f"{MAPPING}not sent: stopped before\n"))

    def wait_until_held_back(self, pid, which):
        """Waits until a process holds a signal back."""
        bit = 1 << (which - 1)
        while not int(re.search(r"SigBlk:\s*([0-9a-f]+)",
                                Path(f"/proc/{pid}/status").read_text(encoding="ascii"))[1],
                      16) & bit:
            self.assertIsNone(os.waitid(os.P_PID, pid, os.WEXITED | os.WNOHANG | os.WNOWAIT))

    def test_goes_on_where_the_parent_ignores_the_signal(self):
        with start("--demo", "--silent", *SET, preexec_fn=lambda: signal.signal(
                signal.SIGINT, signal.SIG_IGN)) as program:
            self.wait_until_held_back(program.pid, signal.SIGTERM)
            program.send_signal(signal.SIGINT)
            output, _ = program.communicate(timeout=30)
        self.assertEqual((program.returncode, output),
                         (1, f"{MAPPING}unconfirmed: sent twice, and no echo came\n"))

    def test_says_that_no_descriptor_is_left(self):
        for limit in (4, 5):
            done = run("--demo", *SET, preexec_fn=lambda: resource.setrlimit(
                resource.RLIMIT_NOFILE, (limit, limit)))
            self.assertEqual((done.returncode, done.stdout), (1, ""))
            self.assertRegex(done.stderr, "^keyloftctl: .*Too many open files\n$")

    def test_prints_into_no_file_that_got_the_number_of_a_closed_descriptor(self):
        done = subprocess.run(["sh", "-c", f"'{PROGRAM}' --demo save >&-"], capture_output=True,
                              text=True, timeout=60, check=False)
        self.assertEqual((done.returncode, done.stderr),
                         (1, "keyloftctl: cannot write to standard output: Bad file descriptor\n"))

    @unittest.skipIf(os.path.exists("/dev/snd/seq"), "this computer has a sequencer")
    def test_says_what_to_do_where_there_is_no_sequencer(self):
        sentence = "there is no ALSA sequencer: /dev/snd/seq does not exist"
        remedy = 'load it with "sudo modprobe snd-seq"'
        for command in (["list"], SET, ["save"], ["watch"]):
            self.expect(command, 4, "", f"keyloftctl: {sentence}; {remedy}\n")
        self.expect(["doctor"], 4,
                    f"problem  sequencer: {sentence}\n         What to do: {remedy}\n")
        self.expect(["--json", "doctor"], 4, json.dumps(
            {"kind": "finding", "level": "problem", "subject": "sequencer", "text": sentence,
             "remedy": remedy}, separators=(",", ":")) + "\n")

    def test_links_no_window(self):
        libraries = subprocess.run(["ldd", PROGRAM], capture_output=True, text=True, check=True)
        self.assertIn("libasound", libraries.stdout)
        self.assertNotIn("Qt", libraries.stdout)


if __name__ == "__main__":
    sys.exit(unittest.main(verbosity=2))
