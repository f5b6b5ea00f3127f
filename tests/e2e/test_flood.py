# SPDX-License-Identifier: MIT
"""Thousands of messages a second that are nobody's answer, while a command waits for its echo."""

import threading
import time

import screen_driver
import sequencer
from command import NOTE
from scenario import LONG, Scenario
from sequencer_program import Flood, SequencerProgram

RATE = 3000  # a second, if the host is not busy
LEAST = 90000 if LONG else 3000  # messages that are poured in while commands run
CONFIRMED = 5  # commands, at the least
NOISE = bytes((0xBF, 7, 100))  # on no channel that a test uses
NOTES = [bytes((0x92, 64, 12)), bytes((0x82, 64, 12)), NOTE.message]
CONFIRMATION = "设置成功了 \r\n"


class AnsweringProgram:
    """A machine that is a program: it echoes what follows a note pair."""

    def __init__(self, program):
        self._program = program
        self.notes = []
        self._ended = threading.Event()
        self._thread = threading.Thread(target=self._run)
        self._thread.start()

    def _run(self):
        while not self._ended.wait(0.001):
            for note in self._program.receive():
                self.notes.append(note)
                if len(self.notes) % len(NOTES) == 0:
                    while self._program.send([note]) == 0:
                        time.sleep(0.001)

    def stop(self):
        self._ended.set()
        self._thread.join()


class FloodedCommand(Scenario):
    TIME_LIMIT = 480
    COMMAND = NOTE

    def another_program(self, client, port):
        program = SequencerProgram(client, port)
        self.addCleanup(program.close)
        return program

    def flood(self, *arguments):
        flood = Flood(*arguments)
        self.addCleanup(flood.stop)
        return flood

    def test_what_another_program_pours_into_the_port_changes_nothing(self):
        machine = self.machine()
        screen = self.open_filled_in()
        other = self.another_program("Other", "Other port")
        flood = self.flood(other, NOISE, RATE, sequencer.address("MIDI Client", "Input port"))
        presses = 0
        while presses == 0 or flood.sent < LEAST:
            self.check_confirmed(screen, "4AC5F4C4")
            presses += 1
        flood.stop()
        self.assertEqual(screen.close(), 0)
        self.assertEqual(machine.received_bytes(), presses * NOTE.sequence)

    def test_what_the_machine_itself_pours_out_does_not_hide_its_echo(self):
        source = self.another_program("4AC5F4C4", "4AC5F4C4 MIDI 1")
        machine = AnsweringProgram(source)
        self.addCleanup(machine.stop)
        screen = self.open_filled_in()
        flood = self.flood(source, NOISE, RATE)
        presses = 0
        # On a busy host the machine may answer too late, and then gets the sequence once more.
        while flood.sent < LEAST or screen.output().count(CONFIRMATION) < CONFIRMED:
            self.assertEqual(screen.do(screen_driver.APPLY), NOTE.success)
            presses += 1
        rate = flood.stop()
        print(f"{presses} presses under {rate:.0f} messages a second", flush=True)
        output = screen.output()
        self.assertIn("bf\t7\t64\t\r\n", output)
        self.assertIn("92\t40\tc\t\r\n\r\n设定回显正常\r\n", output)
        confirmed = output.count(CONFIRMATION)
        self.assertEqual(output.count("设置失败obk\r\n"), presses - confirmed)
        self.assertEqual(machine.notes, (2 * presses - confirmed) * NOTES)
        self.assertEqual(screen.close(), 0)
