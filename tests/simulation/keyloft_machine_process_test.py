#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The program keyloft-machine as a process, as far as it gets where there is no sequencer."""

import os
import subprocess
import sys
import unittest

PROGRAM = os.environ["KEYLOFT_MACHINE"]
VERSION = os.environ["KEYLOFT_VERSION"]


def run(*arguments, **options):
    return subprocess.run([PROGRAM, *arguments], stdin=subprocess.DEVNULL, capture_output=True,
                          text=True, timeout=60, check=False, **options)


class KeyloftMachine(unittest.TestCase):
    def test_says_its_version(self):
        result = run("--version")
        self.assertEqual((result.returncode, result.stdout, result.stderr),
                         (0, f"keyloft-machine {VERSION}\n", ""))

    def test_explains_every_argument_signal_and_exit_code(self):
        result = run("--help")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        for text in ("CODE", "--all", "--silent", "--delay MS", "--wrong", "--wrong-byte N",
                     "--chatter", "--vanish-after N", "--times N", "--version", "SIGUSR1",
                     "SIGUSR2", "SIGINT", "SIGTERM", "the key p", "the key q", "Exit codes: 0",
                     "0 ended on request", "1 there is no sequencer", "2 the arguments are wrong"):
            self.assertIn(text, result.stdout)
        self.assertLessEqual(max(map(len, result.stdout.splitlines())), 100)

    def test_refuses_wrong_arguments_with_a_sentence_and_2(self):
        result = run("--delay", "x", "4AC5F4C4")
        self.assertEqual((result.returncode, result.stdout, result.stderr),
                         (2, "", 'keyloft-machine: --delay is "x": it has to be a whole number from '
                                 '0 to 60000\nTry "keyloft-machine --help".\n'))

    @unittest.skipIf(os.path.exists("/dev/snd/seq"), "this computer has a sequencer")
    def test_says_what_to_do_where_there_is_no_sequencer(self):
        for arguments in ((), ("--all",), ("4AC0F4C4", "4AC1F4C4", "--silent")):
            with self.subTest(arguments=arguments):
                result = run(*arguments)
                self.assertEqual(
                    (result.returncode, result.stdout, result.stderr),
                    (1, "", "keyloft-machine: there is no ALSA sequencer: /dev/snd/seq does not "
                            'exist; load it with "sudo modprobe snd-seq"\n'))


if __name__ == "__main__":
    sys.exit(unittest.main(verbosity=2))
