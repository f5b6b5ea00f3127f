# SPDX-License-Identifier: MIT
"""The installed keyloft-machine beside keyloft, with no USB at all."""

import json
import os
import signal
import subprocess
from pathlib import Path

import screen_driver
import wire
from scenario import SCRATCH, Scenario
from transcript import Transcript, echo
from until import until


class MachineProgram(Scenario):
    def test_it_takes_the_machine_s_place(self):
        program = Path(os.environ["KEYLOFT_E2E_PROGRAM"]).with_name("keyloft-machine")
        output, errors = SCRATCH / "machine.out", SCRATCH / "machine.err"
        with open(output, "wb") as out, open(errors, "wb") as err:
            machine = subprocess.Popen([program, "4AC7F4C4"], stdin=subprocess.DEVNULL, stdout=out,
                                       stderr=err)
        self.addCleanup(machine.wait)
        self.addCleanup(machine.kill)
        until("the machine", lambda: " of the sequencer\n" in output.read_text())
        screen = self.open_filled_in()
        self.check_confirmed(screen, "4AC7F4C4")
        printed = Transcript.of_now()
        self.assertEqual(screen.do(screen_driver.SAVE), ("hardware", "保存成功!"))
        self.assertEqual(screen.new_output(), printed.sent("4AC7F4C4", echo(wire.SAVE)))
        self.assertEqual(screen.close(), 0)

        # It counts a message behind a whole sequence alone, and two came.
        machine.send_signal(signal.SIGUSR2)
        until("the tables", lambda: output.read_text().endswith("}\n"))
        shown = output.read_text().splitlines()
        self.assertRegex(shown[0], r"^4AC7F4C4  client \d+ of the sequencer$")
        self.assertEqual(shown[1:3], ["4AC7F4C4  part 3: Control Change, channel 2, controller 9",
                                      "4AC7F4C4  saved: 1 mapping"])
        self.assertEqual([json.loads(line) for line in shown[3:]],
                         [{"machine": "4AC7F4C4", "table": [self.COMMAND.mapping],
                           "saved": [self.COMMAND.mapping]}])

        machine.send_signal(signal.SIGUSR1)
        until("it is back", lambda: output.read_text().count(" of the sequencer\n") == 2)
        shown = output.read_text().splitlines()
        self.assertEqual(shown[-2], "4AC7F4C4  power cycle: back to 1 mapping")
        machine.terminate()
        self.assertEqual(machine.wait(60), 0)
        self.assertEqual(errors.read_text(), "")
