# SPDX-License-Identifier: MIT
"""What the host sends over a machine's USB cable, as the kernel's own monitor sees it."""

import dataclasses
import os
import re
from pathlib import Path

# Bytes of MIDI in a USB MIDI packet, by its code index.
_LENGTHS = {0x2: 2, 0x3: 3, 0x4: 3, 0x5: 1, 0x6: 2, 0x7: 3, 0x8: 3, 0x9: 3, 0xA: 3, 0xB: 3,
            0xC: 2, 0xD: 2, 0xE: 3, 0xF: 1}


@dataclasses.dataclass
class Message:
    at: float  # seconds, of no particular clock, when the host handed it to its USB controller
    data: bytes


def _midi(packets):
    for start in range(0, len(packets) - 3, 4):
        length = _LENGTHS.get(packets[start] & 0x0F, 0)
        if length:
            yield packets[start + 1:start + 1 + length]


class UsbMonitor:
    """Collects from its construction on.

    A packet is stamped before the call that sent it returns, unlike what the machine reads, which
    waits for the machine's turn on a processor: pauses between sends show here undistorted.
    """

    def __init__(self, slot):
        bus = next(Path(f"/sys/devices/platform/dummy_hcd.{slot}").glob("usb*")).name[3:]
        self._file = os.open(f"/sys/kernel/debug/usb/usbmon/{bus}u", os.O_RDONLY | os.O_NONBLOCK)
        self._text = ""

    def _drain(self):
        try:
            while part := os.read(self._file, 65536):
                self._text += part.decode()
        except BlockingIOError:
            pass

    def messages(self):
        """Every MIDI message that the host has sent so far."""
        self._drain()
        found = []
        for line in self._text.splitlines():
            # Tag, microseconds, submission, bulk output, length, data follow, words of data.
            sent = re.fullmatch(r"\w+ (\d+) S Bo:\S+ -\d+ \d+ = ([0-9a-f ]*)", line)
            if sent:
                at = int(sent[1]) / 1e6
                found += [Message(at, data) for data in _midi(bytes.fromhex(sent[2]))]
        return found

    def stop(self):
        os.close(self._file)
