#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs benchmark programs alternately: each once in every round.

Leaves ROUND-NUMBER.json for each run in the current folder, unless --out names another one.
"""

import argparse
import shlex
import subprocess
from pathlib import Path


def run(programs, out, rounds, min_time, leave_out, once=""):
    """Each program is a command. Regular expressions for benchmarks' names: `leave_out` for those
    that do not run, `once` for those that run in the first round alone."""
    for number in range(rounds):
        left_out = "|".join(filter(None, [leave_out, once if number else ""]))
        for place, program in enumerate(programs):
            subprocess.run(
                [*shlex.split(program), f"--benchmark_out={out}/{number}-{place}.json",
                 "--benchmark_out_format=json", f"--benchmark_min_time={min_time}",
                 *([f"--benchmark_filter=-{left_out}"] if left_out else [])],
                check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--out", type=Path, default=Path.cwd())
    parser.add_argument("--rounds", type=int, default=1)
    parser.add_argument("--min-time", type=float, default=0.1, help="seconds for one benchmark")
    parser.add_argument("--leave-out", default="", metavar="NAMES", help="a regular expression")
    parser.add_argument("--once", default="", metavar="NAMES", help="likewise")
    parser.add_argument("program", nargs="+", metavar="COMMAND")
    arguments = parser.parse_args()
    run(arguments.program, arguments.out, arguments.rounds, arguments.min_time,
        arguments.leave_out, arguments.once)


if __name__ == "__main__":
    main()
