# SPDX-License-Identifier: MIT
"""Each of the sixteen machines alone is found, chosen, told and confirmed."""

import screen_driver
from command import Command
from gadgets import CODES
from scenario import Scenario


class EachMachine(Scenario):
    TIME_LIMIT = 480
    COMMAND = Command(part=3, kind="Note Off", channel=2, controller=9)

    def test_each_machine_alone_is_found_and_confirmed(self):
        screen = self.open_filled_in()
        for code in CODES:
            with self.subTest(code):
                gadget = self.gadget(code)
                gadget.plug()
                machine = self.simulate([gadget])
                screen.new_output()
                self.check_confirmed(screen, code)
                self.assertEqual(screen.text(screen_driver.MACHINE), code)
                self.check_machine(machine, code=code)
                machine.stop()
                gadget.unplug()
        self.assertEqual(screen.close(), 0)
