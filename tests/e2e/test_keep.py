# SPDX-License-Identifier: MIT
"""keyloftctl keep with machines on USB that come and go."""

import os
import random
import shutil
import signal
import subprocess
import time
from pathlib import Path

import layouts
import sequencer_node
from gadgets import CODES
from keyloftctl import CODE, KeyloftCtl, program
from sequencer_advice import NO_NODE, NO_PERMISSION
from scenario import SCRATCH
from until import until

FOUR = CODES[3:7]
PLUG_INS = 30
PARTS = 6
SEED = 20260201  # the order of plug-ins; how they meet what keep does differs each time
IDLE = 10  # seconds
LOOKS_AGAIN = "; looking again every ten seconds\n"


class Keep(KeyloftCtl):
    TIME_LIMIT = 900

    def keep(self, file, through=(), environment=None):
        """Starts it; what it writes goes into files."""
        self.said = SCRATCH / "keep.txt"
        self.troubles = SCRATCH / "keep.err"
        with open(self.said, "wb") as out, open(self.troubles, "wb") as err:
            process = subprocess.Popen([*through, program(), "keep", file],
                                       stdin=subprocess.DEVNULL, stdout=out, stderr=err,
                                       env=environment or self.environment)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def end(self, process, number=signal.SIGTERM):
        process.send_signal(number)
        self.assertEqual(process.wait(60), 0, self.troubles.read_text())

    def sequencer_troubles(self):
        """The lines about the sequencer on standard error."""
        return [line for line in self.troubles.read_text().splitlines(keepends=True)
                if line.endswith(LOOKS_AGAIN)]

    def wait_until_held(self, machines, held):
        """`machines`: by code. None of them ever saves."""
        for code, machine in machines.items():
            wanted = {code: {"table": held[code], "saved": []}}
            until(f"{code} to be set", lambda this=machine, that=wanted: this.tables() == that)

    def test_machines_come_and_go_at_random_while_the_file_is_replaced(self):
        held = {code: layouts.mappings(code, parts=PARTS) for code in FOUR}
        file = self.write_layout(held)
        machines = {gadget.code: self.simulate([gadget]) for gadget in self.plug(*FOUR)}
        process = self.keep(file)
        self.wait_until_held(machines, held)
        choice = random.Random(SEED)
        plug_ins, turn = 0, 0
        while plug_ins < PLUG_INS:
            chosen = choice.sample(FOUR, choice.randint(1, len(FOUR)))
            for code in chosen:
                machines[code].power_cycle()
                plug_ins += 1
            if turn < 2 and plug_ins > (turn + 1) * PLUG_INS / 3:
                turn += 1
                held = {code: layouts.mappings(code, turn, PARTS) for code in FOUR}
                # As editors and git do: another file takes the name.
                os.replace(self.write_layout(held, "new.toml"), file)
            self.wait_until_held(machines, held)
        self.assertEqual(turn, 2)
        self.end(process)

    def test_an_ordinary_user_first_without_a_sequencer_and_then_without_permission(self):
        held = {CODE: layouts.mappings(CODE, parts=PARTS)}
        file = self.write_layout(held)
        folder = SCRATCH / "ordinary"
        folder.mkdir()
        shutil.chown(folder, "nobody", "nogroup")
        sequencer_node.open_folders_of(program())
        sequencer_node.take_away(self)
        process = self.keep(
            file, ["setpriv", "--reuid=nobody", "--regid=nogroup", "--clear-groups"],
            {**os.environ, "XDG_RUNTIME_DIR": str(folder)})
        no_node, no_permission = (
            text.replace("keyloft: ", "keyloftctl: ").replace("\n", LOOKS_AGAIN)
            for text in (NO_NODE, NO_PERMISSION))
        until("the first line", lambda: self.sequencer_troubles() == [no_node])
        process.send_signal(signal.SIGSTOP)  # it is not to see what comes between
        sequencer_node.load()
        sequencer_node.allow_the_group_only(self)
        process.send_signal(signal.SIGCONT)
        machine = self.machine()
        until("the second line", lambda: self.sequencer_troubles() == [no_node, no_permission])
        sequencer_node.NODE.chmod(0o666)
        self.wait_until_held({CODE: machine}, held)
        # With the node gone it goes on with what it has open.
        device = sequencer_node.NODE.stat().st_rdev
        sequencer_node.NODE.unlink()
        self.addCleanup(os.mknod, sequencer_node.NODE, 0o20666, device)
        machine.power_cycle()
        self.wait_until_held({CODE: machine}, held)
        self.assertEqual(self.sequencer_troubles(), [no_node, no_permission])
        self.end(process, signal.SIGINT)

    def test_nothing_wakes_it_while_nothing_happens(self):
        held = {CODE: layouts.mappings(CODE, parts=PARTS)}
        machine = self.machine()
        process = self.keep(self.write_layout(held))
        self.wait_until_held({CODE: machine}, held)
        until("the line that says so", self.said.read_text)
        self.assertGreater(self.settled_switches(process.pid), 0)
        before = self.switches(process.pid)
        time.sleep(IDLE)
        self.assertEqual(self.switches(process.pid), before)
        machine.power_cycle()
        self.wait_until_held({CODE: machine}, held)
        self.assertGreater(self.switches(process.pid), before)
        self.end(process)

    @staticmethod
    def switches(pid):
        """How often its threads went to sleep or were put there."""
        return sum(int(line.split()[1]) for task in Path(f"/proc/{pid}/task").iterdir()
                   for line in (task / "status").read_text().splitlines()
                   if "ctxt_switches" in line)

    def settled_switches(self, pid):
        """The number when what it was doing has come to its end."""
        last = self.switches(pid)
        for _ in range(20):
            time.sleep(0.5)
            now = self.switches(pid)
            if now == last:
                return now
            last = now
        raise AssertionError("it does not come to rest")
