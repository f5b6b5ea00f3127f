# SPDX-License-Identifier: MIT
"""Every file says under which licence it comes."""

import unittest

import support
from support import SOURCE, run


class Licences(unittest.TestCase):
    def test_reuse_is_satisfied(self):
        support.need("reuse")
        run("reuse", "--root", SOURCE, "lint")

    def test_every_source_is_mit(self):
        support.need("licensecheck")
        sources = [SOURCE / path for path in support.project_files()
                   if path.endswith((".cpp", ".h", ".py"))]
        self.assertGreater(len(sources), 50)
        said = run("licensecheck", "--machine", *sources).stdout.splitlines()
        self.assertEqual([line for line in said if not line.endswith("\tMIT License")], [])
        self.assertEqual(len(said), len(sources))

    def test_licence_texts_are_one(self):
        text = (SOURCE / "LICENSE").read_text(encoding="utf-8")
        self.assertEqual((SOURCE / "LICENSES/MIT.txt").read_text(encoding="utf-8"), text)
