#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The guest's side of the end-to-end tests: runs the scenarios, one after the other.

Writes, into the results folder, NAME.json for each scenario with what became of its tests, and the
files that each test leaves.
"""

import argparse
import json
import os
import subprocess
import sys
import time
import unittest
from pathlib import Path

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE))


class Result(unittest.TestResult):
    """One line for each test as it ends, and the same for the host as data."""

    def __init__(self):
        super().__init__()
        self.tests = []
        self._begun = 0.0
        self._troubles = []

    def startTest(self, test):
        super().startTest(test)
        self._begun = time.monotonic()
        self._troubles = []

    def stopTest(self, test):
        super().stopTest(test)
        took = time.monotonic() - self._begun
        name = test.id().split(".", 1)[1]
        self.tests.append({"test": name, "seconds": round(took, 1), "troubles": self._troubles})
        print(f"{'FAILED' if self._troubles else 'ok'} {name} ({took:.1f} s)", flush=True)
        for trouble in self._troubles:
            print(trouble, flush=True)

    def _note(self, error, test):
        self._troubles.append(self._exc_info_to_string(error, test))

    def addError(self, test, err):
        super().addError(test, err)
        self._note(err, test)

    def addFailure(self, test, err):
        super().addFailure(test, err)
        self._note(err, test)

    def addSubTest(self, test, subtest, err):
        super().addSubTest(test, subtest, err)
        if err is not None:
            self._troubles.append(f"{subtest}: {self._exc_info_to_string(err, test)}")

    def addSkip(self, test, reason):
        # Whatever is not run here is run nowhere.
        self._troubles.append(f"skipped: {reason}")


def run(name, results):
    print(f"== {name}", flush=True)
    result = Result()
    begun = time.monotonic()
    # A module that cannot be imported becomes a test that fails.
    suite = unittest.defaultTestLoader.loadTestsFromName(f"test_{name}")
    suite.run(result)
    report = {"seconds": round(time.monotonic() - begun, 1), "tests": result.tests}
    (results / f"{name}.json").write_text(json.dumps(report, ensure_ascii=False, indent=1))
    return bool(result.tests) and not any(test["troubles"] for test in result.tests)


class Counts:
    """How often each line of a program runs: counted in memory, on top of what `archive` has."""

    FOLDER = Path("/tmp/counts")

    def __init__(self, archive):
        self._archive = archive
        self.FOLDER.mkdir()
        subprocess.run(["tar", "-C", self.FOLDER, "-xf", archive], check=True)
        # Also for programs that run as another user.
        subprocess.run(["chmod", "-R", "a+rwX", self.FOLDER], check=True)
        os.environ.update(GCOV_PREFIX=str(self.FOLDER), GCOV_ERROR_FILE="/dev/null")

    def keep(self):
        subprocess.run(["tar", "-C", self.FOLDER, "-cf", self._archive, *os.listdir(self.FOLDER)], check=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--program", type=Path, required=True, help="the keyloft to test")
    parser.add_argument("--build", type=Path, required=True, help="where the machines' program is")
    parser.add_argument("--results", type=Path, required=True)
    parser.add_argument("--counts", type=Path, help="for a build that counts: an archive of counts")
    parser.add_argument("--long", action="store_true", help="storms and the like for minutes")
    parser.add_argument("scenario", nargs="+", help="WIRE of test_wire.py, and so on")
    arguments = parser.parse_args()
    arguments.results.mkdir(parents=True, exist_ok=True)
    os.environ.update(KEYLOFT_E2E_RESULTS=str(arguments.results),
                      KEYLOFT_E2E_LONG="yes" if arguments.long else "",
                      KEYLOFT_E2E_BUILD=str(arguments.build),
                      KEYLOFT_E2E_PROGRAM=str(arguments.program))
    import desktop  # noqa: E402
    import gadgets  # noqa: E402
    gadgets.load_drivers()
    counts = Counts(arguments.counts) if arguments.counts else None
    session = desktop.Desktop(arguments.results)
    try:
        outcomes = [run(name, arguments.results) for name in arguments.scenario]
    finally:
        session.stop()
        if counts:
            counts.keep()
    return 0 if all(outcomes) else 1


sys.exit(main())
