# SPDX-License-Identifier: MIT
"""What the tests of the package share."""

import os
import platform
import re
import shutil
import struct
import subprocess
import tempfile
import unittest
from pathlib import Path

SOURCE = Path(os.environ["KEYLOFT_SOURCE"])
BUILD = Path(os.environ["KEYLOFT_BUILD"])
WORK = BUILD / "packaging-test"
ID = "org.keyloft.Keyloft"
PROGRAMS = ["keyloft", "keyloft-demo", "keyloft-machine", "keyloftctl"]
PACKAGE = WORK / "debian"  # where packaging.debian_package builds
RELEASE = platform.freedesktop_os_release().get("VERSION_ID")
SYSTEM_PATH = "/usr/sbin:/usr/bin:/sbin:/bin"


def need(*tools):
    """Skips the test when a tool is missing."""
    for tool in tools:
        if not shutil.which(tool, path=SYSTEM_PATH):
            raise unittest.SkipTest(f"{tool} is missing; script/bootstrap test installs it")


def only_on_debian_12(tool):
    """Leaves the test out, which the results then say, where a release has another `tool`."""
    if RELEASE != "12":
        raise unittest.SkipTest(f"left out: {tool} of Debian 12 is asked, this is {RELEASE}")


def check_hardening(program):
    """Control flow integrity is left to the compiler's default; branch protection is Arm's."""
    new = ["--nobranchprotection"] if RELEASE != "12" else []
    run("hardening-check", "--nocfprotection", *new, program)


def run(*command, **options):
    """A finished command with what it printed; it fails the test unless it exits with 0."""
    environment = {**os.environ, "LC_ALL": "C.UTF-8", "PATH": SYSTEM_PATH, **options.pop("env", {})}
    done = subprocess.run([str(part) for part in command], stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          env=environment, check=False, **options)
    if done.returncode != 0:
        raise AssertionError(f"{done.args} exited with {done.returncode}:\n{done.stdout}")
    return done


def files_below(folder):
    """The paths of all that is no folder, relative to it."""
    return {str(path.relative_to(folder)) for path in folder.rglob("*")
            if path.is_symlink() or not path.is_dir()}


def project_files():
    """The files that Git tracks, or those of an unpacked source package."""
    if (SOURCE / ".git").exists():
        listed = run("git", "-c", "safe.directory=*", "-C", SOURCE, "ls-files", "-z").stdout
        return [path for path in listed.split("\0") if path and (SOURCE / path).is_file()]
    return sorted(files_below(SOURCE))


def copy_sources(target):
    """Copies these files; a work tree may hold gigabytes of builds beside them."""
    for path in project_files():
        (target / path).parent.mkdir(parents=True, exist_ok=True)
        shutil.copy2(SOURCE / path, target / path)


def build_package(folder):
    """Builds the Debian package, tests left out, in a folder of its own; gives the build's output."""
    shutil.rmtree(folder, ignore_errors=True)
    sources = folder / "keyloft"
    copy_sources(sources)
    # The guest runs at the same time and wants the other processor.
    return run("dpkg-buildpackage", "--no-sign", cwd=sources,
               env={"DEB_BUILD_OPTIONS": "nocheck parallel=1",
                    "DEB_BUILD_PROFILES": "nocheck"}).stdout


def version():
    """The project's version, from the one place where it is set."""
    text = (SOURCE / "CMakeLists.txt").read_text(encoding="utf-8")
    return re.search(r"project\(keyloft VERSION ([0-9.]+)", text)[1]


def png_size(file):
    """Width and height of a PNG file."""
    head = file.read_bytes()[:24]
    assert head[:8] == b"\x89PNG\r\n\x1a\n", file
    return struct.unpack(">II", head[16:24])


class Staged(unittest.TestCase):
    """Has this build installed below `self.stage`, as into /usr."""

    def setUp(self):
        WORK.mkdir(exist_ok=True)
        self.folder = Path(tempfile.mkdtemp(dir=WORK))
        self.addCleanup(shutil.rmtree, self.folder)
        self.stage = self.folder / "stage"
        run("cmake", "--install", BUILD, "--prefix", self.stage)
