# SPDX-License-Identifier: MIT
"""The parts of a machine on USB are found by moving them."""

import json
import signal

import layouts
from keyloftctl import CODE, KeyloftCtl, Lines


def identifying(part):
    """What a part is to send meanwhile: controllers from 120 on would be mode messages."""
    channel, controller = (16, part) if part < 120 else (15, part - 8)
    return {"part": part, "type": "Control Change", "channel": channel, "controller": controller}


class Identify(KeyloftCtl):
    def test_every_part_is_named_when_it_moves_and_the_layout_comes_at_the_end(self):
        machine = self.machine("--play")
        held = layouts.mappings(CODE)
        file = self.write_layout({CODE: held})
        process = self.start("--json", "identify", "--yes", "--layout", file, "--then", file)
        lines, notes = Lines(process.stdout), Lines(process.stderr)
        while "press or turn a part" not in notes.next():
            pass
        for _ in range(2):
            # The question for the tables is what makes the machine's parts move.
            self.assertEqual(machine.tables(), {CODE: {
                "table": [identifying(part) for part in range(layouts.PARTS)], "saved": []}})
            for number, entry in enumerate(held, start=2):  # behind the line with the machine
                line = json.loads(lines.next())
                self.assertEqual((line["kind"], line["machine"], line["part"]),
                                 ("part", CODE, entry["part"]))
                self.assertEqual({"part": line["part"], **line["layout"]},
                                 {**entry, "place": f"{file}:{number}:1"})
        process.send_signal(signal.SIGINT)
        self.assertEqual(json.loads(lines.next())["confirmed"], layouts.PARTS)
        self.assertEqual(process.wait(60), 0)
        self.assertEqual(machine.tables(), {CODE: {"table": held, "saved": []}})
