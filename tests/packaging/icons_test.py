# SPDX-License-Identifier: MIT
"""The icon's pictures: each as large as its folder says, and what the SVG looks like now."""

import tempfile
import xml.etree.ElementTree as ElementTree
from pathlib import Path

import support
from support import ID, SOURCE, run


class Icons(support.Staged):
    def test_pictures_have_the_size_of_their_folder(self):
        pictures = list((self.stage / "share/icons/hicolor").rglob("*.png"))
        self.assertEqual(len(pictures), 9)
        for picture in pictures:
            width, height = support.png_size(picture)
            self.assertEqual(f"{width}x{height}", picture.parent.parent.name)

    def test_drawing_is_square(self):
        root = ElementTree.parse(SOURCE / f"packaging/icons/{ID}.svg").getroot()
        self.assertEqual(root.get("width"), root.get("height"))
        self.assertEqual(root.get("viewBox"), f"0 0 {root.get('width')} {root.get('height')}")

    def test_pictures_show_the_drawing(self):
        support.need("rsvg-convert", "compare")
        with tempfile.TemporaryDirectory() as folder:
            run(SOURCE / "packaging/render_icons", folder)
            for drawn in Path(folder).rglob("*.png"):
                kept = SOURCE / "packaging/icons" / drawn.relative_to(folder)
                run("compare", "-metric", "AE", drawn, kept, "null:")
