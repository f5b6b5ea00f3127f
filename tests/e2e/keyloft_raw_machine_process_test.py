#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The program keyloft-raw-machine as a process, as far as it gets without a raw MIDI port."""

import os
import subprocess
import sys
import unittest

PROGRAM = os.environ["KEYLOFT_RAW_MACHINE"]


def run(*arguments):
    result = subprocess.run([PROGRAM, *arguments], stdin=subprocess.DEVNULL, capture_output=True,
                            text=True, timeout=60, check=False)
    return result.returncode, result.stdout, result.stderr


class KeyloftRawMachine(unittest.TestCase):
    def test_refuses_wrong_arguments_with_a_sentence_and_2(self):
        mistakes = {
            (): "DEVICE=CODE is missing",
            ("=4AC5F4C4",): '"=4AC5F4C4" is not DEVICE=CODE or DEVICE=CODE@GADGET, such as '
                            "hw:1,0=4AC5F4C4",
            ("hw:1,0=4AC5",): '"4AC5" is not a device code: it has eight hexadecimal digits, such '
                              "as 4AC5F4C4",
            ("hw:1,0=4AC5F4C4", "--journal"): "--journal needs a value",
        }
        for arguments, sentence in mistakes.items():
            with self.subTest(arguments=arguments):
                self.assertEqual(run(*arguments),
                                 (2, "", f"keyloft-raw-machine: {sentence}\n"
                                         'Try "keyloft-raw-machine --help".\n'))

    def test_explains_its_arguments(self):
        code, output, errors = run("--help")
        self.assertEqual((code, errors), (0, ""))
        for text in ("DEVICE=CODE[@GADGET]", "--journal FILE", "--play", "--silent", "SIGUSR1",
                     "Exit codes"):
            self.assertIn(text, output)

    def test_says_which_port_cannot_be_opened(self):
        self.assertEqual(run("hw:31,7=4AC5F4C4"),
                         (1, "", "keyloft-raw-machine: The raw MIDI port hw:31,7 cannot be opened: "
                                 'No such file or directory. "amidi -l" lists the ports there '
                                 "are.\n"))


if __name__ == "__main__":
    sys.exit(unittest.main(verbosity=2))
