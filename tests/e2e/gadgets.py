# SPDX-License-Identifier: MIT
"""USB gadgets that look like machines, plugged into the guest's own dummy controllers."""

import glob
import subprocess
from pathlib import Path

import sequencer
from until import until

CONFIG = Path("/sys/kernel/config/usb_gadget")
CONTROLLERS = 16

# Machine number 5 of the sixteen is 4AC5F4C4.
CODES = [f"4AC{number:X}F4C4" for number in range(16)]


def load_drivers():
    """The controllers, the gadget's side, the host's side, the wire's monitor. Once is enough."""
    if CONFIG.exists():
        return
    subprocess.run(["modprobe", "-a", "snd-usb-audio", "libcomposite", "usb_f_midi", "usbmon"],
                   check=True)
    subprocess.run(["modprobe", "dummy_hcd", f"num={CONTROLLERS}"], check=True)
    subprocess.run(["mount", "-t", "configfs", "none", "/sys/kernel/config"], check=True)
    subprocess.run(["mount", "-t", "debugfs", "none", "/sys/kernel/debug"], check=True)


class Gadget:
    """One machine's USB side: plugged in while it is bound to a controller.

    `slot` is the dummy controller's number; two gadgets with one code need two slots.
    """

    def __init__(self, code, slot=None):
        self.code = code
        self.slot = int(code[3], 16) if slot is None else slot
        self.folder = CONFIG / f"slot{self.slot}"
        # The gadget has a sound card of its own, the machine's end of the cable, found by this id.
        self.far_card = f"far{self.slot}"
        self.raw_device = f"hw:{self.far_card},0"
        self._create()

    @property
    def udc(self):
        return self.folder / "UDC"

    @property
    def place(self):
        """What keyloft-raw-machine has to be told, to answer as this machine."""
        return f"{self.raw_device}={self.code}@{self.udc}"

    def _create(self):
        texts = self.folder / "strings/0x409"
        function = self.folder / "functions/midi.0"
        configuration = self.folder / "configs/c.1"
        for new in (self.folder, texts, function, configuration):
            new.mkdir()
        (self.folder / "idVendor").write_text("0x1d6b")
        (self.folder / "idProduct").write_text("0x0105")
        (texts / "manufacturer").write_text("keyloft")
        (texts / "product").write_text(self.code)
        (function / "id").write_text(self.far_card)
        (configuration / "midi.0").symlink_to(function)

    def bind(self):
        """Starts to plug in; `wait_until_plugged` waits for what follows from it."""
        self.udc.write_text(f"dummy_udc.{self.slot}")

    def plug(self):
        self.bind()
        self.wait_until_plugged()

    def unbind(self):
        """Pulls it out; `wait_until_gone` waits for what follows from it."""
        self.udc.write_text("\n")

    def unplug(self):
        self.unbind()
        self.wait_until_gone()

    def wait_until_gone(self):
        until(f"{self.code} to go", lambda: self.near_card() is None and not self._has_far_card())

    def _has_far_card(self):
        return Path(f"/proc/asound/{self.far_card}").exists()

    def is_bound(self):
        return self.udc.read_text().strip() != ""

    def near_card(self):
        """The number of the host's sound card for this machine, or nothing."""
        # Not Path.glob, which stumbles over folders that go while it looks.
        cards = glob.glob(f"/sys/devices/platform/dummy_hcd.{self.slot}/usb*/*-1/*-1:*/sound/card*")
        return int(cards[0].rpartition("card")[2]) if cards else None

    def client(self):
        """The machine's client on the sequencer, or nothing."""
        card = self.near_card()
        if card is not None:
            for client in sequencer.clients():
                if client.card == card and client.ports:
                    return client
        return None

    def wait_until_plugged(self):
        until(f"{self.code} on the sequencer", self.client)
        until(f"the card {self.far_card}", self._has_far_card)

    def remove(self):
        if self.is_bound():
            self.unplug()
        (self.folder / "configs/c.1/midi.0").unlink()
        for old in ("configs/c.1", "functions/midi.0", "strings/0x409", ""):
            (self.folder / old).rmdir()
