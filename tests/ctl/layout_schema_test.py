#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The JSON schema of layouts, which editors use, says what keyloftctl check says. The program is
$KEYLOFTCTL, the folder of the documents $KEYLOFT_DOCS."""

import json
import os
import pathlib
import random
import re
import subprocess
import tomllib
import unittest

import jsonschema

DOCS = pathlib.Path(os.environ["KEYLOFT_DOCS"])
SCHEMA = json.loads((DOCS / "keyloft-layout.schema.json").read_text(encoding="utf-8"))
VALIDATOR = jsonschema.Draft7Validator(SCHEMA)

GOOD = '{ type = "Control Change", channel = 1, controller = 7 }'

ACCEPTED = [
    f"[4AC5F4C4]\n12 = {GOOD}\n",
    f"[4ac5F4c4]\n0 = {GOOD}\n[00000000]\n127 = {GOOD}\n",
    f"[4AC5F4C4]\n012 = {GOOD}\n000 = {GOOD}\n99 = {GOOD}\n100 = {GOOD}\n119 = {GOOD}\n",
    '[4AC5F4C4.1]\ntype = "Note On"\nchannel = 16\ncontroller = 127\n',
    '[4AC5F4C4]\n1.type = "Note Off"\n1.channel = 0x10\n1.controller = 0\n',
    '"4AC5F4C4" = { "1" = { type = "Bend Change", channel = 1, controller = 0 } }\n',
]

REFUSED = [
    "", "# nothing\n", "volume = 7\n", f"12 = {GOOD}\n", "[4AC5F4C4]\n", "[desk]\n",
    f"[4AC5F4C]\n12 = {GOOD}\n", f"[4AC5F4C45]\n12 = {GOOD}\n", f"[4AC5F4CG]\n12 = {GOOD}\n",
    "4AC5F4C4 = 7\n", "4AC5F4C4 = []\n", f"[[4AC5F4C4]]\n12 = {GOOD}\n",
    f"[4AC5F4C4]\n128 = {GOOD}\n", f"[4AC5F4C4]\n200 = {GOOD}\n", f"[4AC5F4C4]\n-1 = {GOOD}\n",
    f'[4AC5F4C4]\n"+12" = {GOOD}\n', f'[4AC5F4C4]\n"" = {GOOD}\n', f"[4AC5F4C4]\nknob = {GOOD}\n",
    f"[4AC5F4C4]\n0x1 = {GOOD}\n",
    "[4AC5F4C4]\n12 = 7\n", f"[4AC5F4C4]\n12 = [{GOOD}]\n", "[4AC5F4C4]\n12 = {}\n",
    '[4AC5F4C4]\n12 = { channel = 1, controller = 7 }\n',
    '[4AC5F4C4]\n12 = { type = "Note On", controller = 7 }\n',
    '[4AC5F4C4]\n12 = { type = "Note On", channel = 1 }\n',
    '[4AC5F4C4]\n12 = { type = "Note On", channel = 1, controller = 7, part = 12 }\n',
    '[4AC5F4C4]\n12 = { type = "Note On", channel = 1, controller = 7, a.b = 1 }\n',
    *(f"[4AC5F4C4]\n12 = {{ type = {value}, channel = 1, controller = 7 }}\n"
      for value in ('"CC"', '"note on"', '"Note On "', '""', "7", "true", '["Note On"]', "{}")),
    *(f'[4AC5F4C4]\n12 = {{ type = "Note On", channel = {value}, controller = 7 }}\n'
      for value in ("0", "17", "-1", '"1"', "1.5", "true", "[1]", "{}", "inf", "10000000000")),
    *(f'[4AC5F4C4]\n12 = {{ type = "Note On", channel = 1, controller = {value} }}\n'
      for value in ("128", "-1", '"7"', "7.5", "false", "[]", "1979-05-27", "07:32:00")),
]


def program_accepts(layout):
    done = subprocess.run([os.environ["KEYLOFTCTL"], "check", "-"], input=layout.encode(),
                          capture_output=True, timeout=60, check=False)
    if done.returncode not in (0, 2):
        raise AssertionError(f"{layout}: {done}")
    return done.returncode == 0


def schema_accepts(layout):
    return VALIDATOR.is_valid(tomllib.loads(layout))


def any_layout(rng):
    """A small layout, in which some things may be wrong, and no name stands twice."""
    def any_of(right, *wrong):
        return rng.choice(wrong) if rng.random() < 0.06 else right
    def part():
        values = {"type": any_of(f'"{rng.choice(["Note On", "Note Off", "Bend Change"])}"',
                                 '"Key Pressure"', '"Note"', "1"),
                  "channel": any_of(str(rng.randint(1, 16)), "0", "17", "-16", "1.25", '"16"'),
                  "controller": any_of(str(rng.randint(0, 127)), "128", "-1", "0.5", "false")}
        if rng.random() < 0.05:
            del values[rng.choice(list(values))]
        if rng.random() < 0.05:
            values[rng.choice(["Type", "note", "chanel"])] = rng.choice(["1", "{}", '""'])
        return "{ " + ", ".join(f"{key} = {value}" for key, value in values.items()) + " }"
    text = ""
    for number in rng.sample(range(16), rng.randint(0, 2) or 1):
        text += f"[4AC{number:X}" + any_of("F4C4", "F4C", "F4C44", "-4C4", "f4c4") + "]\n"
        for key in rng.sample(range(128), rng.randint(0, 6) or 1):
            text += any_of(str(key), str(key + 128), f"0{key}", f"-{key}", f"part{key}")
            text += f" = {any_of(part(), '1', '[]', '{}')}\n"
    return text


class LayoutSchema(unittest.TestCase):
    def test_is_one(self):
        VALIDATOR.check_schema(SCHEMA)

    def test_accepts_what_the_program_accepts(self):
        for layout in ACCEPTED:
            with self.subTest(layout=layout):
                self.assertTrue(program_accepts(layout))
                VALIDATOR.validate(tomllib.loads(layout))

    def test_refuses_what_the_program_refuses(self):
        for layout in REFUSED:
            with self.subTest(layout=layout):
                self.assertFalse(program_accepts(layout))
                self.assertFalse(schema_accepts(layout))

    def test_agrees_with_the_program_on_any_layout(self):
        rng = random.Random(14)
        right = 0
        for _ in range(150):
            layout = any_layout(rng)
            accepted = program_accepts(layout)
            self.assertEqual(schema_accepts(layout), accepted, layout)
            right += accepted
        self.assertTrue(30 < right < 120, right)

    def test_examples_of_the_documents_are_right_but_those_called_wrong(self):
        for name in ("layouts.md", "layouts.zh_CN.md"):
            text = (DOCS / name).read_text(encoding="utf-8")
            examples = re.findall(r"^```toml\n(.*?)^```$", text, re.DOTALL | re.MULTILINE)
            self.assertGreater(len(examples), 2, name)
            for example in examples:
                is_right = not example.startswith("# wrong")
                with self.subTest(document=name, example=example):
                    self.assertEqual(schema_accepts(example), is_right)


if __name__ == "__main__":
    unittest.main()
