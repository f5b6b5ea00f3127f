#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The guest's side of script/bench: plugs in a cable for the echo, and runs the benchmarks with the
arguments of rounds.py."""

import shlex
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "tests/e2e"))
import gadgets  # noqa: E402
import rounds  # noqa: E402


def main():
    echo = next((argument for argument in sys.argv if "/echo_bench" in argument), None)
    if not echo:
        rounds.main()
        return
    gadgets.load_drivers()
    # Not a machine's name, which would make a sweep find one.
    gadget = gadgets.Gadget("cable", slot=5)
    try:
        gadget.plug()
        port = gadget.client().ports[0]
        sys.argv.append(f"{echo} " + shlex.join([port, f"hw:{gadget.near_card()},0",
                                                 gadget.raw_device]))
        rounds.main()
    finally:
        gadget.remove()


main()
