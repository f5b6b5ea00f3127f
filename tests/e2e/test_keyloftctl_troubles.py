# SPDX-License-Identifier: MIT
"""keyloftctl, and what comes between it and a machine."""

import re
import subprocess
from pathlib import Path

import sequencer
import sequencer_node
import wire
from keyloftctl import CODE, MESSAGE, SET, WORDS, KeyloftCtl, program
from sequencer_advice import NO_CLIENT, NO_DRIVER, NO_NODE, NO_PERMISSION
from until import until


class Unplugged(KeyloftCtl):
    def test_at_each_message(self):
        gadget = self.gadget(CODE)
        for count in range(1, 11):
            with self.subTest(count):
                gadget.plug()
                machine = self.simulate([gadget], "--vanish-after", str(count))
                output, errors, status = self.run_it(*SET)
                self.assertEqual(errors, "")
                if count < 10:
                    self.assertRegex(output, f"^{CODE}  {re.escape(WORDS)}(not sent: the machine is "
                                             "gone|unconfirmed: .*no echo came.*)\n$")
                    self.assertEqual(status, 1)
                    self.assertEqual(machine.tables()[CODE]["table"], [])
                self.assertEqual(machine.stop(), 0)
                until("it has gone", lambda: gadget.near_card() is None)


class BetweenThem(KeyloftCtl):
    def test_a_loop_is_not_taken_for_a_machine(self):
        through = next(client.number for client in sequencer.clients()
                       if client.name == "Midi Through")
        self.expect(["-m", f"{CODE}@{through}:0", *SET],
                    f"{CODE}  {WORDS}unconfirmed: sent, and everything came back; something "
                    "returns whatever it is sent, such as a loop-back cable or a through port\n",
                    status=1)

    def test_another_name_is_no_obstacle(self):
        machine = self.scripted_machine("Merge Box", "Merge Box Port")
        client = next(client for client in sequencer.clients() if client.name == "Merge Box")
        self.expect(["-m", f"{CODE}@{client.number}:0", *SET],
                    f"{CODE}  {WORDS}confirmed (N ms)\n")
        self.assertEqual(machine.received_bytes(), b"".join(wire.sequence(MESSAGE)))

    def test_a_network_in_between_changes_nothing(self):
        machine = self.machine()
        near = next(client for client in sequencer.clients()
                    if any(name.startswith(CODE) for name in client.ports.values()))
        address = f"{near.number}:0"
        for arguments in (["-p", "5005", "-s", address, "-d", address], ["-p", "5005", "localhost"]):
            bridge = subprocess.Popen(["aseqnet", *arguments], stdin=subprocess.DEVNULL,
                                      stdout=subprocess.DEVNULL)
            self.addCleanup(bridge.wait)
            self.addCleanup(bridge.kill)
            until("the bridge", lambda pid=bridge.pid: any(
                client.pid == pid and client.ports for client in sequencer.clients()))
            if len(arguments) > 3:
                until("the server", lambda: ":138D " in Path("/proc/net/tcp").read_text()
                      + Path("/proc/net/tcp6").read_text())
        far = next(client for client in sequencer.clients() if client.pid == bridge.pid)
        output, _, status = self.run_it("-m", f"{CODE}@{far.number}:0", *SET)
        # Two more programs on the way: in the guest that may take longer than a wait.
        self.assertRegex(output, f"^{CODE}  {WORDS}confirmed \\((second attempt, )?N ms\\)\n$")
        self.assertEqual(status, 0)
        attempts = 2 if "second" in output else 1
        self.assertEqual(machine.received_bytes(), b"".join(wire.sequence(MESSAGE)) * attempts)

    def test_doctor_says_what_is_missing_and_is_content_afterwards(self):
        output, _, status = self.run_it("doctor")
        self.assertEqual(status, 3)
        self.assertIn("ok       sequencer: /dev/snd/seq is there", output)
        self.assertIn("problem  machines: no port has a name that begins with eight", output)
        machine = self.scripted_machine("Clone", f"{CODE} Port")
        output, _, status = self.run_it("doctor")
        self.assertEqual(status, 0)
        self.assertRegex(output, f"ok       {CODE}: can be set up \\([0-9]+:0\\)\n")
        self.assertIn(f"note     {CODE}: keyloft's window refuses it: ", output)
        machine.stop()
        self.machine()
        output, errors, status = self.run_it("doctor")
        self.assertEqual((errors, status), ("", 0))
        self.assertNotIn("problem", output)
        self.assertNotIn("note", output)

    def test_an_ordinary_user_without_permission_is_told(self):
        done = subprocess.run(
            ["setpriv", "--reuid=nobody", "--regid=nogroup", "--clear-groups", program(), "list"],
            capture_output=True, text=True, timeout=60, check=False)
        self.assertEqual((done.stdout, done.returncode), ("", 4))
        self.assertRegex(done.stderr, "^keyloftctl: .*permission.*/dev/snd/seq.*; .*\n$")


class Doctor(KeyloftCtl):
    """In each trouble with the sequencer, and after what it says is done."""

    def assert_trouble(self, advice, run=None):
        sentence, remedy = advice.removeprefix("keyloft: ").rstrip("\n").rsplit("; ", 1)
        output, errors, status = (run or self.run_it)("doctor")
        self.assertEqual(output, f"problem  sequencer: {sentence}\n"
                                 f"         What to do: {remedy}\n")
        self.assertEqual((errors, status), ("", 4))

    def assert_content(self, run=None):
        output, errors, status = (run or self.run_it)("doctor")
        self.assertIn("ok       sequencer: /dev/snd/seq is there, has its driver, and you may use "
                      "it\n", output)
        self.assertRegex(output, f"\nok       {CODE}: can be set up \\([0-9]+:0\\)\n")
        self.assertNotIn("problem", output)
        self.assertEqual((errors, status), ("", 0))

    def test_no_node_and_no_driver(self):
        sequencer_node.take_away(self)
        self.assert_trouble(NO_NODE)
        give_driver_back = sequencer_node.make_node_without_driver(self)
        self.assert_trouble(NO_DRIVER)
        give_driver_back()
        self.machine()
        self.assert_content()

    def test_no_place_left(self):
        self.scripted_machine(CODE, f"{CODE} MIDI 1")
        taken, give_back = sequencer_node.take_all_clients(self)
        self.assertEqual(len(taken), sequencer_node.PROGRAM_CLIENTS - 1)
        self.assert_trouble(NO_CLIENT)
        give_back()
        self.assert_content()

    def test_no_permission(self):
        self.scripted_machine(CODE, f"{CODE} MIDI 1")
        sequencer_node.allow_the_group_only(self)
        sequencer_node.open_folders_of(program())
        self.assert_trouble(NO_PERMISSION, self.run_as_nobody)
        sequencer_node.NODE.chmod(0o666)
        self.assert_content(self.run_as_nobody)

    def run_as_nobody(self, *arguments):
        done = subprocess.run(
            ["setpriv", "--reuid=nobody", "--regid=nogroup", "--clear-groups", program(),
             *arguments], capture_output=True, text=True, timeout=60, check=False,
            env=self.environment)
        return done.stdout, done.stderr, done.returncode
