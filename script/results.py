#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Tells what became of the tests that script/test ran: a table of its builds, the slowest tests of
the guest, and every test that failed, was skipped or does not belong to this release of Debian.

Exits with 1 when something failed, or when a build ran fewer tests of a program than
tests/numbers.txt has for it: a test that is lost must not look like one that passes.
"""

import argparse
import collections
import json
import pathlib
import re
import sys
import xml.etree.ElementTree as ElementTree

ROOT = pathlib.Path(__file__).resolve().parent.parent
RESULTS = ROOT / "build/results"
NUMBERS = ROOT / "tests/numbers.txt"
GUEST = ROOT / "build/dev/e2e/share/results"
LEGS = {"quick": ["dev"], "whole": ["dev", "m32", "asan", "tsan", "fuzz", "slow"],
        "long": ["long", "fuzz"], "coverage": ["coverage"]}
# What a test prints that does not belong to this release, before it exits as if it was skipped.
LEFT_OUT = "left out: "
OUTCOMES = ["passed", "failed", "skipped", "left out"]


def outcome_of(case):
    """(what became of a test in CTest's file, why)."""
    said = case.findtext("system-out") or ""
    if case.get("status") == "run":
        return "passed", ""
    if case.get("status") == "fail":
        return "failed", ""
    left_out = re.search(rf"{LEFT_OUT}(.*)", said)
    reason = left_out or re.search(r"(?i)skipped:? *(.*)", said)
    # unittest prints a reason in quotes.
    return "left out" if left_out else "skipped", reason[1].strip("'") if reason else ""


def read_leg(number, name):
    """{test: (outcome, reason)} of one leg."""
    fuzzed = RESULTS / f"{number}-{name}.txt"
    if fuzzed.exists():
        return {f"fuzz.{target}": ("passed", "") for target in
                re.findall(r"^(\w+): \d+ inputs, none breaks it$", fuzzed.read_text(), re.MULTILINE)}
    file = RESULTS / f"{number}-{name}.xml"
    if not file.exists():
        return {}
    return {case.get("name"): outcome_of(case)
            for case in ElementTree.parse(file).getroot().iter("testcase")}


def guest_tests():
    """[(seconds, test)] of the guest's last run."""
    return [(test["seconds"], f"{path.stem}: {test['test']}") for path in GUEST.glob("*.json")
            for test in json.loads(path.read_text())["tests"]]


def numbers_of(tests):
    """How many tests there are of each program: of what their names begin with."""
    return collections.Counter(test.split(".")[0] for test in tests)


def read_numbers():
    """{(leg, program): the least number of its tests}."""
    words = [line.split() for line in NUMBERS.read_text(encoding="utf-8").split("\n")
             if line and not line.startswith("#")]
    return {(leg, program): int(number) for leg, program, number in words}


def lost_tests(wanted, found, legs):
    """A sentence for each program that has fewer tests than it had, or is not in the list."""
    for (leg, program), least in wanted.items():
        if leg in legs and found.get((leg, program), 0) < least:
            yield f"{leg}: {program} has {found.get((leg, program), 0)} tests, not {least}"
    for leg, program in found:
        if (leg, program) not in wanted:
            yield f"{leg}: {program} is not in tests/numbers.txt; script/results.py --record adds it"


def write_numbers(wanted, found):
    head = [line for line in NUMBERS.read_text(encoding="utf-8").split("\n")
            if line.startswith("#")]
    recorded = {leg for leg, _ in found}
    kept = {key: number for key, number in wanted.items() if key[0] not in recorded} | found
    lines = [f"{leg} {program} {number}" for (leg, program), number in sorted(kept.items())]
    NUMBERS.write_text("\n".join([*head, *lines, ""]), encoding="utf-8")


def clock(seconds):
    return f"{int(seconds) // 60}:{int(seconds) % 60:02}"


def print_row(*cells):
    print("{:10}{:>8}{:>8}{:>9}{:>10}{:>9}{:>9}".format(*cells))


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--no-skip", action="store_true", help="a skipped test is a failure")
    parser.add_argument("--record", action="store_true",
                        help="write the numbers of tests into tests/numbers.txt")
    parser.add_argument("what", nargs="?", default="whole", choices=LEGS)
    arguments = parser.parse_args()

    total = collections.Counter()
    found = {}
    notes = []
    seconds = [0, 0]
    print()
    print_row("leg", *OUTCOMES, "build", "tests")
    for line in (RESULTS / "legs.tsv").read_text(encoding="utf-8").splitlines():
        number, name, building, testing, trouble = line.split("\t")
        tests = read_leg(number, name)
        count = collections.Counter(outcome for outcome, _ in tests.values())
        if trouble and not count["failed"]:
            count["failed"] = 1
            notes.append(f"failed: {name}: {trouble}")
        found |= {(name, program): n for program, n in numbers_of(tests).items()}
        notes += [f"{outcome}: {name}: {test} {reason}".rstrip()
                  for test, (outcome, reason) in sorted(tests.items()) if outcome != "passed"]
        total += count
        seconds = [seconds[0] + int(building), seconds[1] + int(testing)]
        print_row(name, *(count[outcome] for outcome in OUTCOMES), clock(int(building)),
                  clock(int(testing)))
    print_row("all", *(total[outcome] for outcome in OUTCOMES), *map(clock, seconds))

    if any(leg == "slow" for leg, _ in found):
        tests = sorted(guest_tests(), reverse=True)
        found[("guest", "tests")] = len(tests)
        print("\nThe slowest tests of the guest:")
        for took, test in tests[:10]:
            print(f"{took:7.1f} s  {test}")
    if notes:
        print("\n" + "\n".join(notes))

    wanted = read_numbers()
    if arguments.record:
        write_numbers(wanted, found)
        return 0
    lost = list(lost_tests(wanted, found, {*LEGS[arguments.what],
                                           *(["guest"] if arguments.what == "whole" else [])}))
    for sentence in lost:
        print(f"script/results.py: {sentence}", file=sys.stderr)
    print(f"\n{total['passed']} passed, {total['failed']} failed, {total['skipped']} skipped"
          + (f", {total['left out']} left out on this release" if total["left out"] else ""))
    skipped = arguments.no_skip and total["skipped"]
    if skipped:
        print("script/test: skipped tests are not allowed here", file=sys.stderr)
    return 1 if total["failed"] or lost or skipped else 0


if __name__ == "__main__":
    sys.exit(main())
