# SPDX-License-Identifier: MIT
"""Instructions that one call of a function executes, as valgrind counts them: the same each time,
whatever else the computer does."""

import os
import re
import subprocess
import tempfile
from pathlib import Path

# (benchmark, the figures' name, program, benchmark in it, function, its calls there)
COUNTED = [
    ("sweep", "host embedded/ours/16", "sweep_bench", "embedded/ours/16$",
     "judge_device_connect_state_with_id*", 32),
    ("sweep", "host embedded/ours/1000", "sweep_bench", "embedded/ours/1000$",
     "judge_device_connect_state_with_id*", 32),
    ("reading", "host reading/1000", "reading_bench", "reading/1000$", "setup::read_layout*", 1),
    ("command", "host command/send", "command_bench", "command/send", "MIDISend*", 1),
    ("command", "host command/receive", "command_bench", "command/receive", "MyReadProc*", 2),
]


def _count(program, benchmark, function):
    """Of all calls of the function while the benchmark runs once. The libraries' functions are bound
    before, as in what is installed, so that the first call of each counts no more than any other."""
    with tempfile.TemporaryDirectory() as folder:
        out = Path(folder, "callgrind.out")
        subprocess.run(
            ["valgrind", "--tool=callgrind", f"--callgrind-out-file={out}",
             f"--toggle-collect={function}", program, f"--benchmark_filter={benchmark}",
             "--benchmark_min_time=0"],
            env=os.environ | {"LD_BIND_NOW": "1"}, check=True,
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        return int(re.search(r"^totals: (\d+)", out.read_text(), re.MULTILINE)[1])


def measure(names, build):
    """The figures of these benchmarks."""
    return {figures: {"instructions": [_count(build / "bench" / program, benchmark, function)
                                       / calls]}
            for name, figures, program, benchmark, function, calls in COUNTED if name in names}
