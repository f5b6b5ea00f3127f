#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs benchmark programs alternately: each once in every round.

Leaves ROUND-NUMBER.json for each run in the current folder, unless --out names another one.
"""

import argparse
import shlex
import subprocess
from pathlib import Path


def run(programs, out, rounds, min_time, leave_out, once="", first=0):
    """Each program is a command; the first one leaves files of the number `first`. Regular
    expressions for benchmarks' names: `leave_out` for those that do not run, `once` for those that
    run in the first round alone."""
    for number in range(rounds):
        left_out = "|".join(filter(None, [leave_out, once if number else ""]))
        for place, program in enumerate(programs, first):
            subprocess.run(
                [*shlex.split(program), f"--benchmark_out={out}/{number}-{place}.json",
                 "--benchmark_out_format=json", f"--benchmark_min_time={min_time}",
                 *([f"--benchmark_filter=-{left_out}"] if left_out else [])],
                check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def parse_arguments(description):
    parser = argparse.ArgumentParser(description=description)
    parser.add_argument("--out", type=Path, default=Path.cwd())
    parser.add_argument("--rounds", type=int, default=1)
    parser.add_argument("--min-time", type=float, default=0.1, help="seconds for one benchmark")
    parser.add_argument("--leave-out", default="", metavar="NAMES", help="a regular expression")
    parser.add_argument("--once", default="", metavar="NAMES", help="likewise")
    parser.add_argument("program", nargs="+", metavar="COMMAND")
    return parser.parse_args()


def run_as_told(arguments, programs, first=0):
    """Runs some of the programs."""
    run(programs, arguments.out, arguments.rounds, arguments.min_time, arguments.leave_out,
        arguments.once, first)


if __name__ == "__main__":
    told = parse_arguments(__doc__)
    run_as_told(told, told.program)
