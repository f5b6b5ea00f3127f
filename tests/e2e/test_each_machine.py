# SPDX-License-Identifier: MIT
"""Each of the sixteen machines alone is found, chosen, told and confirmed."""

import screen_driver
import wire
from gadgets import CODES
from scenario import Scenario
from transcript import Transcript, echo


class EachMachine(Scenario):
    TIME_LIMIT = 480

    def test_each_machine_alone_is_found_and_confirmed(self):
        screen = self.open_screen()
        screen.fill_in(part=3, kind="Note Off", channel=2, controller=9)
        message = wire.mapping(3, "Note Off", 2, 9)
        mapping = {"part": 3, "type": "Note Off", "channel": 2, "controller": 9}
        for code in CODES:
            with self.subTest(code):
                gadget = self.gadget(code)
                gadget.plug()
                machine = self.simulate([gadget])
                printed = Transcript.of_now()
                screen.new_output()
                self.assertEqual(screen.do(screen_driver.APPLY),
                                 ("设置成功!", "旋钮3--设置成功!"))
                self.assertEqual(screen.text(screen_driver.MACHINE), code)
                self.assertEqual(screen.new_output(),
                                 "NOTE_OFF\n" + printed.probes() + printed.automatic_choice(code)
                                 + printed.sent(code, echo(message)))
                self.assertEqual(machine.received_bytes(), b"".join(wire.sequence(message)))
                self.assertEqual(machine.tables(), {code: {"table": [mapping], "saved": []}})
                machine.stop()
                gadget.unplug()
        self.assertEqual(screen.close(), 0)
