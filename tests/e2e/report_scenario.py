#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Tells what became of one scenario in the run that tests/e2e/run_scenarios made."""

import json
import sys
from pathlib import Path


def main():
    results, name = Path(sys.argv[1]), sys.argv[2]
    if (results / "skipped").exists():
        print(f"skipped: {(results / 'skipped').read_text()}")
        return 77
    report_file = results / f"{name}.json"
    if not report_file.exists():
        print(f"{name} was not run to its end; the test e2e.guest says why")
        return 1
    report = json.loads(report_file.read_text())
    for test in report["tests"]:
        print(f"{'FAILED' if test['troubles'] else 'ok'} {test['test']} ({test['seconds']} s)")
        for trouble in test["troubles"]:
            print(trouble)
    passed = report["tests"] and not any(test["troubles"] for test in report["tests"])
    return 0 if passed else 1


sys.exit(main())
