#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What bash offers behind the beginning of a command line of keyloftctl's."""

import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

PROGRAM = os.environ["KEYLOFTCTL"]
COMPLETION = os.environ["KEYLOFTCTL_COMPLETION"]
SCRIPT = """
source "$COMPLETION"
COMP_WORDS=("$@")
COMP_CWORD=$(($# - 1))
_keyloftctl keyloftctl "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
((${#COMPREPLY[@]} == 0)) || printf '%s\\n' "${COMPREPLY[@]}"
"""
OPTIONS = ["--machine", "--json", "--demo", "--help", "--version"]
FAULTS = ["--silent", "--delay", "--wrong", "--wrong-byte", "--chatter", "--vanish-after",
          "--times"]


def offered(*words, apart=None):
    """What is offered for the last of these words, which the shell has taken apart."""
    done = subprocess.run(["bash", "-c", SCRIPT, "bash", PROGRAM, *words], capture_output=True,
                          text=True, check=True, env={**os.environ, "COMPLETION": COMPLETION})
    assert done.stderr == "", done.stderr
    return [word for word in done.stdout.split(apart) if word]


class Completion(unittest.TestCase):
    def test_offers_commands(self):
        self.assertEqual(offered(""), ["list", "set", "save", "check", "apply", "keep", "watch",
                                       "identify", "doctor"])
        self.assertEqual(offered("s"), ["set", "save"])
        self.assertEqual(offered("--json", "-m", "4AC5F4C4", "@", "24", ":", "0", "wa"), ["watch"])
        self.assertEqual(offered("list", ""), [])

    def test_offers_options_that_fit_the_command(self):
        self.assertEqual(offered("-"), OPTIONS)
        self.assertEqual(offered("list", "--"), OPTIONS)
        self.assertEqual(offered("set", "1", "--"), [*OPTIONS, "--save", "--gentle"])
        self.assertEqual(offered("save", "--"), [*OPTIONS, "--gentle"])
        self.assertEqual(offered("check", "a.toml", "--"), OPTIONS)
        self.assertEqual(offered("apply", "--"), [*OPTIONS, "--save", "--available", "--gentle"])
        self.assertEqual(offered("keep", "a.toml", "--"), OPTIONS)
        self.assertEqual(offered("identify", "--layout", "a.toml", "--"),
                         [*OPTIONS, "--yes", "--layout", "--then"])
        self.assertEqual(offered("--demo", "--"), [*OPTIONS, *FAULTS])
        self.assertEqual(offered("save", "--g"), ["--gentle"])

    def test_offers_the_arguments_of_set(self):
        numbers = [str(number) for number in range(128)]
        self.assertEqual(offered("set", ""), numbers)
        self.assertEqual(offered("set", "12", ""),
                         ["note-on", "note-off", "control-change", "bend-change"])
        self.assertEqual(offered("set", "12", "note-on", ""), numbers[1:17])
        self.assertEqual(offered("set", "12", "--demo", "=", "all", "note-on", "1", "12"),
                         ["12", "120", "121", "122", "123", "124", "125", "126", "127"])
        self.assertEqual(offered("set", "12", "note-on", "1", "7", ""), [])

    def test_offers_layout_files_and_folders(self):
        with tempfile.TemporaryDirectory() as folder:
            for name in ("desk.toml", "de sk.toml", "notes.txt"):
                (pathlib.Path(folder) / name).touch()
            (pathlib.Path(folder) / "desks").mkdir()
            for command in ("check", "apply", "keep"):
                for words in ([command], [command, "other.toml"], ["--json", command],
                              ["identify", "--layout"], ["identify", "--then", "="]):
                    found = offered(*words, folder + "/de", apart="\n")
                    self.assertEqual(sorted(found), [f"{folder}/{name}" for name in
                                                     ("de sk.toml", "desk.toml", "desks")])

    def test_offers_the_machines_that_are_there(self):
        for option in (["-m"], ["--machine"], ["--machine", "="]):
            self.assertEqual(offered("--demo", *option, ""), ["4AC5F4C4"])
            self.assertEqual(offered("--demo", *option, "5"), [])
        self.assertEqual(offered("-m", "4AC5F4C4", "@", ""), [])

    def test_offers_values(self):
        self.assertEqual(offered("--demo", "="), ["all", "4AC5F4C4"])
        self.assertEqual(offered("--demo", "=", "a"), ["all"])
        self.assertEqual(offered("--demo", "--wrong-byte", ""), ["1", "2", "3"])
        self.assertEqual(offered("--demo", "--delay", ""), [])

    def test_knows_every_option_and_command_of_the_help(self):
        helped = subprocess.run([PROGRAM, "--help"], capture_output=True, text=True,
                                check=True).stdout
        options = set(re.findall(r"^  (?:-\w, )?(--[a-z-]+)", helped, re.MULTILINE))
        commands = re.findall(r"^  ([a-z]+) ", helped, re.MULTILINE)
        self.assertEqual(offered(""), commands)
        self.assertEqual({option for command in commands
                          for option in offered("--demo", command, "--")}, options)


if __name__ == "__main__":
    sys.exit(unittest.main(verbosity=2))
