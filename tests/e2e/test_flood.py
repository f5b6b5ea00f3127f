# SPDX-License-Identifier: MIT
"""Thousands of messages a second that are nobody's answer, while a command waits for its echo."""

import threading
import time

import screen_driver
import sequencer
import wire
from scenario import LONG, Scenario
from sequencer_program import Flood, SequencerProgram
from transcript import Transcript, echo

RATE = 3000  # a second
LEAST_RATE = RATE / 2  # on a host that does other things meanwhile
SECONDS = 30 if LONG else 0  # at the least
PRESSES = 5
NOISE = bytes((0xBF, 7, 100))  # on no channel that a test uses
MESSAGE = wire.mapping(12, "Note On", 3, 64)
NOTES = [bytes((0x92, 64, 12)), bytes((0x82, 64, 12)), MESSAGE]
SUCCESS = ("设置成功!", "旋钮12--设置成功!")


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
        screen = self.open_screen()
        screen.fill_in(part=12, kind="Note On", channel=3, controller=64)
        other = self.another_program("Other", "Other port")
        printed = Transcript.of_now()
        screen.new_output()
        flood = self.flood(other, NOISE, RATE, sequencer.address("MIDI Client", "Input port"))
        self.assertEqual(screen.do(screen_driver.APPLY), SUCCESS)
        self.assertGreaterEqual(flood.stop(), LEAST_RATE)
        self.assertEqual(screen.new_output(),
                         "NOTE_ON\n" + printed.probes() + printed.automatic_choice("4AC5F4C4")
                         + printed.sent("4AC5F4C4", echo(MESSAGE)))
        self.assertEqual(screen.close(), 0)
        self.assertEqual(machine.received_bytes(), b"".join(wire.sequence(MESSAGE)))

    def test_what_the_machine_itself_pours_out_does_not_hide_its_echo(self):
        source = self.another_program("4AC5F4C4", "4AC5F4C4 MIDI 1")
        machine = AnsweringProgram(source)
        self.addCleanup(machine.stop)
        screen = self.open_screen()
        screen.fill_in(part=12, kind="Note On", channel=3, controller=64)
        flood = self.flood(source, NOISE, RATE)
        end = time.monotonic() + SECONDS
        presses = 0
        while time.monotonic() < end or presses < PRESSES:
            self.assertEqual(screen.do(screen_driver.APPLY), SUCCESS)
            presses += 1
        rate = flood.stop()
        print(f"{presses} presses under {rate:.0f} messages a second", flush=True)
        self.assertGreaterEqual(rate, LEAST_RATE)
        output = screen.output()
        self.assertIn("bf\t7\t64\t\r\n", output)
        self.assertIn("92\t40\tc\t\r\n\r\n设定回显正常\r\n", output)
        confirmed = output.count("设置成功了 \r\n")
        # On a busy host the machine may answer too late, and then gets the sequence once more.
        self.assertGreater(confirmed, presses / 2)
        self.assertEqual(output.count("设置失败obk\r\n"), presses - confirmed)
        self.assertEqual(machine.notes, (2 * presses - confirmed) * NOTES)
        self.assertEqual(screen.close(), 0)
