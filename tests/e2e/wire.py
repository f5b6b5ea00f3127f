# SPDX-License-Identifier: MIT
"""The bytes of a confirmed command."""

CLOCK = b"\xF8"
SAVE = bytes((0xAF, 0x7F, 0x7F))

_STATUS = {"Note On": 0x90, "Note Off": 0x80, "Control Change": 0xB0, "Bend Change": 0xE0}

# The least pauses before the messages of a sequence, in seconds; the clocks come at once.
PAUSES = [0, 0, 0, 0, 0, 0, 0.001, 0.002, 0.002, 0.002]
# From the last message of a sequence to the first of its repetition.
PAUSE_BEFORE_REPETITION = 0.002 + 0.300 + 0.002


def mapping(part, kind, channel, controller):
    """The message that says what a part sends."""
    return bytes((_STATUS[kind] | (channel - 1), controller, part))


def sequence(message):
    """One whole sequence, message by message."""
    channel = message[0] & 0x0F
    return [CLOCK] * 6 + [bytes((0x90 | channel,)) + message[1:],
                          bytes((0x80 | channel,)) + message[1:], message, CLOCK]
