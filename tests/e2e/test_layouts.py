# SPDX-License-Identifier: MIT
"""Layouts applied to machines on USB."""

import json
import re
import subprocess
from collections import Counter
from pathlib import Path

import layouts
import sequencer
import wire
from gadgets import CODES
from keyloftctl import CODE, KeyloftCtl, program
from scenario import LONG, SCRATCH
from sequencer_program import Flood, SequencerProgram
from until import until

RATE = 3000  # messages a second, if the host is not busy
SOME_PARTS = 64  # all of them are sent once: the guest needs long for them
APPLIES = 1000 if LONG else 100


class Layouts(KeyloftCtl):
    TIME_LIMIT = 900

    def lines_of(self, process):
        """What it prints from here to its end, line by line, and its status."""
        # Not communicate(), which would miss what was read ahead.
        lines = [json.loads(line) for line in process.stdout]
        self.assertEqual(process.stderr.read(), "")
        return lines, process.wait(60)

    def apply(self, *arguments):
        return self.lines_of(self.start("--json", "apply", *arguments))

    def check_all_confirmed(self, lines, held, saved):
        """A line for each mapping, in the order of the parts on each machine, and the sums."""
        for code, entries in held.items():
            own = [line for line in lines if line["machine"] == code]
            *results, total = own
            kinds = ["mapping"] * len(entries) + ["save"] * saved
            self.assertEqual([line["kind"] for line in results], kinds)
            self.assertEqual({line["result"] for line in results}, {"confirmed"})
            self.assertEqual([line["part"] for line in results[:len(entries)]],
                             [entry["part"] for entry in entries])
            self.assertEqual((total["kind"], total["mappings"], total["confirmed"]),
                             ("sum", len(entries), len(entries)))
            self.assertEqual(total["saved"], True if saved else None)
        self.assertEqual({line["machine"] for line in lines}, set(held))


class Sixteen(Layouts):
    def setUp(self):
        super().setUp()
        self.gadgets = self.plug(*CODES)
        self.machines = self.simulate(self.gadgets)
        self.first = {code: layouts.mappings(code) for code in CODES}
        self.second = {code: layouts.mappings(code, turn=1, parts=SOME_PARTS) for code in CODES}

    def check_tables(self, held, saved):
        tables = self.machines.tables()
        for code in CODES:
            self.assertEqual(tables[code], {"table": held[code], "saved": saved[code]}, code)

    def begin(self, held, mappings):
        """Applies a layout; returns in the middle, after so many mappings: the process, its
        lines."""
        process = self.start("--json", "apply", self.write_layout(held))
        return process, [process.stdout.readline() for _ in range(mappings)]

    def test_applied_at_once_and_power_cycled_then_pulled_then_killed_in_the_middle(self):
        lines, status = self.apply("--save", self.write_layout(self.first))
        self.check_all_confirmed(lines, self.first, saved=True)
        self.assertEqual(status, 0)
        for code in CODES:
            wanted = [layouts.message(entry) for entry in self.first[code]] + [wire.SAVE]
            self.assertEqual(layouts.sequences(self.machines.received_bytes(code)), wanted)
        self.check_tables(self.first, self.first)
        self.machines.power_cycle()
        self.check_tables(self.first, self.first)
        self.check_four_pulled_in_the_middle()
        # What was not saved has gone with the next power cycle.
        self.machines.power_cycle()
        self.check_tables(self.first, self.first)
        self.check_killed_in_the_middle()

    def check_four_pulled_in_the_middle(self):
        pulled = self.gadgets[2::4]
        process, lines = self.begin(self.second, 100)
        for gadget in pulled:
            gadget.unbind()
        rest, status = self.lines_of(process)
        lines = [json.loads(line) for line in lines] + rest
        self.assertEqual(status, 1)
        tables = self.machines.tables()
        for gadget in self.gadgets:
            code = gadget.code
            *results, total = [line for line in lines if line["machine"] == code]
            self.assertEqual([line["part"] for line in results], list(range(SOME_PARTS)))
            counts = Counter(line["result"] for line in results)
            self.assertEqual(counts, {key: total[key] for key in counts})
            held = {entry["part"]: entry for entry in tables[code]["table"]}
            for line, old, new in zip(results, self.first[code], self.second[code]):
                # What was sent and not confirmed is as it was, or as it was to be.
                possible = {"confirmed": [new], "unconfirmed": [old, new], "not_sent": [old]}
                self.assertIn(held[line["part"]], possible[line["result"]], line)
            if gadget in pulled:
                self.assertGreater(counts["not_sent"], 0)
                self.assertEqual(results[-1]["reason"], "gone")
            else:
                self.assertEqual(counts, {"confirmed": SOME_PARTS})
        for gadget in pulled:
            gadget.wait_until_gone()
            gadget.plug()

    def check_killed_in_the_middle(self):
        some = {code: self.second[code] for code in CODES[::4]}
        process, _ = self.begin(some, 50)
        process.kill()
        process.wait(60)
        lines, status = self.apply(self.write_layout(some))
        self.check_all_confirmed(lines, some, saved=False)
        self.assertEqual(status, 0)
        held = {code: some.get(code, []) + entries[len(some.get(code, [])):]
                for code, entries in self.first.items()}
        self.check_tables(held, self.first)


class OneMachine(Layouts):
    def setUp(self):
        super().setUp()
        self.simulated = self.machine()
        self.held = {CODE: layouts.mappings(CODE)}

    def test_beside_thousands_of_messages_that_another_program_pours_into_its_port(self):
        other = SequencerProgram("Other", "Other port")
        self.addCleanup(other.close)
        file = self.write_layout(self.held)
        poured = 0
        while poured < RATE:
            process = self.start("--json", "apply", file)
            port = until("its port", lambda child=process: self.input_port_of(child))
            flood = Flood(other, bytes((0xBF, 7, 100)), RATE, port)
            self.addCleanup(flood.stop)
            lines, status = self.lines_of(process)
            flood.stop()
            poured += flood.sent
            self.check_all_confirmed(lines, self.held, saved=False)
            self.assertEqual(status, 0)
        self.assertEqual(self.simulated.tables(),
                         {CODE: {"table": self.held[CODE], "saved": []}})

    @staticmethod
    def input_port_of(process):
        if process.poll() is not None:
            raise AssertionError(f"it ended: {process.communicate()}")
        try:
            return sequencer.address("keyloftctl", "Input port")
        except AssertionError:
            return None

    def test_another_program_at_its_port_sees_exactly_the_echoes(self):
        near = next(client for client in sequencer.clients()
                    if any(name.startswith(CODE) for name in client.ports.values()))
        said = SCRATCH / "aseqdump.txt"
        with open(said, "wb") as out:
            listener = subprocess.Popen(["aseqdump", "-p", f"{near.number}:0"],
                                        stdin=subprocess.DEVNULL, stdout=out)
        self.addCleanup(listener.wait)
        self.addCleanup(listener.kill)
        until("the listener", lambda: any(client.name == "aseqdump" and client.come_from
                                          for client in sequencer.clients()))
        output, errors, status = self.run_it("--json", "apply", self.write_layout(self.held))
        self.assertIn('"aseqdump"', errors)
        self.check_all_confirmed([json.loads(line) for line in output.splitlines()], self.held,
                                 saved=False)
        self.assertEqual(status, 0)
        echoes = [run.data for run in self.simulated.sent()]
        until("all of it", lambda: len(self.dumped(said)) >= len(echoes))
        self.assertEqual(self.dumped(said), echoes)
        # One each, unless a busy host let one come too late.
        self.assertEqual(list(dict.fromkeys(echoes)),
                         [layouts.message(entry) for entry in self.held[CODE]])

    @staticmethod
    def dumped(file):
        """The messages of aseqdump's lines, as bytes."""
        found = []
        for line in file.read_text().splitlines():
            event = re.match(r" *\d+:\d+ +(Note on|Note off|Control change|Pitch bend) +(.*)$",
                             line)
            if event is None:
                continue
            numbers = [int(number) for number in re.findall(r"-?\d+", event[2])]
            if event[1] == "Pitch bend":
                position = numbers[1] + 8192
                numbers[1:] = [position & 0x7F, position >> 7]
            status = {"Note on": 0x90, "Note off": 0x80, "Control change": 0xB0,
                      "Pitch bend": 0xE0}[event[1]]
            found.append(bytes((status | numbers[0], *numbers[1:])))
        return found

    def test_a_thousand_times_leaves_nothing_behind(self):
        entry = self.held[CODE][7]
        file = self.write_layout({CODE: [entry]})
        self.assertEqual(self.apply(file)[1], 0)  # the lock's file stays
        before = self.holdings()
        attempts = 1
        for _ in range(APPLIES):
            done = subprocess.run([program(), "--json", "apply", file], stdin=subprocess.DEVNULL,
                                  capture_output=True, text=True, check=False, timeout=60,
                                  env=self.environment)
            self.assertEqual((done.returncode, done.stderr), (0, ""))
            attempts += json.loads(done.stdout.splitlines()[0])["attempts"]
        self.assertEqual(self.holdings(), before)
        self.assertEqual(self.simulated.received_bytes(),
                         attempts * b"".join(wire.sequence(layouts.message(entry))))
        self.assertEqual(self.simulated.tables(), {CODE: {"table": [entry], "saved": []}})

    @staticmethod
    def holdings():
        """What a program could leave: clients and subscriptions, files, and shared memory."""
        folders = [SCRATCH, SCRATCH.parent, Path("/dev/shm")]
        return (sequencer.number_of_clients(), [client.come_from for client in sequencer.clients()],
                [sorted(path.name for path in folder.iterdir()) for folder in folders])
