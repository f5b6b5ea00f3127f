#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The part of a scenario that an ordinary user plays, with a display and a session of his own."""

import os
import sys
import unittest
from pathlib import Path

import desktop
import screen_driver
from command import USUAL, failure
from sequencer_advice import NO_PERMISSION
from transcript import Transcript
from until import until

NODE = "/dev/snd/seq"


class OrdinaryUser(unittest.TestCase):
    maxDiff = None

    def test_is_refused_and_then_served(self):
        folder = Path(os.environ["HOME"])
        session = desktop.Desktop(folder, display=8)
        self.addCleanup(session.stop)
        screen = screen_driver.Screen(os.environ["KEYLOFT_E2E_PROGRAM"], folder)
        self.addCleanup(screen.kill)
        self.assertEqual(screen.new_output(), Transcript([]).start())
        screen.fill_in(**USUAL.inputs)
        self.assertEqual(screen.errors(), NO_PERMISSION)
        self.assertEqual(screen.do(screen_driver.APPLY), failure())
        self.assertEqual(screen.new_output(), USUAL.refused(Transcript([]), "4AC0F4C4"))
        self.assertEqual(screen.errors(), 2 * NO_PERMISSION)
        print("refused", flush=True)
        until("the permission", lambda: os.access(NODE, os.R_OK | os.W_OK))
        printed = Transcript.of_now()
        self.assertEqual(screen.do(screen_driver.APPLY), USUAL.success)
        self.assertEqual(screen.new_output(), USUAL.confirmed(printed, "4AC6F4C4"))
        self.assertEqual(screen.errors(), 2 * NO_PERMISSION)
        self.assertEqual(screen.close(), 0)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
