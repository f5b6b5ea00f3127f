# SPDX-License-Identifier: MIT
"""The Debian package is the same, byte for byte, when it is built again in another folder."""

import hashlib
import unittest

import support
from support import PACKAGE, WORK


def sums(folder):
    return {file.name: hashlib.sha256(file.read_bytes()).hexdigest()
            for file in folder.iterdir() if file.suffix in {".deb", ".dsc", ".xz"}}


class Reproducible(unittest.TestCase):
    def test_second_build_elsewhere_gives_the_same_bytes(self):
        support.need("dpkg-buildpackage", "dh")
        folder = WORK / "debian-again" / "elsewhere"
        support.build_package(folder)
        self.assertEqual(len(sums(PACKAGE)), 4)  # sources, their description, program, symbols
        self.assertEqual(sums(folder), sums(PACKAGE))
