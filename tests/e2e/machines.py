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


class Machines:
    """One process that answers for some plugged gadgets; the faults are for all of them.

    `faults` are arguments of the program, such as "--delay", "250".
    """

    def __init__(self, program, gadgets, folder, *faults):
        self.codes = [gadget.code for gadget in gadgets]
        self._journal = folder / f"journal-{'-'.join(self.codes[:2])}.jsonl"
        self._output = folder / f"machines-{'-'.join(self.codes[:2])}.jsonl"
        self._errors = self._output.with_suffix(".err")
        self._journal.unlink(missing_ok=True)
        with open(self._output, "wb") as output, open(self._errors, "wb") as errors:
            self._process = subprocess.Popen(
                [program, *(gadget.place for gadget in gadgets), "--journal", self._journal,
                 *faults], stdin=subprocess.DEVNULL, stdout=output, stderr=errors)
        until("the simulated machines", lambda: self._ready() or self._process.poll() is not None)
        if self._process.poll() is not None:
            raise AssertionError(f"keyloft-raw-machine ended: {self._errors.read_text()}")

    def _lines(self, path):
        """The whole lines of a file of JSON lines."""
        text = path.read_text() if path.exists() else ""
        return [json.loads(line) for line in text[:text.rfind("\n") + 1].splitlines()]

    def _ready(self):
        return {"ready": True} in self._lines(self._output)

    def journal(self):
        return self._lines(self._journal)

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
        before = len(self._lines(self._output))
        self._process.send_signal(signal.SIGUSR2)
        count = before + len(self.codes)
        until("the tables", lambda: len(self._lines(self._output)) >= count)
        return {line["machine"]: {"table": line["table"], "saved": line["saved"]}
                for line in self._lines(self._output)[before:count]}

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
