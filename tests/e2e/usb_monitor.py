# SPDX-License-Identifier: MIT
"""What the host sends over a machine's USB cable, as the kernel's own monitor sees it."""

import dataclasses
import os
import re
import threading
from pathlib import Path

# Bytes of MIDI in a USB MIDI packet, by its code index.
_LENGTHS = {0x2: 2, 0x3: 3, 0x4: 3, 0x5: 1, 0x6: 2, 0x7: 3, 0x8: 3, 0x9: 3, 0xA: 3, 0xB: 3,
            0xC: 2, 0xD: 2, 0xE: 3, 0xF: 1}

# The driver's transfers of one endpoint; while all are under way, what is sent has to wait.
_TRANSFERS = 7


@dataclasses.dataclass
class Message:
    at: float  # seconds, of no particular clock, when the host handed it to its USB controller
    data: bytes
    waited: bool  # for the cable, so that `at` is later than the call that sent it


def _midi(packets):
    for start in range(0, len(packets), 4):
        length = _LENGTHS.get(packets[start] & 0x0F)
        if length is None:
            raise AssertionError(f"no MIDI over USB: {packets.hex(' ')}")
        yield packets[start + 1:start + 1 + length]


class UsbMonitor:
    """Collects from its construction on.

    A transfer is stamped before the call that sent its bytes returns, unlike what the machine
    reads, which waits for the machine's turn on a processor: a pause between two calls shows here
    in full, unless the cable was busy.
    """

    def __init__(self, slot):
        bus = next(Path(f"/sys/devices/platform/dummy_hcd.{slot}").glob("usb[0-9]*")).name[3:]
        self._file = os.open(f"/sys/kernel/debug/usb/usbmon/{bus}u", os.O_RDONLY | os.O_NONBLOCK)
        self._ended = threading.Event()
        self._text = b""
        # The monitor keeps few lines: they are read as they come.
        self._thread = threading.Thread(target=self._collect)
        self._thread.start()

    def _collect(self):
        # The monitor cannot be polled: it says that it is ready at any time.
        while not self._ended.wait(0.005):
            try:
                self._text += os.read(self._file, 65536)
            except BlockingIOError:
                pass

    def messages(self):
        """Every MIDI message that the host has sent so far."""
        found = []
        under_way = 0
        # Tag, microseconds, submission or completion, address, status, length, "= data".
        for line in re.finditer(r"\w+ (\d+) ([SCE]) Bo:\S+ \S+ (\d+)(?: = ([0-9a-f ]*))?",
                                self._text.decode()):
            if line[2] != "S":
                under_way -= 1
                continue
            packets = bytes.fromhex(line[4])
            if len(packets) != int(line[3]):
                raise AssertionError(f"the monitor does not show all of {line[0]}")
            for number, data in enumerate(_midi(packets)):
                waited = number > 0 or under_way >= _TRANSFERS - 1
                found.append(Message(int(line[1]) / 1e6, data, waited))
            under_way += 1
        return found

    def stop(self):
        self._ended.set()
        self._thread.join()
        os.close(self._file)
