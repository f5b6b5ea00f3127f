# SPDX-License-Identifier: MIT
"""Layouts of whole machines, as files and as what the machines hold afterwards."""

import wire

PARTS = 128
# A note on for part 0 is a note off, for most programs.
_TYPES = ["Control Change", "Note Off", "Bend Change", "Note On"]


def mappings(code, turn=0, parts=PARTS):
    """What the first parts of a machine are to send: no two the same, another with each turn."""
    machine = int(code[3], 16)
    # 5 and 128 have no common factor: each controller comes once.
    return [{"part": part, "type": _TYPES[(part + turn) % 4],
             "channel": (part + machine) % 16 + 1,
             "controller": (5 * part + machine + turn) % 128} for part in range(parts)]


def text(held):
    """The layout file for mappings by code."""
    lines = []
    for code, entries in held.items():
        lines.append(f"[{code}]")
        lines += ['{part} = {{ type = "{type}", channel = {channel}, controller = {controller} }}'
                  .format(**entry) for entry in entries]
    return "\n".join(lines) + "\n"


def message(entry):
    return wire.mapping(entry["part"], entry["type"], entry["channel"], entry["controller"])


def sequences(received):
    """The messages of the whole sequences that make up what a machine has received, each only once
    when it was sent again."""
    found = []
    for start in range(0, len(received), 16):
        one = received[start + 12:start + 15]
        if received[start:start + 16] != b"".join(wire.sequence(one)):
            raise AssertionError(f"no sequence: {received[start:start + 16].hex(' ')}")
        if found[-1:] != [one]:
            found.append(one)
    return found
