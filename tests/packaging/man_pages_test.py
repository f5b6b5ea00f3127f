# SPDX-License-Identifier: MIT
"""The manual pages: well-formed, in both languages, and complete."""

import re

import support
from support import PROGRAMS, run


def options_in_help(text):
    """The options that a help text explains, as (option, whether it takes a value)."""
    return {(option, bool(value))
            for option, value in re.findall(r"(--[a-z-]+)( [A-Z]+)?(?=[ \n[])", text)}


def options_in_page(source):
    """The same of a page: what stands behind each .TP of its options."""
    tags = re.findall(r"^\.TP\n\.B\w* (\\-.*)$", source, re.MULTILINE)
    found = set()
    for tag in tags:
        for option, value in re.findall(r'((?:\\-){2}[a-z\\-]+)(?: "( [A-Z]+)")?', tag):
            found.add((option.replace("\\", ""), bool(value)))
    return found


class ManPages(support.Staged):
    def pages(self):
        return sorted((self.stage / "share/man").rglob("*.1"))

    def test_each_program_has_one_in_each_language(self):
        self.assertEqual(len(self.pages()), 2 * len(PROGRAMS))

    def test_mandoc_has_no_objection(self):
        support.need("mandoc")
        for page in self.pages():
            self.assertEqual(run("mandoc", "-T", "lint", "-W", "warning", page).stdout, "")

    def test_groff_has_no_objection(self):
        support.need("man")
        for page in self.pages():
            output = run("man", "--warnings", "-E", "UTF-8", "-l", "-Tutf8", "-Z", page).stdout
            self.assertNotIn("<standard input>", output)

    def test_whatis_finds_their_subject(self):
        support.need("lexgrog")
        for page in self.pages():
            self.assertIn(f'"{page.stem} - ', run("lexgrog", page).stdout)

    def test_explain_the_options_that_the_program_has(self):
        for program in ("keyloft-machine", "keyloftctl"):
            shown = options_in_help(run(self.stage / "bin" / program, "--help").stdout)
            self.assertIn(("--delay", True), shown)
            pages = [page for page in self.pages() if page.stem == program]
            self.assertEqual(len(pages), 2)
            for page in pages:
                self.assertEqual(options_in_page(page.read_text(encoding="utf-8")), shown, page)
