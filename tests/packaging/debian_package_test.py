# SPDX-License-Identifier: MIT
"""The Debian package, built from the sources for other tests, too, and what the build says."""

import shutil
import unittest

import support
from documents_test import dead_links
from support import PACKAGE, WORK, run


class DebianPackage(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        support.need("dpkg-buildpackage", "dh")
        WORK.mkdir(exist_ok=True)
        cls.log = support.build_package(PACKAGE)

    def unpacked(self):
        """The package's files in a folder of their own."""
        root = WORK / "unpacked"
        shutil.rmtree(root, ignore_errors=True)
        run("dpkg-deb", "--extract", next(PACKAGE.glob("keyloft_*.deb")), root)
        return root

    def test_compiler_was_given_the_hardening_flags(self):
        support.need("blhc")
        log = WORK / "build.log"
        log.write_text(self.log, encoding="utf-8")
        run("blhc", "--all", log)

    def test_programs_are_hardened(self):
        support.need("hardening-check")
        root = self.unpacked()
        for program in support.PROGRAMS:
            support.check_hardening(root / "usr/bin" / program)

    def test_documents_are_left_readable_and_without_a_dead_link(self):
        folder = self.unpacked() / "usr/share/doc/keyloft"
        documents = list(folder.rglob("*.md"))
        self.assertGreaterEqual(len(documents), 3)
        self.assertEqual(dead_links(folder, documents), [])
