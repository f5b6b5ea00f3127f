# SPDX-License-Identifier: MIT
"""keyloft with little memory to have."""

import subprocess
from pathlib import Path

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
        screen = self.open_filled_in(
            through=["sh", "-c", f'echo $$ >{self.group}/cgroup.procs; exec "$0"'])
        self.check_confirmed(screen, "4AC5F4C4")
        self.check_machine(machine)
        self.assertIn(str(screen.pid), (self.group / "cgroup.procs").read_text().split())
        self.assertEqual(screen.close(), 0)
        self.assertIn("oom_kill 0\n", (self.group / "memory.events").read_text())
        print("at most", (self.group / "memory.peak").read_text().strip(), "bytes", flush=True)
