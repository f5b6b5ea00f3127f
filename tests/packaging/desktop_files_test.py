# SPDX-License-Identifier: MIT
"""The desktop entry and the metainfo, as they are installed."""

import configparser
import xml.etree.ElementTree as ElementTree

import support
from support import ID, PROGRAMS, SOURCE, run

LANGUAGE = "{http://www.w3.org/XML/1998/namespace}lang"


class DesktopEntry(support.Staged):
    def setUp(self):
        super().setUp()
        self.file = self.stage / f"share/applications/{ID}.desktop"
        parser = configparser.ConfigParser(interpolation=None)
        parser.optionxform = str
        parser.read(self.file, encoding="utf-8")
        self.entry = parser["Desktop Entry"]

    def test_is_valid_without_a_hint(self):
        support.need("desktop-file-validate")
        self.assertEqual(run("desktop-file-validate", "--warn-kde", self.file).stdout, "")

    def test_starts_an_installed_program_on_whatever_platform_there_is(self):
        self.assertTrue((self.stage / "bin" / self.entry["Exec"]).is_file())
        self.assertNotIn("-platform", self.entry["Exec"])

    def test_shows_an_installed_icon(self):
        self.assertEqual(self.entry["Icon"], ID)
        self.assertTrue((self.stage / f"share/icons/hicolor/scalable/apps/{ID}.svg").is_file())

    def test_stands_under_audio_and_can_be_searched_for(self):
        self.assertEqual(self.entry["Categories"], "AudioVideo;Audio;Midi;")
        self.assertNotIn(self.entry["Name"], self.entry["Keywords"].split(";"))
        self.assertEqual(self.entry["StartupNotify"], "true")

    def test_speaks_chinese(self):
        for key in ("GenericName", "Comment", "Keywords"):
            self.assertIn(f"{key}[zh_CN]", self.entry)


class Metainfo(support.Staged):
    def setUp(self):
        super().setUp()
        self.file = self.stage / f"share/metainfo/{ID}.metainfo.xml"
        self.component = ElementTree.parse(self.file).getroot()

    def test_names_the_desktop_entry_and_every_program(self):
        self.assertEqual(self.component.findtext("id"), ID)
        self.assertEqual(self.component.findtext("launchable"), f"{ID}.desktop")
        self.assertEqual([b.text for b in self.component.findall("provides/binary")], PROGRAMS)

    def test_has_wide_pictures_with_captions(self):
        screenshots = self.component.findall("screenshots/screenshot")
        self.assertGreaterEqual(len(screenshots), 1)
        for screenshot in screenshots:
            image = screenshot.find("image")
            width, height = int(image.get("width")), int(image.get("height"))
            kept = SOURCE / "docs/images" / image.text.rsplit("/", 1)[1]
            self.assertEqual(support.png_size(kept), (width, height))
            self.assertGreaterEqual(width, 620)
            self.assertEqual(width * 9, height * 16)
            self.assertTrue(screenshot.findtext("caption"))

    def test_has_a_chinese_text_for_each_english_one(self):
        for parent in self.component.iter():
            for tag in ("summary", "p", "caption", "developer_name"):
                texts = parent.findall(tag)
                english = [text for text in texts if LANGUAGE not in text.attrib]
                chinese = [text for text in texts if text.get(LANGUAGE) == "zh_CN"]
                self.assertEqual(len(english), len(chinese), f"{parent.tag}/{tag}")
