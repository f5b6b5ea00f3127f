# SPDX-License-Identifier: MIT
"""keyloftctl with machines on USB: one, twins and sixteen."""

import fcntl
import json
import signal
import subprocess

import screen_driver
import sequencer
import wire
from gadgets import CODES
from keyloftctl import CODE, MAPPING, MESSAGE, SET, WORDS, KeyloftCtl, Lines
from scenario import SCRATCH
from until import until


class OneMachine(KeyloftCtl):
    def test_sequence_is_exact_and_confirmed(self):
        machine = self.machine()
        self.expect([*SET, "--save"],
                    f"{CODE}  {WORDS}confirmed (N ms)\n{CODE}  save  confirmed (N ms)\n")
        self.assertEqual(machine.received_bytes(),
                         b"".join(wire.sequence(MESSAGE) + wire.sequence(wire.SAVE)))
        self.assertEqual(machine.tables(), {CODE: {"table": [MAPPING], "saved": [MAPPING]}})

    def test_second_attempt_and_silence(self):
        machine = self.machine("--silent", "--times", "3")
        self.expect(SET, f"{CODE}  {WORDS}unconfirmed: sent twice, and no echo came\n", status=1)
        self.expect(SET, f"{CODE}  {WORDS}confirmed (second attempt, N ms)\n")
        self.assertEqual(machine.received_bytes(), b"".join(wire.sequence(MESSAGE)) * 4)

    def test_a_second_one_is_refused_while_the_first_is_at_work(self):
        self.machine("--silent")
        first = self.start(*SET)
        address = "{}:{}".format(*self.address_of(CODE))
        lock = SCRATCH / f"keyloftctl-{address}.lock"
        until("the lock", lambda: lock.exists() and self.is_locked(lock))
        first.send_signal(signal.SIGSTOP)
        self.expect(SET, errors=f"keyloftctl: {address} is in use by another keyloftctl (process "
                                f"{first.pid})\n", status=3)
        self.expect(["list"], f"{CODE}  {address}  {CODE} MIDI 1\n")
        first.send_signal(signal.SIGCONT)
        self.assertIn(first.wait(60), (0, 1))
        self.assertFalse(self.is_locked(lock))

    @staticmethod
    def address_of(code):
        return next((client.number, port) for client in sequencer.clients()
                    for port, name in client.ports.items() if name.startswith(code))

    @staticmethod
    def is_locked(path):
        with open(path, "r+b") as file:
            try:
                fcntl.lockf(file, fcntl.LOCK_EX | fcntl.LOCK_NB)
            except OSError:
                return True
            return False

    def test_ends_by_the_signal_in_the_middle(self):
        machine = self.machine("--silent")
        process = self.start(*SET)
        until("the message", lambda: MESSAGE in machine.received_bytes())
        process.send_signal(signal.SIGTERM)
        output, errors = process.communicate(timeout=60)
        self.assertEqual((process.returncode, errors), (-signal.SIGTERM, ""))
        # The second attempt may have begun before the signal came.
        self.assertRegex(output, "unconfirmed: sent (once because it was stopped|twice), and no echo")
        self.assertEqual(len(machine.received_bytes()) % 16, 0)

    def test_keyloft_and_another_listener_are_named(self):
        self.machine()
        address = "{}:{}".format(*self.address_of(CODE))
        screen = self.open_screen()
        listener = subprocess.Popen(["aseqdump", "-p", address], stdout=subprocess.DEVNULL)
        self.addCleanup(listener.wait)
        self.addCleanup(listener.kill)
        until("the listener", lambda: any(client.pid == listener.pid and client.come_from
                                          for client in sequencer.clients()))
        output, errors, status = self.run_it(*SET)
        self.assertEqual((output, status), (f"{CODE}  {WORDS}confirmed (N ms)\n", 0))
        self.assertRegex(errors, r"^keyloftctl: keyloft is open \(process [0-9]+\): .*\n")
        self.assertIn(f'keyloftctl: "aseqdump" (process {listener.pid}) is connected to {CODE} and '
                      "hears its echo, too\n", errors)
        screen.fill_in(part=3, kind="Note On", channel=1, controller=64)
        self.assertEqual(screen.do(screen_driver.APPLY), ("设置成功!", "旋钮3--设置成功!"))
        self.assertEqual(screen.close(), 0)

    def test_watch_sees_machines_come_and_go_and_what_they_send(self):
        watch = self.start("watch", "--json")
        lines, notes = Lines(watch.stdout), Lines(watch.stderr)
        self.assertEqual(notes.next(), "keyloftctl: no machine is there yet; waiting for one\n")
        machine = self.machine()
        presence = json.loads(lines.next())
        self.assertEqual((presence["kind"], presence["machine"], presence["present"]),
                         ("presence", CODE, True))
        self.assertEqual(self.run_it(*SET)[2], 0)
        echo = json.loads(lines.next())
        self.assertEqual((echo["kind"], echo["machine"], echo["bytes"]),
                         ("message", CODE, "B0 07 0C"))
        machine.power_cycle()
        for present in (False, True):
            self.assertEqual(json.loads(lines.next())["present"], present)
        watch.send_signal(signal.SIGINT)
        self.assertEqual(watch.wait(60), 0)


class SeveralMachines(KeyloftCtl):
    def test_each_of_sixteen_is_set_and_saved_while_all_are_there(self):
        machines = self.simulate(self.plug(*CODES))
        output, errors, status = self.run_it("list")
        self.assertEqual([line.split()[0] for line in output.splitlines()], CODES)
        self.assertEqual((errors, status), ("", 0))
        output, errors, status = self.run_it(*SET)
        self.assertEqual((output, status), ("", 3))
        self.assertRegex(errors, "^keyloftctl: several machines are there, name one with -m: ")
        for number, code in enumerate(CODES):
            self.expect(["-m", code, "set", str(number), "bend", "16", "127", "--save"],
                        f"{code}  part {number}: Bend Change, channel 16, controller 127  "
                        f"confirmed (N ms)\n{code}  save  confirmed (N ms)\n")
        held = {code: [{"part": number, "type": "Bend Change", "channel": 16, "controller": 127}]
                for number, code in enumerate(CODES)}
        wanted = {code: {"table": table, "saved": table} for code, table in held.items()}
        self.assertEqual(machines.tables(), wanted)
        machines.power_cycle()
        self.assertEqual(machines.tables(), wanted)

    def test_twins_are_told_apart_by_their_ports(self):
        gadgets = [self.gadget(CODE, slot) for slot in (3, 4)]
        for gadget in gadgets:
            gadget.plug()
        self.simulate(gadgets[:1])
        addresses = [f"{gadget.client().number}:0" for gadget in gadgets]
        output, errors, status = self.run_it(*SET)
        self.assertEqual((output, status), ("", 3))
        for address in addresses:
            self.assertIn(address, errors)
        self.expect(["-m", f"{CODE}@{addresses[0]}", *SET], f"{CODE}  {WORDS}confirmed (N ms)\n")
        self.expect(["-m", f"{CODE}@{addresses[1]}", *SET],
                    f"{CODE}  {WORDS}unconfirmed: sent twice, and no echo came\n", status=1)
        self.assertEqual(self.run_it("doctor")[2], 3)
