# SPDX-License-Identifier: MIT
"""The Debian package has no flaw that lintian knows. What it knows changes with each release."""

import re
import unittest

import support
from support import PACKAGE, SOURCE, run


class Lintian(unittest.TestCase):
    def setUp(self):
        support.only_on_debian_12("lintian")
        support.need("lintian")

    def test_finds_nothing(self):
        changes = next(PACKAGE.glob("*.changes"))
        output = run("lintian", "-EvIiL", "+pedantic", "--fail-on", "error,warning,info",
                     "--allow-root", changes).stdout
        self.assertEqual(re.findall(r"^[EWIPX]: .*", output, re.MULTILINE), [])
        self.assertFalse(list((SOURCE / "debian").rglob("*lintian-overrides*")))
