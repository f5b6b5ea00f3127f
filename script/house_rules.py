#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks the rules of this project that no other tool checks. Prints FILE:LINE: MESSAGE for each
place that breaks one, and exits with 1 when there was any.

Usage: script/house_rules.py [--root FOLDER]
"""

import argparse
import ast
import pathlib
import re
import subprocess
import sys

FILE_LINES = 500
FUNCTION_LINES = 60
LONG_FILES = {"Include/usb_midi.cpp"}  # the device layer is one unit, as long as it needs to be

CPP = {".cpp", ".h"}
TEXT_WITHOUT_RULES = {".md", ".diff", ".xml", ".svg"}  # their line ends may carry meaning
BINARY = {".png", ".ico", ".seed"}
NAMED_TESTS = "docs/reliability.md"
SPDX = "SPDX-License-" + "Identifier: MIT"  # in two, so that nothing takes it for this file's own

QT = re.compile(r"Q[A-Z]\w*(/\w+)?$|Qt\w+/")
ALSA = re.compile(r"(alsa|sound)/")
QT_FREE = re.compile(r"(protocol|Include|midi_service|setup|ctl|simulation)/|"
                     r"keyloft/(screen_controller|fatal_stop)\.")
ALSA_FOLDERS = re.compile(r"midi_service/alsa/|simulation/|tests/|bench/|fuzz/")

# What a file may include of the project: the first rule that fits its path decides.
MAY_INCLUDE = [
    (r"protocol/", r"protocol/"),
    (r"Include/", r"Include/|midi_service/midi_service\.h$|protocol/"),
    (r"keyloft/main\.cpp$", r"keyloft/|Include/(main|set_device_name)\.h$|midi_service/"),
    (r"keyloft/", r"keyloft/|Include/(main|set_device_name)\.h$|protocol/"),
    (r"midi_service/(alsa|embedded)/", r"midi_service/[^/]+$|midi_service/\1/"),
    (r"midi_service/", r"midi_service/[^/]+$"),
    (r"simulation/firmware\.", r"simulation/firmware\.h$|protocol/mapping\.h$"),
    (r"simulation/", r"simulation/|protocol/|midi_service/"),
    (r"setup/", r"(setup|protocol)/|midi_service/(midi_service|annotated_mutex)\.h$"),
    (r"ctl/(main|doctor|arguments|argument_values|\w+_system)\.",
     r"(ctl|setup|protocol|simulation|midi_service)/"),
    (r"ctl/", r"(ctl|setup|protocol)/|midi_service/midi_service\.h$"),
    (r"demo/", r"demo/|simulation/|keyloft/|Include/|midi_service/|protocol/"),
    (r"(tests|bench|fuzz)/", r""),
]

# (files, pattern, why it is not wanted)
FORBIDDEN = [
    (r"\.(cpp|h|py|cmake)$|(^|/)CMakeLists\.txt$|^script/[a-z]+$",
     r"\b(TO" r"DO|FIX" r"ME|XX" r"X|HA" r"CK)\b", "finish it, or write down how things are"),
    (r"\.(cpp|h)$", r"\bNO" r"LINT", "mend what the linter found, or tune .clang-tidy"),
    (r"\.(cpp|h)$", r"clang-format off", "let clang-format lay it out"),
    (r"\.(cpp|h)$", r"\b(sleep_for|sleep_until|nanosleep)\s*\(|\bQThread::\w*sleep\b",
     "wait for a condition with a deadline"),
    (r"^tests/.*\.cpp$", r"\bq(Sleep|Wait)\s*\(|(?<![\w.>:])u?sleep\s*\((?!useconds_t)",
     "wait for a condition with a deadline"),
    (r"^(keyloft|demo)/(?!last_dialog\.cpp$).*\.(cpp|h)$", r"(\.|->)exec\s*\(|\bQEventLoop\b",
     "open dialogs with open(): nothing but the last one runs an event loop inside the event loop"),
    (r"^(keyloft|demo)/.*\.(cpp|h)$", r"\bQS(ettings|ystemTrayIcon)\b|\b(save|restore)(Geometry|State)\b",
     "nothing is kept between two runs, and there is no tray"),
    (r"\.h$", r"^\s*using namespace\b(?!.*\w[Ll]iterals;)", "a header names what it uses in full"),
]

# (files, pattern) of facts of the protocol, outside comments. They stand in protocol/ alone; the
# firmware, tests and fuzz targets have some a second time, because they judge the others. An example
# of a device code in a text for users is no such fact.
PROTOCOL_FACTS = [
    # codes and names of the family; the device layer has a naming table of its own
    (r"^(Include|keyloft|setup|ctl|simulation|demo|bench)/",
     r"^(?!\s*\{0x\w{4}, 0x).*(0x\w*F4C4|0x4AC|%X\w*F4C4|\"F4C4|\"4AC\")"),
    (r"^(Include|keyloft)/", r"\"4AC\wF4C4\""),
    # names of the message types, their statuses, the clock and the save command
    (r"^(Include|keyloft|setup|ctl|simulation)/",
     r"\"(Note On|Note Off|Control Change|Bend Change)\""),
    (r"^(Include|keyloft|setup|ctl|demo|simulation/(?!firmware\.cpp$))",
     r"\b0x([9BE]0|F8|AF)\b"),
    # the pauses and the wait
    (r"^(Include|keyloft|setup|ctl)/", r"\b(2'?000|300'?000|(2|300)ms)\b"),
]


def listed_files(root):
    """The project's files: those that Git tracks or would track."""
    out = subprocess.run(
        ["git", "-C", str(root), "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
        check=True, capture_output=True, text=True).stdout
    return sorted(path for path in set(out.split("\0")) if path and (root / path).is_file())


def includes(lines):
    """(line number, opening character, path) of each include."""
    for number, line in enumerate(lines, 1):
        found = re.match(r'\s*#\s*include\s*([<"])([^>"]+)[>"]', line)
        if found:
            yield number, found[1], found[2]


def check_includes(path, lines, known):
    for number, opening, target in includes(lines):
        if re.search(r"\.(c|cc|cpp|cxx)$", target):
            yield number, f"compile this file instead of including it: {target}"
            continue
        if opening == "<":
            if QT.match(target) and QT_FREE.match(path):
                yield number, f"no Qt here: {target}"
            if ALSA.match(target) and not ALSA_FOLDERS.match(path):
                yield number, f"no alsa-lib here: {target}"
            continue
        if target not in known:
            if not re.search(r"\.moc$", target):
                yield number, f"name the file from the project's folder: {target}"
            continue
        for who, what in MAY_INCLUDE:
            rule = re.match(who, path)
            if rule:
                if not re.match(rule.expand(what) if rule.groups() else what, target):
                    yield number, f"dependencies point down: {path} may not include {target}"
                break


def check_own_header_first(path, lines, known):
    own = re.sub(r"\.cpp$", ".h", path)
    found = list(includes(lines))
    if path.endswith(".cpp") and own in known and (not found or found[0][2] != own):
        yield found[0][0] if found else 1, f"include {own} first"


def check_form(path, lines, text):
    if text and not text.endswith("\n"):
        yield len(lines), "no newline at the end"
    if text.endswith("\n\n"):
        yield len(lines), "empty line at the end"
    for number, line in enumerate(lines, 1):
        if "\r" in line:
            yield number, "carriage return"
        elif line != line.rstrip():
            yield number, "white space at the end of the line"
        if "\t" in line and pathlib.PurePath(path).suffix in CPP | {".py"}:
            yield number, "tab"


def check_first_lines(path, lines):
    suffix = pathlib.PurePath(path).suffix
    script = bool(lines) and lines[0].startswith("#!")
    if suffix not in CPP and suffix != ".py" and not script:
        return
    at = 1 if script else 0
    if len(lines) <= at or SPDX not in lines[at]:
        yield at + 1, f"{SPDX} belongs here"
    if suffix == ".h" and "#pragma once" not in lines[:3]:
        yield 1, "a header starts with #pragma once"


def check_lengths(path, lines):
    suffix = pathlib.PurePath(path).suffix
    if suffix in CPP | {".py"} and len(lines) > FILE_LINES and path not in LONG_FILES:
        yield FILE_LINES + 1, f"{len(lines)} lines are more than {FILE_LINES}"
    if suffix == ".py":
        for node in ast.walk(ast.parse("\n".join(lines))):
            if isinstance(node, (ast.FunctionDef, ast.AsyncFunctionDef)):
                length = node.end_lineno - node.lineno + 1
                if length > FUNCTION_LINES:
                    yield node.lineno, f"{length} lines are more than {FUNCTION_LINES}: {node.name}"
    if suffix in CPP:
        yield from check_cpp_functions(lines)


def check_cpp_functions(lines):
    """A function, or a block in it, starts at a line that may go on in deeper ones up to an opening
    brace, and ends at the next closing brace of the same depth (clang-format sees to that)."""
    starts = {}
    for number, line in enumerate(lines, 1):
        depth = len(line) - len(line.lstrip())
        start = starts.get(depth)
        if line.strip() == "}" and start:
            if number - start + 1 > FUNCTION_LINES:
                yield start, f"{number - start + 1} lines are more than {FUNCTION_LINES}"
        elif line and not re.match(r"\s*(\}|#|//|(public|protected|private):)", line):
            starts[depth] = number


def check_forbidden(path, lines):
    for files, pattern, why in FORBIDDEN:
        if re.search(files, path):
            for number, line in enumerate(lines, 1):
                found = re.search(pattern, line)
                if found:
                    yield number, f"{found[0].strip()}: {why}"


def check_protocol_facts(path, lines):
    if pathlib.PurePath(path).suffix not in CPP:
        return
    patterns = [pattern for files, pattern in PROTOCOL_FACTS if re.search(files, path)]
    for number, line in enumerate(lines, 1):
        code = line.partition("//")[0]
        if any(re.search(pattern, code) for pattern in patterns):
            yield number, "a fact of the protocol stands in protocol/ alone"


def check_named_tests(root, known):
    """The last column of each table there names tests by a part of their names, all of which exist."""
    tests = "".join((root / path).read_text(encoding="utf-8") for path in known
                    if path.startswith("tests/") and pathlib.PurePath(path).suffix in CPP | {".py"})
    lines = (root / NAMED_TESTS).read_text(encoding="utf-8").splitlines()
    for number, line in enumerate(lines, 1):
        if line.startswith("|"):
            for name in re.findall(r"`([^`]+)`", line.rstrip("|").rpartition("|")[2]):
                if name not in tests:
                    yield number, f"no test has this name: {name}"


def check_file(path, text, known):
    """(line number, message) of everything in a file that breaks a rule."""
    suffix = pathlib.PurePath(path).suffix
    lines = text.split("\n")[:-1] if text.endswith("\n") else text.split("\n")
    if suffix not in TEXT_WITHOUT_RULES:
        yield from check_form(path, lines, text)
    yield from check_first_lines(path, lines)
    yield from check_lengths(path, lines)
    yield from check_forbidden(path, lines)
    yield from check_protocol_facts(path, lines)
    if suffix in CPP:
        yield from check_includes(path, lines, known)
        yield from check_own_header_first(path, lines, known)


def main():
    parser = argparse.ArgumentParser(description="Checks the rules that no other tool knows.")
    parser.add_argument("--root", type=pathlib.Path, metavar="FOLDER",
                        default=pathlib.Path(__file__).resolve().parent.parent,
                        help="the work tree to check (default: this one)")
    root = parser.parse_args().root
    broken = 0
    known = listed_files(root)
    for path in known:
        if pathlib.PurePath(path).suffix in BINARY:
            continue
        text = (root / path).read_bytes().decode("utf-8")
        for number, message in check_file(path, text, set(known)):
            print(f"{path}:{number}: {message}")
            broken += 1
    for number, message in check_named_tests(root, known):
        print(f"{NAMED_TESTS}:{number}: {message}")
        broken += 1
    return 1 if broken else 0


if __name__ == "__main__":
    sys.exit(main())
