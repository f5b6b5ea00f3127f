# SPDX-License-Identifier: MIT
"""The Debian package in a bare Debian system: it is installed, runs, passes its own test there, and
goes without a trace. The system is a folder that debootstrap fills once; needs root."""

import os
import platform
import shutil
import unittest
from pathlib import Path

import support
from support import PROGRAMS, WORK, files_below, run

RELEASE = platform.freedesktop_os_release()["VERSION_CODENAME"]  # what the package is built on
BARE = WORK / f"bare-{RELEASE}.tar"
ROOT = WORK / "bare"


def archive():
    """The address of the Debian archive that this computer uses."""
    uris = run("apt-get", "indextargets", "--format", "$(REPO_URI)", f"Codename: {RELEASE}").stdout
    if not uris.split():
        raise unittest.SkipTest(f"apt knows no archive of {RELEASE}; apt-get update may help")
    return uris.split()[0]


def fill_root():
    """Puts a fresh bare system into ROOT."""
    shutil.rmtree(ROOT, ignore_errors=True)
    if not BARE.exists():
        run("debootstrap", "--variant=minbase", RELEASE, ROOT, archive())
        run("tar", "--create", "--file", BARE.with_suffix(".part"), "--directory", ROOT, ".")
        BARE.with_suffix(".part").rename(BARE)
        return
    ROOT.mkdir(parents=True)
    run("tar", "--extract", "--file", BARE, "--directory", ROOT)


def inside(script, wrapper=""):
    """Runs a script in the system, with a /proc of its own that goes with the script."""
    command = f'mount -t proc proc "{ROOT}/proc" && exec {wrapper or f"chroot {ROOT}"} "$@"'
    return run("unshare", "--mount", "--pid", "--fork", "--kill-child", "sh", "-c", command, "sh",
               *script, env={"DEBIAN_FRONTEND": "noninteractive"}).stdout


def system_files():
    """All files but those that belong to dpkg and apt, and their logs."""
    managed = ("var/lib/dpkg/", "var/lib/apt/", "var/cache/", "var/log/", "proc/")
    return {path for path in files_below(ROOT) if not path.startswith(managed)}


class BareSystem(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        support.need("debootstrap", "unshare", "autopkgtest")
        if os.geteuid() != 0:
            raise unittest.SkipTest("a system can only be set up by root")
        deb = next((WORK / "debian").glob("keyloft_*.deb"))
        fill_root()
        shutil.copy(deb, ROOT / "keyloft.deb")
        inside(["apt-get", "-qq", "update"])
        inside(["apt-get", "-qq", "install", "--no-install-recommends", "/keyloft.deb"])

    def test_1_programs_run_as_an_ordinary_user(self):
        user = ["setpriv", "--reuid=nobody", "--regid=nogroup", "--clear-groups", "env"]
        said = inside([*user, "keyloft-machine", "--version"])
        self.assertEqual(said, f"keyloft-machine {support.version()}\n")
        said = inside([*user, "keyloftctl", "--demo", "set", "12", "cc", "1", "7", "--save"])
        self.assertEqual(said.count("confirmed ("), 2)
        for program in ("keyloft", "keyloft-demo"):
            # They run until they are told to stop: 143 is what the shell says then.
            inside([*user, "QT_QPA_PLATFORM=offscreen", "HOME=/tmp", "sh", "-c",
                    f"said=$(mktemp); {program} >$said & "
                    "until grep -q MIDIGetNumberOfSources $said; do kill -0 $! || exit 1; done; "
                    "rm $said; kill $!; wait $!; test $? = 143"])

    def test_2_package_passes_its_own_test(self):
        for folder in (WORK / "autopkgtest", WORK / "sources"):
            shutil.rmtree(folder, ignore_errors=True)
        support.copy_sources(WORK / "sources")
        test = ["--no-built-binaries", "--output-dir", str(WORK / "autopkgtest"),
                str(WORK / "sources"), "--", "chroot", str(ROOT)]
        inside(test, wrapper="autopkgtest")
        summary = (WORK / "autopkgtest/summary").read_text(encoding="utf-8")
        self.assertRegex(summary, r"(?m)^demo +PASS$")
        self.assertRegex(summary, r"(?m)^keyloftctl +PASS$")

    def test_3_user_unit_is_as_systemd_wants_it_and_not_enabled(self):
        inside(["apt-get", "-qq", "install", "--no-install-recommends", "systemd"])
        units = "/usr/lib/systemd/user"
        # The manual is not looked for: there is no man.
        said = inside(["env", "XDG_RUNTIME_DIR=/tmp", "systemd-analyze", "--user", "--man=no",
                       "verify", f"{units}/keyloft-keep@stage.service"])
        self.assertEqual(said, "")
        enabled = [path for path in files_below(ROOT) if "keyloft-keep@" in path
                   and not path.startswith(("proc/", "var/lib/dpkg/"))]
        self.assertEqual(enabled, [f"{units[1:]}/keyloft-keep@.service"])

    def test_4_purging_leaves_no_trace(self):
        before = system_files()
        owned = {path.lstrip("/") for path in inside(["dpkg-query", "--listfiles", "keyloft"]).split()
                 if not (ROOT / path.lstrip("/")).is_dir()}
        inside(["apt-get", "-qq", "purge", "keyloft"])
        self.assertEqual(before - system_files(), owned)
        (ROOT / "keyloft.deb").unlink()
        left = [path for path in files_below(ROOT) if "keyloft" in Path(path).name.lower()
                and not path.startswith(("proc/", "tmp/", "var/cache/apt/"))]
        self.assertEqual(left, [])
        for program in PROGRAMS:
            self.assertFalse((ROOT / "usr/bin" / program).exists())
