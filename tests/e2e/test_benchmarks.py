# SPDX-License-Identifier: MIT
"""The short benchmarks over the sequencer, with the limits that script/bench has for them."""

import os
import subprocess
from pathlib import Path

from scenario import SCRATCH, Scenario

BENCH = Path(__file__).resolve().parents[2] / "script/bench"


class Benchmarks(Scenario):
    TIME_LIMIT = 900

    def test_figures_are_within_their_limits(self):
        done = subprocess.run(
            ["/usr/bin/python3", BENCH, "--short", "--where", "here", "--build",
             os.environ["KEYLOFT_E2E_BUILD"], "sweep", "hotplug", "echo", "list", "layout", "press"],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
            check=False)
        (SCRATCH / "figures.txt").write_text(done.stdout)
        self.assertEqual(done.returncode, 0, done.stdout)
