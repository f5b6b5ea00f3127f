# SPDX-License-Identifier: MIT
"""Starts keyloft and operates its window from outside, through the accessibility bus."""

import os
import re
import subprocess
from pathlib import Path

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402

import x_window  # noqa: E402
from until import PATIENCE, until  # noqa: E402

MACHINE = "设备型号(Machine Serial)"
PART = "硬件编号(Hardware Part Code)"
TYPE = "消息类型(Message Type)："
CHANNEL = "消息通道(Message Channel)："
CONTROLLER = "控制器号(Controller Number)："
APPLY = "设置"
SAVE = "保存"
DISMISS = "确定"

_LABELS = (Atspi.Role.LABEL, Atspi.Role.STATIC)


def _children(node):
    return [child for child in (node.get_child_at_index(index)
                                for index in range(node.get_child_count())) if child]


def _descendants(node):
    """All that is below a node, except the items of menus."""
    for child in _children(node):
        yield child
        if child.get_role() != Atspi.Role.COMBO_BOX:
            yield from _descendants(child)


class Screen:
    """One running keyloft.

    `command` starts it; `stdout` takes what it prints instead of a file in `folder`.
    """

    def __init__(self, command, folder, environment=None, stdout=None):
        # The window does not answer while an action runs: up to seconds, here.
        Atspi.set_timeout(PATIENCE * 1000, PATIENCE * 1000)
        self._output = Path(folder) / "stdout.txt"
        self._errors = Path(folder) / "stderr.txt"
        self._read = 0
        self._bus_object = None
        self._controls = {}
        self._alert = None
        self._dismissing = []  # the alert's two buttons
        with open(self._output, "wb") as output, open(self._errors, "wb") as errors:
            self._process = subprocess.Popen(
                command, stdin=subprocess.DEVNULL, stdout=output if stdout is None else stdout,
                stderr=errors, env=os.environ | (environment or {}))
        self.pid = self._process.pid
        # The one processor that looks for the window is the one that makes it.
        until("the window", lambda: self._find_window() or not self.is_running(), every=0.1)
        if not self.is_running():
            raise AssertionError(f"keyloft ended at once: {self.errors()}")

    # --- the process ---

    def is_running(self):
        return self._process.poll() is None

    def output(self):
        """All of standard output so far."""
        return self._output.read_bytes().decode()

    def new_output(self):
        """What standard output has that no earlier call has given. Ends with a whole line."""
        text = self._output.read_bytes()
        new = text[self._read:text.rfind(b"\n") + 1]
        self._read += len(new)
        return new.decode()

    def errors(self):
        """All of standard error so far, but for what Qt 6.8 says of a bus that just starts."""
        return re.sub("(?m)^qt.dbus.integration: .*\n", "", self._errors.read_bytes().decode())

    def threads(self):
        return len(list(Path(f"/proc/{self.pid}/task").iterdir()))

    def descriptors(self):
        """How many there are, by what they lead to."""
        counts = {}
        for entry in Path(f"/proc/{self.pid}/fd").iterdir():
            kind = str(entry.readlink()).split(":")[0]
            counts[kind] = counts.get(kind, 0) + 1
        return counts

    def close(self):
        """Closes the window, as its close button would; the exit code, negative for a signal."""
        if self.is_running():
            x_window.close(self.pid)
        return self.wait()

    def wait(self):
        """The exit code of a program that is about to end."""
        return self._process.wait(PATIENCE)

    def send_signal(self, number):
        self._process.send_signal(number)

    def kill(self):
        if self.is_running():
            self._process.kill()
        self._process.wait(PATIENCE)

    # --- the window ---

    def _application(self):
        for application in reversed(_children(Atspi.get_desktop(0))):
            if application.get_process_id() == self.pid:
                return application
        return None

    def _find_window(self):
        """Looks the program up on the bus, and its controls once: each answer is slow here."""
        try:
            self._bus_object = self._application()
            if self._bus_object is None or not _children(self._bus_object):
                return False
            window = _children(self._bus_object)[0]
            self._controls = {node.get_name(): node for node in _descendants(window)
                              if node.get_role() not in _LABELS}
            return APPLY in self._controls
        except GLib.Error:
            return False  # it is not quite there yet

    def _press(self, node):
        names = [node.get_action_name(index) for index in range(node.get_n_actions())]
        if "Press" not in names:
            raise AssertionError(f"{node.get_name()} cannot be pressed, only {names}")
        node.do_action(names.index("Press"))

    def set_text(self, caption, text):
        self._controls[caption].get_editable_text_iface().set_text_contents(text)
        until(f"{text} in {caption}", lambda: self.text(caption) == text)

    def text(self, caption):
        """What a field or a menu shows."""
        return Atspi.Text.get_text(self._controls[caption], 0, -1)

    def items(self, caption):
        return [item.get_name() for item in _children(self._controls[caption])]

    def choose(self, caption, item):
        menu = self._controls[caption]
        found = (menu.get_child_at_index(index) for index in range(menu.get_child_count()))
        self._press(next(node for node in found if node.get_name() == item))
        until(f"{item} in {caption}", lambda: self.text(caption) == item)

    def press(self, button):
        """Presses and returns, while what it does may still go on."""
        self._press(self._controls[button])

    def _find_alert(self):
        """The alert while it is shown. It is a window of its own, made when it is first needed."""
        try:
            if self._alert is None:
                self._bus_object.clear_cache()
                self._alert = next((node for node in _children(self._bus_object)
                                    if node.get_role() == Atspi.Role.ALERT), None)
            if self._alert is None:
                return None
            self._alert.clear_cache()
            shown = self._alert.get_state_set().contains(Atspi.StateType.SHOWING)
            return self._alert if shown else None
        except GLib.Error:
            return None  # the program has ended, which the callers see

    def alert(self):
        """The alert's title and message, when it is there."""
        until("the alert", lambda: self._find_alert() or not self.is_running())
        if not self.is_running():
            raise AssertionError(f"keyloft ended: {self.wait()}, {self.errors()}")
        return self._alert.get_name(), self._alert.get_description()

    def dismiss(self):
        if not self._dismissing:
            self._dismissing = [node for node in _descendants(self._alert)
                                if node.get_name() == DISMISS]
        if len(self._dismissing) != 2:
            raise AssertionError(f"the alert has {len(self._dismissing)} buttons {DISMISS}")
        self._press(self._dismissing[0])
        until("the alert to go", lambda: self._find_alert() is None)

    def do(self, button):
        """Presses a button, reads the alert that follows, dismisses it: (title, message)."""
        self.press(button)
        told = self.alert()
        self.dismiss()
        return told

    def fill_in(self, part, kind, channel, controller):
        """The four inputs of a mapping: three texts and an item of the type menu."""
        self.set_text(PART, str(part))
        self.choose(TYPE, kind)
        self.set_text(CHANNEL, str(channel))
        self.set_text(CONTROLLER, str(controller))
