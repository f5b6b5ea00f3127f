# SPDX-License-Identifier: MIT
"""Another program on the sequencer, with one port, made and driven by a test."""

import ctypes
import os
import select
import struct
import threading
import time

_OPEN_DUPLEX = 3
_NONBLOCK = 1
_CAPABILITIES = 1 | 2 | 32 | 64  # read, write, and both by subscription
_MIDI_APPLICATION = 2 | 1 << 20

_NOTE_ON, _NOTE_OFF, _CONTROLLER, _CLOCK = 6, 7, 10, 36
_DIRECTLY = 253  # through no queue
SUBSCRIBERS = (254, 253)  # the address of whoever has subscribed to the port

_EVENT = struct.Struct("=BBBB8x2B2B12s")  # as the kernel has it


def _event(message, port, to):
    """A note on, control change or clock as the sequencer has it."""
    if message[0] == 0xF8:
        kind, data = _CLOCK, b""
    elif message[0] & 0xF0 == 0x90:
        kind, data = _NOTE_ON, bytes((message[0] & 0x0F, message[1], message[2]))
    elif message[0] & 0xF0 == 0xB0:
        kind, data = _CONTROLLER, struct.pack("=B3xIi", message[0] & 0x0F, message[1], message[2])
    else:
        raise ValueError(message.hex())
    return _EVENT.pack(kind, 0, 0, _DIRECTLY, 0, port, *to, data)


class SequencerProgram:
    def __init__(self, client_name, port_name):
        alsa = self._alsa = ctypes.CDLL("libasound.so.2")
        self._handle = ctypes.c_void_p()
        self._check(alsa.snd_seq_open(ctypes.byref(self._handle), b"hw", _OPEN_DUPLEX, _NONBLOCK))
        self._check(alsa.snd_seq_set_client_name(self._handle, client_name.encode()))
        self.port = self._check(alsa.snd_seq_create_simple_port(
            self._handle, port_name.encode(), _CAPABILITIES, _MIDI_APPLICATION))
        self.client = self._check(alsa.snd_seq_client_id(self._handle))
        polled = (ctypes.c_int * 2)()
        alsa.snd_seq_poll_descriptors(self._handle, polled, 1, select.POLLIN)
        self.descriptor = polled[0]

    @staticmethod
    def _check(result):
        if result < 0:
            raise OSError(-result, os.strerror(-result))
        return result

    def send(self, messages, to=SUBSCRIBERS):
        """Sends at once, as many as the receiver has room for; how many that were."""
        events = b"".join(_event(message, self.port, to) for message in messages)
        try:
            return os.write(self.descriptor, events) // _EVENT.size
        except OSError:
            return 0

    def receive(self):
        """The note ons and note offs that have come, as bytes."""
        try:
            events = os.read(self.descriptor, 100 * _EVENT.size)
        except BlockingIOError:
            return []
        found = []
        for kind, *_, data in _EVENT.iter_unpack(events):
            if kind in (_NOTE_ON, _NOTE_OFF):
                status = 0x90 if kind == _NOTE_ON else 0x80
                found.append(bytes((status | data[0], data[1], data[2])))
        return found

    def close(self):
        self._alsa.snd_seq_close(self._handle)


class Flood:
    """Sends a message over and over, so many times a second on the average, until it is stopped.

    What the receiver has no room for is sent again, so that nothing is lost.
    """

    def __init__(self, program, message, rate, to=SUBSCRIBERS):
        self._program, self._message, self._rate, self._to = program, message, rate, to
        self.sent = 0
        self._begun = time.monotonic()
        self._ended = threading.Event()
        self._thread = threading.Thread(target=self._run)
        self._thread.start()

    def _run(self):
        while not self._ended.wait(0.01):
            due = int((time.monotonic() - self._begun) * self._rate) - self.sent
            self.sent += self._program.send([self._message] * due, self._to)

    def stop(self):
        """Ends it; the messages a second that were sent."""
        self._ended.set()
        self._thread.join()
        return self.sent / (time.monotonic() - self._begun)
