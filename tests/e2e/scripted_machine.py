# SPDX-License-Identifier: MIT
"""A simulated machine on the sequencer that a test directs: keyloft-scripted-machine."""

import json
import subprocess


class ScriptedMachine:
    """Its journal is in a file named after its port."""

    def __init__(self, program, client_name, port_name, folder):
        self._journal = folder / f"journal-{port_name}.jsonl"
        self._process = subprocess.Popen([program, client_name, port_name, self._journal],
                                         stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        self._answer()

    def _answer(self):
        line = self._process.stdout.readline()
        if not line:
            raise AssertionError("keyloft-scripted-machine ended")
        return json.loads(line)

    def tell(self, direction):
        """Gives a direction; what the machine holds: {"table": [...], "saved": [...]}."""
        self._process.stdin.write(direction + "\n")
        self._process.stdin.flush()
        facts = self._answer()
        return {key: facts[key] for key in ("table", "saved")}

    def received_bytes(self):
        text = self._journal.read_text()
        entries = map(json.loads, text[:text.rfind("\n") + 1].splitlines())
        return b"".join(bytes.fromhex(entry["received"]) for entry in entries
                        if "received" in entry)

    def stop(self):
        self._process.stdin.close()
        self._process.stdout.close()
        return self._process.wait(60)
