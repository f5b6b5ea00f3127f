#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The programs of an optimised build are hardened, and a sanitizer build is not in its way."""

import json
import shutil
import unittest

import support
from support import SOURCE, WORK, run

RELEASE = WORK / "release"


def commands(build):
    """The compiler's command line for each of the project's own sources."""
    entries = json.loads((build / "compile_commands.json").read_text(encoding="utf-8"))
    return {entry["file"]: entry["command"].split() for entry in entries}


class Hardened(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        support.need("hardening-check", "nm")
        WORK.mkdir(exist_ok=True)
        run("cmake", "--preset", "release", "-B", RELEASE, cwd=SOURCE)
        # The guest runs at the same time and wants the other processor.
        run("cmake", "--build", RELEASE, "--parallel", "1", "--target", *support.PROGRAMS)
        cls.programs = [next(RELEASE.glob(f"*/{name}")) for name in support.PROGRAMS]

    def test_programs_pass_the_hardening_check(self):
        for program in self.programs:
            run("hardening-check", "--nocfprotection", program)

    def test_programs_look_at_the_bounds_of_containers(self):
        for program in self.programs:
            imported = run("nm", "--dynamic", "--demangle", program).stdout
            self.assertIn("std::__glibcxx_assert_fail(", imported, program)

    def test_every_source_is_compiled_with_the_highest_level(self):
        listed = commands(RELEASE)
        self.assertGreater(len(listed), 30)
        for source, words in listed.items():
            self.assertEqual([word for word in words if "FORTIFY" in word],
                             ["-U_FORTIFY_SOURCE", "-D_FORTIFY_SOURCE=3"], source)
            self.assertIn("-fstack-clash-protection", words, source)
            self.assertIn("-fstack-protector-strong", words, source)

    def test_sanitizers_see_what_the_functions_do(self):
        build = WORK / "sanitized"
        shutil.rmtree(build, ignore_errors=True)
        self.addCleanup(shutil.rmtree, build)
        run("cmake", "-S", SOURCE, "-B", build, "-DCMAKE_BUILD_TYPE=Release",
            "-DKEYLOFT_VARIANT=address", "-DKEYLOFT_SCREEN=OFF", "-DKEYLOFT_TESTS=OFF")
        for source, words in commands(build).items():
            self.assertIn("-fsanitize=address,undefined", words, source)
            self.assertFalse([word for word in words if "FORTIFY" in word], source)


if __name__ == "__main__":
    support.main()
