# SPDX-License-Identifier: MIT
"""What is installed where, that it can be moved, and that it goes again."""

import support
from support import BUILD, ID, PROGRAMS, files_below, run

ICON_SIZES = [16, 22, 24, 32, 48, 64, 128, 256, 512]
DOCUMENTS = ["user-guide.md", "user-guide.zh_CN.md", "layouts.md", "layouts.zh_CN.md", "protocol.md",
             "keyloftctl.schema.json", "keyloft-layout.schema.json", "images/start.png",
             "images/filled-in.png", "images/applied.png"]
TREE = {
    *(f"bin/{program}" for program in PROGRAMS),
    *(f"share/man/{language}man1/{program}.1" for program in PROGRAMS
      for language in ("", "zh_CN/")),
    *(f"share/icons/hicolor/{size}x{size}/apps/{ID}.png" for size in ICON_SIZES),
    f"share/icons/hicolor/scalable/apps/{ID}.svg",
    f"share/applications/{ID}.desktop", f"share/metainfo/{ID}.metainfo.xml",
    "share/bash-completion/completions/keyloftctl", "lib/systemd/user/keyloft-keep@.service",
    *(f"share/doc/keyloft/{document}" for document in DOCUMENTS),
}


class InstalledTree(support.Staged):
    def test_holds_the_programs_and_their_files_and_nothing_else(self):
        self.assertEqual(files_below(self.stage), TREE)

    def test_is_the_same_below_destdir(self):
        root = self.folder / "root"
        run("cmake", "--install", BUILD, "--prefix", "/opt/some where", env={"DESTDIR": str(root)})
        self.assertEqual(files_below(root), {f"opt/some where/{path}" for path in TREE})

    def test_programs_run_after_the_tree_was_moved(self):
        moved = self.folder / "moved away"
        self.stage.rename(moved)
        self.assertEqual(run(moved / "bin/keyloft-machine", "--version").stdout,
                         f"keyloft-machine {support.version()}\n")

    def test_programs_look_for_libraries_in_no_folder_of_their_own(self):
        support.need("readelf")
        for program in PROGRAMS:
            dynamic = run("readelf", "--dynamic", self.stage / "bin" / program).stdout
            self.assertIn("NEEDED", dynamic)
            self.assertNotRegex(dynamic, "RPATH|RUNPATH")

    def test_uninstalling_leaves_no_file(self):
        run("cmake", "--build", BUILD, "--target", "uninstall")
        self.assertEqual(files_below(self.stage), set())

    def test_uninstalling_below_destdir_leaves_no_file(self):
        root = self.folder / "root"
        environment = {"DESTDIR": str(root)}
        run("cmake", "--install", BUILD, "--prefix", "/usr", env=environment)
        self.assertNotEqual(files_below(root), set())
        run("cmake", "--build", BUILD, "--target", "uninstall", env=environment)
        self.assertEqual(files_below(root), set())
