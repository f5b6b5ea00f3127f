# SPDX-License-Identifier: MIT
"""Where the lines go, and that a press goes on when they can go nowhere."""

import fcntl
import os
from pathlib import Path

import screen_driver
from scenario import Scenario
from transcript import Transcript
from until import until

SMALL = 4096  # bytes, the least that a pipe can hold
WRITE = "1"  # the number of the system call


class Output(Scenario):
    def setUp(self):
        super().setUp()
        self.simulated = self.machine()

    def check_unread_press(self, screen):
        """A press that nobody can read about does what it does."""
        screen.fill_in(**self.COMMAND.inputs)
        self.assertEqual(screen.do(screen_driver.APPLY), self.COMMAND.success)
        self.check_machine(self.simulated)
        self.assertEqual(screen.close(), 0)
        self.assertEqual(screen.errors(), "")

    def test_standard_output_is_closed(self):
        screen = self.open_screen(through=["sh", "-c", 'exec "$0" <&- >&-'])
        for stream in (0, 1):
            # Else the next file that is opened would get the number, and the lines.
            self.assertEqual(os.readlink(f"/proc/{screen.pid}/fd/{stream}"), "/dev/null")
        self.check_unread_press(screen)

    def test_the_reader_has_gone(self):
        reading, writing = os.pipe()
        screen = self.open_screen(stdout=writing)
        os.close(writing)
        os.close(reading)
        self.check_unread_press(screen)

    def test_the_disk_is_full(self):
        with open("/dev/full", "wb") as full:
            screen = self.open_screen(stdout=full)
        self.check_unread_press(screen)

    def test_a_reader_that_does_not_read_holds_the_press_until_it_does(self):
        reading, writing = os.pipe()
        self.addCleanup(os.close, reading)
        fcntl.fcntl(writing, fcntl.F_SETPIPE_SZ, SMALL)
        screen = self.open_screen(stdout=writing)
        os.close(writing)
        screen.fill_in(**self.COMMAND.inputs)
        printed = Transcript.of_now()
        # The first press fills more than half of the pipe.
        self.assertEqual(screen.do(screen_driver.APPLY), self.COMMAND.success)
        screen.press(screen_driver.APPLY)
        until("the press to be held", lambda: self.is_writing(screen))
        self.assertEqual(self.simulated.received_bytes(), self.COMMAND.sequence)
        wanted = printed.start() + 2 * self.COMMAND.confirmed(printed, "4AC5F4C4")
        text = b""
        while len(text) < len(wanted.encode()):
            text += os.read(reading, SMALL)
        self.assertEqual(screen.alert(), self.COMMAND.success)
        self.assertEqual(text.decode(), wanted)
        screen.dismiss()
        self.assertEqual(self.simulated.received_bytes(), 2 * self.COMMAND.sequence)

    @staticmethod
    def is_writing(screen):
        """Whether the program sleeps while it writes to standard output."""
        call = Path(f"/proc/{screen.pid}/syscall").read_text().split()
        return len(call) > 1 and call[:2] == [WRITE, "0x1"]
