# SPDX-License-Identifier: MIT
"""Runs the tests of a file of this folder, named without its ending; exits with 77 when one was
skipped and none failed."""

import sys
import unittest

result = unittest.main(module=sys.argv.pop(), exit=False, verbosity=2).result
if not result.wasSuccessful():
    sys.exit(1)
sys.exit(77 if result.skipped else 0)
