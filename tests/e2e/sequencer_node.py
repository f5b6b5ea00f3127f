# SPDX-License-Identifier: MIT
"""The sequencer's node and what is behind it, taken away and given back in the guest."""

import os
import shutil
import subprocess
from pathlib import Path

from until import until

NODE = Path("/dev/snd/seq")
PROGRAM_CLIENTS = 64

_DEVICE = os.makedev(116, 1)
_MODULES = ["snd-seq", "snd-seq-midi", "snd-seq-dummy"]
_LOADER = Path("/proc/sys/kernel/modprobe")


def load():
    subprocess.run(["modprobe", "-a", *_MODULES], check=True)
    until("the sequencer", NODE.exists)


def take_away(scenario):
    """Until load(), or until the test ends, there is neither node nor driver."""
    subprocess.run(["modprobe", "-r", *reversed(_MODULES)], check=True)
    scenario.addCleanup(load)
    NODE.unlink(missing_ok=True)  # what a test made by hand does not go with the driver


def make_node_without_driver(scenario):
    """After take_away(). Returns what ends it, and brings node and driver back."""
    # Opening the node would load the driver, if the kernel could.
    loader = _LOADER.read_text()
    scenario.addCleanup(_LOADER.write_text, loader)
    _LOADER.write_text("/bin/false\n")
    os.mknod(NODE, 0o20600, _DEVICE)

    def end():
        NODE.unlink()
        _LOADER.write_text(loader)
        load()

    return end


def take_all_clients(scenario):
    """Returns the descriptors that hold them, and what gives them back."""
    taken = []

    def give_back():
        while taken:
            os.close(taken.pop())

    scenario.addCleanup(give_back)
    with scenario.assertRaises(OSError):
        while True:
            taken.append(os.open(NODE, os.O_RDWR))
    return taken, give_back


def allow_the_group_only(scenario):
    """Only root and the group "audio" may use the node, until the test ends."""
    before = NODE.stat()
    scenario.addCleanup(os.chmod, NODE, before.st_mode & 0o777)
    scenario.addCleanup(os.chown, NODE, before.st_uid, before.st_gid)
    NODE.chmod(0o660)
    shutil.chown(NODE, group="audio")


def open_folders_of(path):
    """Lets an ordinary user reach a file: in the guest its folders are copies, and may be
    changed."""
    for parent in Path(path).resolve().parents:
        parent.chmod(parent.stat().st_mode | 0o005)
