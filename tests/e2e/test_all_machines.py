# SPDX-License-Identifier: MIT
"""All sixteen machines at once: too many to choose among, so nothing is sent."""

import screen_driver
from gadgets import CODES
from scenario import Scenario
from transcript import Transcript

MESSAGE = "设置失败,检查连接状态\n[当前可选-选项-连接列表]\n"


class AllMachines(Scenario):
    def test_the_alert_lists_all_sixteen_and_nothing_reaches_any(self):
        gadgets = self.plug(*CODES)
        machines = self.simulate(gadgets)
        printed = Transcript.of_now()
        screen = self.open_screen()
        self.assertEqual(screen.new_output(), printed.start())
        screen.choose(screen_driver.MACHINE, "4ACAF4C4")

        self.assertEqual(screen.do(screen_driver.APPLY),
                         ("设置失败!", MESSAGE + "\n".join(CODES)))
        self.assertEqual(screen.new_output(),
                         "CONTROL_CHANGE\n" + printed.probes() + printed.manual_choice("4ACAF4C4")
                         + printed.refused())
        self.assertEqual(screen.text(screen_driver.MACHINE), "4ACAF4C4")
        self.assertEqual(screen.do(screen_driver.SAVE), ("保存失败!", "hardware"))
        self.assertEqual(screen.new_output(), printed.refused())

        self.assertEqual(screen.close(), 0)
        self.assertEqual(machines.received(), [])
        self.assertEqual(machines.tables(), {code: {"table": [], "saved": []} for code in CODES})
