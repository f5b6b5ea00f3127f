# SPDX-License-Identifier: MIT
"""Software centres can read what describes the program. What they ask for changes with each release."""

import support
from support import ID, run


class AppStream(support.Staged):
    def setUp(self):
        support.only_on_debian_12("appstreamcli")
        support.need("appstreamcli")
        super().setUp()

    def test_description_is_valid_by_itself(self):
        run("appstreamcli", "validate", "--pedantic", "--strict", "--explain", "--no-net",
            self.stage / f"share/metainfo/{ID}.metainfo.xml")

    def test_description_is_valid_with_what_is_installed_beside_it(self):
        run("appstreamcli", "validate-tree", "--no-net", self.stage)
