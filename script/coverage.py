#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Reads how often each line ran in build/coverage, prints the share of lines that did, by file, and
each line that did not with the reason that tests/uncovered.txt has for it. Exits with 1 when the
share is too small, or a line that has a reason is not there any more.

Usage: script/coverage.py
"""

import json
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = ROOT / "build" / "coverage"
REASONS = ROOT / "tests" / "uncovered.txt"
WANTED = 98.0  # per cent
FOLDERS = ["protocol/", "Include/", "keyloft/", "midi_service/", "simulation/", "setup/", "ctl/"]


def count_lines():
    """For each file, whether each of its lines ran, by number."""
    report = subprocess.run(
        ["gcovr", "--root", ROOT, "--object-directory", BUILD, "--json",
         *(word for folder in FOLDERS for word in ("--filter", folder)), BUILD],
        check=True, capture_output=True, text=True, cwd=ROOT).stdout
    return {file["file"]: {line["line_number"]: line["count"] > 0 for line in file["lines"]
                           if not line.get("gcovr/noncode")}
            for file in json.loads(report)["files"]}


def read_reasons():
    """{(path, the line's text): reason}, out of blocks of a reason and lines "PATH: TEXT"."""
    reasons = {}
    lines = [line for line in REASONS.read_text(encoding="utf-8").split("\n")
             if not line.startswith("#")]
    for block in re.split(r"\n\n+", "\n".join(lines).strip("\n")):
        reason, *places = block.split("\n")
        for place in places:
            path, text = place.split(": ", 1)
            reasons[path, text.strip()] = reason
    return reasons


def main():
    if sys.argv[1:]:
        print(__doc__.strip())
        return 0 if sys.argv[1:] in (["--help"], ["-h"]) else 2
    reasons = read_reasons()
    files = count_lines()
    for path, ran in files.items():
        share = 100 * sum(ran.values()) / len(ran)
        print(f"{share:5.1f} % of {len(ran):4}  {path}")
    for path, ran in files.items():
        texts = (ROOT / path).read_text(encoding="utf-8").split("\n")
        for number in sorted(number for number, did in ran.items() if not did):
            text = texts[number - 1].strip()
            print(f"{path}:{number}: {text}  -- {reasons.get((path, text), 'NO REASON')}")
    lost = [(path, text) for path, text in reasons
            if text not in map(str.strip, (ROOT / path).read_text(encoding="utf-8").split("\n"))]
    for path, text in lost:
        print(f"{path}: not there any more: {text}", file=sys.stderr)
    total = sum(len(ran) for ran in files.values())
    share = 100 * sum(sum(ran.values()) for ran in files.values()) / total
    print(f"{share:.2f} % of {total} lines ran; {WANTED:.0f} % have to")
    return 0 if share >= WANTED and not lost else 1


if __name__ == "__main__":
    sys.exit(main())
