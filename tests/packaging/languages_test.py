# SPDX-License-Identifier: MIT
"""What translators find, and what users of other languages see: the same texts, none is shipped."""

import shutil
import tempfile
import unittest
import xml.etree.ElementTree as xml
from pathlib import Path

import support
from support import BUILD, SOURCE, WORK, run

LUPDATE = "/usr/lib/qt6/bin/lupdate"
KEYS = {"设备型号(Machine Serial)", "硬件编号(Hardware Part Code)", "消息类型(Message Type)：",
        "消息通道(Message Channel)：", "控制器号(Controller Number)：", "Placeholder", "设置", "保存", "确定"}
# Turkish has an i of its own, German another decimal sign.
LANGUAGES = ["zh_CN", "zh_TW", "tr_TR", "de_DE"]


class Languages(unittest.TestCase):
    def setUp(self):
        WORK.mkdir(exist_ok=True)
        self.folder = Path(tempfile.mkdtemp(dir=WORK))
        self.addCleanup(shutil.rmtree, self.folder)

    def test_translators_are_asked_for_exactly_the_keys_of_the_screen(self):
        support.need(LUPDATE)
        catalogue = self.folder / "keyloft_de.ts"
        run(LUPDATE, SOURCE / "keyloft", "-ts", catalogue)
        contexts = xml.parse(catalogue).getroot().findall("context")
        self.assertEqual([context.findtext("name") for context in contexts], ["ContentView"])
        self.assertEqual({message.findtext("source") for message in contexts[0].findall("message")},
                         KEYS)

    def test_no_catalogue_is_shipped(self):
        self.assertEqual([path for path in support.project_files()
                          if path.endswith((".ts", ".qm"))], [])

    def tour(self, language):
        """What the tour prints when it runs in a language that the C library knows too."""
        pictures = self.folder / "pictures"
        printed = run(BUILD / "demo/keyloft-tour", pictures, env={
            "QT_QPA_PLATFORM": "offscreen", "QT_LOGGING_RULES": "*.warning=false", "XDG_RUNTIME_DIR": str(self.folder),
            "LOCPATH": str(self.folder), "LC_ALL": language, "LANG": language}).stdout
        return printed.replace("\r", "")

    def test_every_language_sees_and_prints_the_same(self):
        support.need("localedef")
        expected = self.tour("C.UTF-8")
        self.assertIn("设置成功!", expected)
        for language in LANGUAGES:
            name = f"{language}.UTF-8"
            run("localedef", "--inputfile", language, "--charmap", "UTF-8", self.folder / name)
            says = run("locale", "--keyword-name", "lang_name", env={
                "LOCPATH": str(self.folder), "LC_ALL": name}).stdout
            self.assertNotIn('lang_name=""', says)  # it is known, not the C locale instead
            self.assertEqual(self.tour(name), expected, language)
