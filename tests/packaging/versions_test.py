# SPDX-License-Identifier: MIT
"""The version number, which is set in CMakeLists.txt, is the same everywhere."""

import re
import subprocess
import xml.etree.ElementTree as ElementTree

import support
from support import ID, SOURCE, run


class Versions(support.Staged):
    def setUp(self):
        super().setUp()
        self.version = support.version()
        changelog = (SOURCE / "CHANGELOG.md").read_text(encoding="utf-8")
        self.newest, self.date = re.search(r"^## (\S+) - (\S+)$", changelog, re.MULTILINE).groups()

    def test_changelog_opens_with_it(self):
        self.assertEqual(self.newest, self.version)

    def test_debian_changelog_opens_with_it_and_its_date(self):
        text = (SOURCE / "debian/changelog").read_text(encoding="utf-8")
        self.assertEqual(re.match(r"keyloft \((\S+)\) ", text)[1], self.version)
        stamp = re.search(r"^ -- .*>  (.*)$", text, re.MULTILINE)[1]
        date = subprocess.run(["date", "--utc", "--iso-8601", "--date", stamp], check=True,
                              capture_output=True, text=True).stdout.strip()
        self.assertEqual(date, self.date)

    def test_metainfo_has_it_as_its_newest_release(self):
        file = self.stage / f"share/metainfo/{ID}.metainfo.xml"
        release = ElementTree.parse(file).getroot().find("releases/release")
        self.assertEqual((release.get("version"), release.get("date")), (self.version, self.date))

    def test_manual_pages_show_it_and_its_date(self):
        for page in (self.stage / "share/man").rglob("*.1"):
            title = re.search(r"^\.TH .*$", page.read_text(encoding="utf-8"), re.MULTILINE)[0]
            self.assertIn(f'"{self.date}" "keyloft {self.version}"', title)

    def test_programs_say_it(self):
        for program in ("keyloft-machine", "keyloftctl"):
            self.assertEqual(run(self.stage / "bin" / program, "--version").stdout,
                             f"{program} {self.version}\n")
