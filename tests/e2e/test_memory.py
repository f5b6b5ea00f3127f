# SPDX-License-Identifier: MIT
"""keyloft with little memory to have."""

import subprocess
from pathlib import Path

import command
import screen_driver
from scenario import Scenario

GROUPS = Path("/sys/fs/cgroup")
LIMIT = 32 * 1024 * 1024  # bytes; pages of libraries that other programs read first do not count


class Memory(Scenario):
    def setUp(self):
        super().setUp()
        if not (GROUPS / "cgroup.controllers").exists():
            subprocess.run(["mount", "-t", "cgroup2", "none", GROUPS], check=True)
        (GROUPS / "cgroup.subtree_control").write_text("+memory")
        self.group = GROUPS / "small"
        self.group.mkdir()
        self.addCleanup(self.group.rmdir)
        (self.group / "memory.max").write_text(str(LIMIT))

    def test_a_press_takes_no_more_than_32_megabytes(self):
        machine = self.machine()
        screen = self.open_screen(
            through=["sh", "-c", f'echo $$ >{self.group}/cgroup.procs; exec "$0"'])
        screen.fill_in(**command.INPUTS)
        self.assertEqual(screen.do(screen_driver.APPLY), command.SUCCESS)
        self.assertEqual(machine.tables(), {"4AC5F4C4": command.HELD})
        self.assertIn(str(screen.pid), (self.group / "cgroup.procs").read_text().split())
        self.assertEqual(screen.close(), 0)
        self.assertIn("oom_kill 0\n", (self.group / "memory.events").read_text())
        print("at most", (self.group / "memory.peak").read_text().strip(), "bytes", flush=True)
