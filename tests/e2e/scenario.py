# SPDX-License-Identifier: MIT
"""What every scenario builds on: machines, a fresh keyloft, and their end afterwards."""

import os
import shutil
import signal
import unittest
from collections import Counter
from pathlib import Path

import sequencer
import usb_monitor
from command import USUAL, failure
from gadgets import CODES, Gadget
from machines import Machines
from screen_driver import APPLY, Screen
from scripted_machine import ScriptedMachine
from transcript import Transcript

# Where keyloft's and the machines' files are while a test runs: in memory, so that writing them
# takes no time. Afterwards they are in the shared folder.
SCRATCH = Path("/tmp/scenario")


class TimedOut(Exception):
    pass


def _time_out(_signal, _frame):
    raise TimedOut("the scenario took too long")


# Whether storms and the like last for minutes: script/test --long.
LONG = bool(os.environ.get("KEYLOFT_E2E_LONG"))


class Scenario(unittest.TestCase):
    """One test at a time has the whole guest to itself."""

    TIME_LIMIT = 240  # seconds for one test
    COMMAND = USUAL
    maxDiff = None

    def setUp(self):
        signal.signal(signal.SIGALRM, _time_out)
        signal.alarm(self.TIME_LIMIT)
        self.addCleanup(signal.alarm, 0)
        shutil.rmtree(SCRATCH, ignore_errors=True)
        SCRATCH.mkdir()
        self.addCleanup(self._keep_files)

    def _keep_files(self):
        kept = self.results() / self.id()
        shutil.rmtree(kept, ignore_errors=True)
        shutil.copytree(SCRATCH, kept)

    @staticmethod
    def results():
        """The folder for what is to be looked at on the host afterwards."""
        return Path(os.environ["KEYLOFT_E2E_RESULTS"])

    @staticmethod
    def program(name):
        """A program of the build that is not installed."""
        return Path(os.environ["KEYLOFT_E2E_BUILD"]) / name

    def gadget(self, code, slot=None):
        """A gadget that is not plugged in."""
        gadget = Gadget(code, slot)
        self.addCleanup(gadget.remove)
        return gadget

    def plug(self, *codes):
        """Plugs in one gadget for each code."""
        gadgets = [self.gadget(code) for code in codes]
        for gadget in gadgets:
            gadget.bind()
        for gadget in gadgets:
            gadget.wait_until_plugged()
        return gadgets

    def simulate(self, gadgets, *faults):
        """Lets machines answer for plugged gadgets."""
        machines = Machines(self.program("tests/e2e/keyloft-raw-machine"), gadgets, SCRATCH, *faults)
        self.addCleanup(machines.stop)
        return machines

    def machine(self, *faults, code=CODES[5]):
        """The common case: one machine, plugged and answering."""
        return self.simulate(self.plug(code), *faults)

    def watch_wire(self, gadget):
        """Records what goes over a machine's cable from now on."""
        monitor = usb_monitor.UsbMonitor(gadget.slot)
        self.addCleanup(monitor.stop)
        return monitor

    def scripted_machine(self, client_name, port_name):
        """A machine on the sequencer alone that can be told to change its names."""
        machine = ScriptedMachine(self.program("tests/e2e/keyloft-scripted-machine"), client_name,
                                  port_name, SCRATCH)
        self.addCleanup(machine.stop)
        return machine

    def open_screen(self, environment=None, *, through=(), folder=SCRATCH, stdout=None):
        """A fresh keyloft whose window is there; `through`: a command that starts its argument."""
        folder.mkdir(exist_ok=True)
        screen = Screen([*through, os.environ["KEYLOFT_E2E_PROGRAM"]], folder, environment, stdout)
        self.addCleanup(screen.kill)
        return screen

    def open_filled_in(self, *arguments, **options):
        """A fresh keyloft with the command filled in, and nothing printed since."""
        screen = self.open_screen(*arguments, **options)
        screen.fill_in(**self.COMMAND.inputs)
        screen.new_output()
        return screen

    def check_press(self, screen, alert, expected):
        """Presses 设置; `expected` is what that prints, with what is on the sequencer now."""
        printed = Transcript.of_now()
        self.assertEqual(screen.do(APPLY), alert)
        self.assertEqual(screen.new_output(), expected(printed))

    def check_confirmed(self, screen, code):
        self.check_press(screen, self.COMMAND.success,
                         lambda printed: self.COMMAND.confirmed(printed, code))

    def check_refused(self, screen, chosen, *present):
        """With these machines there, and one that the menu shows."""
        self.check_press(screen, failure(*present),
                         lambda printed: self.COMMAND.refused(printed, chosen))

    @staticmethod
    def holdings(screen):
        """What keyloft has, and all clients of the sequencer."""
        return Counter({"threads": screen.threads(), "clients": sequencer.number_of_clients(),
                        "subscriptions": sequencer.own_subscriptions(), **screen.descriptors()})

    def check_machine(self, machine, sequences=1, since=0, code=CODES[5]):
        """So many whole sequences came, and nothing more; it holds what they say."""
        self.assertEqual(machine.received_bytes()[since:], sequences * self.COMMAND.sequence)
        self.assertEqual(machine.tables(), {code: self.COMMAND.held})
