#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The Debian package: built twice from the sources, the same each time, and without a flaw."""

import hashlib
import re
import shutil
import unittest

import support
from support import SOURCE, WORK, run

PACKAGE = WORK / "debian"  # what other tests install


def build(folder):
    """Builds the package, tests left out, in a folder of its own; gives what the build printed."""
    shutil.rmtree(folder, ignore_errors=True)
    sources = folder / "keyloft"
    support.copy_sources(sources)
    # The guest runs at the same time and wants the other processor.
    return run("dpkg-buildpackage", "--no-sign", cwd=sources,
               env={"DEB_BUILD_OPTIONS": "nocheck parallel=1",
                    "DEB_BUILD_PROFILES": "nocheck"}).stdout


def sums(folder):
    return {file.name: hashlib.sha256(file.read_bytes()).hexdigest()
            for file in folder.iterdir() if file.suffix in {".deb", ".dsc", ".xz"}}


class DebianPackage(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        support.need("dpkg-buildpackage", "dh")
        WORK.mkdir(exist_ok=True)
        cls.log = build(PACKAGE)

    def deb(self):
        return next(PACKAGE.glob("keyloft_*.deb"))

    def test_second_build_elsewhere_gives_the_same_bytes(self):
        folder = WORK / "debian-again" / "elsewhere"
        build(folder)
        self.assertEqual(len(sums(PACKAGE)), 4)  # sources, their description, program, symbols
        self.assertEqual(sums(folder), sums(PACKAGE))

    def test_lintian_finds_nothing(self):
        support.need("lintian")
        changes = next(PACKAGE.glob("*.changes"))
        output = run("lintian", "-EvIiL", "+pedantic", "--fail-on", "error,warning,info",
                     "--allow-root", changes).stdout
        self.assertEqual(re.findall(r"^[EWIPX]: .*", output, re.MULTILINE), [])
        self.assertFalse(list((SOURCE / "debian").rglob("*lintian-overrides*")))

    def test_compiler_was_given_the_hardening_flags(self):
        support.need("blhc")
        log = WORK / "build.log"
        log.write_text(self.log, encoding="utf-8")
        run("blhc", "--all", log)

    def test_programs_are_hardened(self):
        support.need("hardening-check")
        root = WORK / "unpacked"
        shutil.rmtree(root, ignore_errors=True)
        run("dpkg-deb", "--extract", self.deb(), root)
        for program in support.PROGRAMS:
            run("hardening-check", "--nocfprotection", root / "usr/bin" / program)

    def test_control_files_are_in_order(self):
        support.need("wrap-and-sort")
        changed = run("wrap-and-sort", "--dry-run", "--wrap-always", cwd=SOURCE).stdout
        self.assertEqual(changed, "")


if __name__ == "__main__":
    support.main()
