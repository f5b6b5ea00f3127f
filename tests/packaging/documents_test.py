# SPDX-License-Identifier: MIT
"""The documents: no link in them is dead, here and as they are installed, and the manual pages lead
to the guide."""

import re
import unittest
from pathlib import Path

import support
from support import SOURCE

LINK = re.compile(r"\]\(([^)\s]+)\)|\b(?:src|href)=\"([^\"]+)\"")


def without_code(text):
    """Markdown without its code, in which brackets are no links."""
    return re.sub(r"`[^`\n]*`", "", re.sub(r"^```.*?^```", "", text, flags=re.DOTALL | re.MULTILINE))


def anchors(file):
    """The names of a document's places: its headings, as web pages name them, and its own."""
    text = re.sub(r"^```.*?^```", "", file.read_text(encoding="utf-8"),
                  flags=re.DOTALL | re.MULTILINE)
    headings = re.findall(r"^#+ (.*)$", text, re.MULTILINE)
    return {re.sub(r"[^\w\- ]", "", heading).lower().replace(" ", "-") for heading in headings} | \
        set(re.findall(r'<a name="([^"]+)"', text))


def links(file):
    """What a document links to, but for other computers."""
    found = LINK.findall(without_code(file.read_text(encoding="utf-8")))
    return [markdown or html for markdown, html in found
            if not re.match(r"[a-z]+:", markdown or html)]


def dead_links(folder, documents):
    """The links that lead nowhere or out of the folder."""
    dead = []
    for document in documents:
        for link in links(document):
            path, _, anchor = link.partition("#")
            target = (document.parent / path).resolve() if path else document
            inside = target.is_relative_to(folder.resolve())
            if not inside or not target.exists() or (anchor and anchor not in anchors(target)):
                dead.append(f"{document.name}: {link}")
    return dead


class Repository(unittest.TestCase):
    def test_no_link_is_dead(self):
        documents = [SOURCE / path for path in support.project_files() if path.endswith(".md")]
        self.assertGreater(sum(len(links(document)) for document in documents), 50)
        self.assertEqual(dead_links(SOURCE, documents), [])

    def test_both_languages_have_the_same_chapters_pictures_and_tables(self):
        def shape(name):
            text = (SOURCE / "docs" / name).read_text(encoding="utf-8")
            return (re.findall(r"^(#+) ", text, re.MULTILINE), re.findall(r'src="([^"]+)"', text),
                    len(re.findall(r"^\|", text, re.MULTILINE)))
        for name in ("user-guide", "layouts"):
            self.assertEqual(shape(f"{name}.md"), shape(f"{name}.zh_CN.md"))


class Installed(support.Staged):
    def setUp(self):
        super().setUp()
        self.folder_of_documents = self.stage / "share/doc/keyloft"

    def test_no_link_is_dead(self):
        documents = list(self.folder_of_documents.rglob("*.md"))
        self.assertGreaterEqual(len(documents), 5)
        self.assertEqual(dead_links(self.folder_of_documents, documents), [])

    def test_every_picture_is_shown_by_a_document(self):
        shown = {link for document in self.folder_of_documents.rglob("*.md")
                 for link in links(document)}
        for picture in self.folder_of_documents.rglob("*.png"):
            self.assertIn(str(picture.relative_to(self.folder_of_documents)), shown)

    def test_each_manual_page_leads_to_the_guide_in_its_language(self):
        for page in (self.stage / "share/man").rglob("*.1"):
            named = re.findall(r"^\.I (share/doc/\S+)", page.read_text(encoding="utf-8"),
                               re.MULTILINE)
            guides = ["user-guide", "layouts"] if page.stem == "keyloftctl" else ["user-guide"]
            ending = ".zh_CN.md" if "zh_CN" in page.parts else ".md"
            self.assertEqual([Path(path.replace("\\-", "-")).name for path in named],
                             [guide + ending for guide in guides], page)
            for path in named:
                self.assertTrue((self.stage / path.replace("\\-", "-")).is_file(), page)
