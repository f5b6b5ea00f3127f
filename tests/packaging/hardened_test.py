# SPDX-License-Identifier: MIT
"""The programs of an optimised build are hardened, and a sanitizer build is not in its way."""

import json
import re
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
        # One program stands for all, which have the same flags: see below. The guest runs at the
        # same time and wants the other processor.
        run("cmake", "--build", RELEASE, "--parallel", "1", "--target", "keyloft-machine")
        cls.program = next(RELEASE.glob("*/keyloft-machine"))

    def test_program_passes_the_hardening_check(self):
        support.check_hardening(self.program)

    def test_program_looks_at_the_bounds_of_containers(self):
        imported = run("nm", "--dynamic", "--demangle", self.program).stdout
        self.assertIn("std::__glibcxx_assert_fail(", imported)

    def test_every_program_is_linked_in_the_same_way(self):
        rules = (RELEASE / "build.ninja").read_text(encoding="utf-8")
        for program in support.PROGRAMS:
            build = re.search(rf"^build \S+/{program}: .*?\n\n", rules, re.MULTILINE | re.DOTALL)[0]
            self.assertRegex(build, r"(?m)^  LINK_FLAGS = .*-pie -Wl,-z,relro,-z,now( |$)")

    def test_every_source_is_compiled_with_the_highest_level(self):
        listed = commands(RELEASE)
        self.assertGreater(len(listed), 30)
        for source, words in listed.items():
            self.assertEqual([word for word in words if "FORTIFY" in word],
                             ["-U_FORTIFY_SOURCE", "-D_FORTIFY_SOURCE=3"], source)
            self.assertIn("-fstack-clash-protection", words, source)
            self.assertIn("-fstack-protector-strong", words, source)
            self.assertIn("-D_GLIBCXX_ASSERTIONS", words, source)

    def test_sanitizers_see_what_the_functions_do(self):
        build = WORK / "sanitized"
        shutil.rmtree(build, ignore_errors=True)
        self.addCleanup(shutil.rmtree, build)
        run("cmake", "-S", SOURCE, "-B", build, "-DCMAKE_BUILD_TYPE=Release",
            "-DKEYLOFT_VARIANT=address", "-DKEYLOFT_SCREEN=OFF", "-DKEYLOFT_TESTS=OFF")
        for source, words in commands(build).items():
            self.assertIn("-fsanitize=address,undefined", words, source)
            self.assertFalse([word for word in words if "FORTIFY" in word], source)
