# SPDX-License-Identifier: MIT
"""Simulated machines on the far end of USB cables: the program keyloft-raw-machine."""

import dataclasses
import json
import signal
import subprocess

from until import until


@dataclasses.dataclass
class Run:
    """Bytes that a machine read or wrote in one go, with CLOCK_MONOTONIC in seconds."""
    at: float
    machine: str
    data: bytes


class JsonLines:
    """A file to which a program appends JSON lines. Each is read once: the processor is emulated."""

    def __init__(self, path):
        self.path = path
        self._entries = []
        self._read = 0  # bytes

    def entries(self):
        """The whole lines so far."""
        if self.path.exists():
            with open(self.path, "rb") as file:
                file.seek(self._read)
                text = file.read()
            text = text[:text.rfind(b"\n") + 1]
            self._read += len(text)
            self._entries += map(json.loads, text.splitlines())
        return self._entries


class Machines:
    """One process that answers for some plugged gadgets; the faults are for all of them.

    `faults` are arguments of the program, such as "--delay", "250".
    """

    def __init__(self, program, gadgets, folder, *faults):
        self.codes = [gadget.code for gadget in gadgets]
        self._journal = JsonLines(folder / f"journal-{'-'.join(self.codes[:2])}.jsonl")
        self._output = JsonLines(folder / f"machines-{'-'.join(self.codes[:2])}.jsonl")
        self._errors = self._output.path.with_suffix(".err")
        self._journal.path.unlink(missing_ok=True)
        with open(self._output.path, "wb") as output, open(self._errors, "wb") as errors:
            self._process = subprocess.Popen(
                [program, *(gadget.place for gadget in gadgets), "--journal", self._journal.path,
                 *faults], stdin=subprocess.DEVNULL, stdout=output, stderr=errors)
        until("the simulated machines", lambda: self._ready() or self._process.poll() is not None)
        if self._process.poll() is not None:
            raise AssertionError(f"keyloft-raw-machine ended: {self._errors.read_text()}")

    def _ready(self):
        return {"ready": True} in self._output.entries()

    def journal(self):
        return self._journal.entries()

    def _runs(self, key, code):
        return [Run(entry["ns"] / 1e9, entry["machine"], bytes.fromhex(entry[key]))
                for entry in self.journal()
                if key in entry and code in (None, entry["machine"])]

    def received(self, code=None):
        """The runs that came in, of one machine or of all in the order of reading."""
        return self._runs("received", code)

    def sent(self, code=None):
        return self._runs("sent", code)

    def received_bytes(self, code=None):
        return b"".join(run.data for run in self.received(code))

    def events(self, code=None):
        """What happened to the machines, as sentences."""
        return [entry["event"] for entry in self.journal()
                if "event" in entry and code in (None, entry["machine"])]

    def tables(self):
        """What each machine holds now: by code, {"table": [...], "saved": [...]}.

        A mapping is {"part": 5, "type": "Note On", "channel": 3, "controller": 64}.
        """
        before = len(self._output.entries())
        self._process.send_signal(signal.SIGUSR2)
        count = before + len(self.codes)
        until("the tables", lambda: len(self._output.entries()) >= count)
        return {line["machine"]: {"table": line["table"], "saved": line["saved"]}
                for line in self._output.entries()[before:count]}

    def power_cycle(self):
        """Pulls every plug and puts it back, as switching the machines off and on does."""
        cycles = sum(event.startswith("power cycle") for event in self.events())
        self._process.send_signal(signal.SIGUSR1)
        wanted = cycles + len(self.codes)
        until("the power cycle", lambda: sum(
            event.startswith("power cycle") for event in self.events()) >= wanted)

    def stop(self):
        if self._process.poll() is None:
            self._process.terminate()
        return self._process.wait(60)
