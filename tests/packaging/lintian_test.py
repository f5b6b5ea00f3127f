# SPDX-License-Identifier: MIT
"""The Debian package has no flaw that lintian knows, and its control files are in order. What that
is changes with each release."""

import re
import unittest

import support
from support import PACKAGE, SOURCE, run


class Lintian(unittest.TestCase):
    def setUp(self):
        support.only_on_debian_12("lintian")
        support.need("lintian", "wrap-and-sort")

    def test_finds_nothing(self):
        changes = next(PACKAGE.glob("*.changes"))
        output = run("lintian", "-EvIiL", "+pedantic", "--fail-on", "error,warning,info",
                     "--allow-root", changes).stdout
        self.assertEqual(re.findall(r"^[EWIPX]: .*", output, re.MULTILINE), [])
        self.assertFalse(list((SOURCE / "debian").rglob("*lintian-overrides*")))

    def test_control_files_are_in_order(self):
        self.assertEqual(run("wrap-and-sort", "--dry-run", "--wrap-always", cwd=SOURCE).stdout, "")
