#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The guest's side of script/bench: plugs in a cable for the echo, and then sixteen machines for the
layouts, and runs the benchmarks with the arguments of rounds.py."""

import contextlib
import os
import shlex
import sys
import tempfile
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "tests/e2e"))
import gadgets  # noqa: E402
import machines  # noqa: E402
import rounds  # noqa: E402


@contextlib.contextmanager
def plugged(*codes_and_slots):
    gadgets.load_drivers()
    with contextlib.ExitStack() as stack:
        made = []
        for code, slot in codes_and_slots:
            made.append(gadgets.Gadget(code, slot))
            stack.callback(made[-1].remove)
            made[-1].bind()
        for gadget in made:
            gadget.wait_until_plugged()
        yield made


@contextlib.contextmanager
def all_machines(build):
    """The sixteen machines of the family, which answer."""
    with plugged(*((code, None) for code in gadgets.CODES)) as made, \
            tempfile.TemporaryDirectory() as folder:
        os.environ["XDG_RUNTIME_DIR"] = folder  # for keyloftctl's locks
        simulated = machines.Machines(build / "tests/e2e/keyloft-raw-machine", made, Path(folder))
        try:
            yield
        finally:
            simulated.stop()


def main():
    arguments = rounds.parse_arguments(__doc__)
    layouts = [program for program in arguments.program if "/layout_" in program]
    others = [program for program in arguments.program if program not in layouts]
    echo = next((program for program in others if "/echo_bench" in program), None)
    if echo:
        # Not a machine's name, which would make a sweep find one.
        with plugged(("cable", 5)) as (cable,):
            others.append(f"{echo} " + shlex.join([cable.client().ports[0],
                                                   f"hw:{cable.near_card()},0",
                                                   cable.raw_device]))
            rounds.run_as_told(arguments, others)
    elif others:
        rounds.run_as_told(arguments, others)
    if layouts:
        with all_machines(Path(shlex.split(layouts[0])[0]).parents[1]):
            rounds.run_as_told(arguments, layouts, first=len(others))


main()
