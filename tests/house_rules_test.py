#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The rules of script/house_rules.py that are easily blind: for each, what they have to see and what
they have to leave alone."""

import pathlib
import sys
import unittest

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "script"))

import house_rules

HEAD = ["// SPDX-License-" "Identifier: MIT"]


def complaints(path, *lines, known=()):
    found = house_rules.check_file(path, "\n".join([*HEAD, *lines]) + "\n", {path, *known})
    return [message for _, message in found]


class FunctionLength(unittest.TestCase):
    def check(self, *head, end="}", indent=""):
        for statements, is_long in ((40, False), (61, True)):
            lines = [*head, *[indent + "    call();"] * statements, indent + end]
            self.assertEqual(len(complaints("demo/a.cpp", *lines)), int(is_long), head)

    def test_sees_a_signature_on_one_line(self):
        self.check("int function() {")

    def test_sees_a_signature_that_wraps(self):
        self.check("std::string function(int first,", "                     int second) {")
        self.check("std::string function(", "    int first, int second) const {")
        self.check("Type::Type(int first)", "    : first_(first), second_{} {")

    def test_sees_a_member_inside_its_class(self):
        self.check("class Type {", "    int function() {", indent="    ")

    def test_lets_a_class_or_a_namespace_be_longer(self):
        for head, end in (("struct Type {", "};"), ("namespace {", "} // namespace")):
            self.assertEqual(complaints("demo/a.cpp", head, *["int name;"] * 80, end), [])


class ProtocolFacts(unittest.TestCase):
    facts = ["auto code = 0x4AC0F4C4U + i * 0x10000U;", "auto low = 0xF4C4U;",
             'print("4AC%XF4C4", number);', 'if (text.ends_with("F4C4"))',
             'const char* name = "Note On";', "auto status = 0xB0 | channel;",
             "constexpr Message save = {0xAF, 0x7F, 0x7F};", "append({0xF8});",
             "pause(300'000);", "pause(2000);"]

    def test_stand_in_no_part_of_the_product_but_protocol(self):
        for path in ("Include/a.cpp", "keyloft/a.cpp"):
            for fact in self.facts:
                self.assertEqual(complaints(path, fact),
                                 ["a fact of the protocol stands in protocol/ alone"], fact)

    def test_may_stand_in_protocol_tests_and_fuzz_targets(self):
        for path in ("protocol/a.cpp", "tests/protocol/a.cpp", "fuzz/a.cpp"):
            for fact in self.facts:
                self.assertEqual(complaints(path, fact), [], fact)

    def test_firmware_has_its_own_recogniser(self):
        line = "constexpr std::uint8_t timing_clock = 0xF8;"
        self.assertEqual(len(complaints("simulation/machine.cpp", line)), 1)
        self.assertEqual(complaints("simulation/firmware.cpp", line), [])

    def test_comments_and_the_naming_table_are_left_alone(self):
        self.assertEqual(complaints("Include/a.cpp", "call(); // machine 0x4AC0F4C4 gets 0xF8"), [])
        self.assertEqual(complaints("Include/a.cpp", '    {0xF4C4, 0x4AC0, "4AC%XF4C4", false},'),
                         [])


class Includes(unittest.TestCase):
    def check(self, path, target, is_allowed):
        found = complaints(path, f'#include "{target}"', known=(target,))
        self.assertEqual(found == [], is_allowed, f"{path}: {target}: {found}")

    def test_dependencies_point_down(self):
        for path, target, is_allowed in (
                ("protocol/a.cpp", "protocol/mapping.h", True),
                ("protocol/a.cpp", "midi_service/midi_service.h", False),
                ("Include/a.cpp", "protocol/sequence.h", True),
                ("Include/a.cpp", "setup/exchange.h", False),
                ("keyloft/a.cpp", "Include/main.h", True),
                ("keyloft/a.cpp", "Include/usb_midi.h", False),
                ("setup/a.cpp", "midi_service/midi_service.h", True),
                ("setup/a.cpp", "midi_service/midi_backend.h", False),
                ("setup/a.cpp", "ctl/report.h", False),
                ("ctl/set_command.cpp", "setup/runner.h", True),
                ("ctl/set_command.cpp", "midi_service/midi_backend.h", False),
                ("ctl/main.cpp", "midi_service/alsa/alsa_backend.h", True),
                ("ctl/main.cpp", "keyloft/screen_controller.h", False),
                ("simulation/firmware.cpp", "protocol/mapping.h", True),
                ("simulation/firmware.cpp", "protocol/sequence.h", False),
                ("simulation/a.cpp", "setup/exchange.h", False),
                ("demo/a.cpp", "keyloft/ContentView.h", True),
                ("demo/a.cpp", "ctl/report.h", False),
                ("tests/a.cpp", "ctl/report.h", True)):
            self.check(path, target, is_allowed)

    def test_source_files_are_not_included(self):
        for name in ("report.c", "report.cc", "report.cpp", "report.cxx"):
            self.check("tests/a.cpp", f"ctl/{name}", False)
            self.assertEqual(len(complaints("tests/a.cpp", f"#include <{name}>")), 1, name)
        self.check("tests/a.cpp", "tests/ccpp.h", True)


if __name__ == "__main__":
    unittest.main()
