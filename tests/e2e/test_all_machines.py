# SPDX-License-Identifier: MIT
"""All sixteen machines at once: too many to choose among, so nothing is sent."""

import screen_driver
from command import NOTHING_HELD
from gadgets import CODES
from scenario import Scenario
from transcript import Transcript


class AllMachines(Scenario):
    def test_the_alert_lists_all_sixteen_and_nothing_reaches_any(self):
        machines = self.simulate(self.plug(*CODES))
        printed = Transcript.of_now()
        screen = self.open_screen()
        self.assertEqual(screen.new_output(), printed.start())
        screen.choose(screen_driver.MACHINE, "4ACAF4C4")

        self.check_refused(screen, "4ACAF4C4", *CODES)
        self.assertEqual(screen.text(screen_driver.MACHINE), "4ACAF4C4")
        self.assertEqual(screen.do(screen_driver.SAVE), ("保存失败!", "hardware"))
        self.assertEqual(screen.new_output(), printed.refused())

        self.assertEqual(screen.close(), 0)
        self.assertEqual(machines.received(), [])
        self.assertEqual(machines.tables(), {code: NOTHING_HELD for code in CODES})
