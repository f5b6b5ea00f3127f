#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""Does the whole job in a running keyloft-demo through the accessibility bus, as a screen reader
or a switch would. Wants a display and a session bus. Argument: the program.
"""
import os
import re
import subprocess
import sys
import time

try:
    import gi

    gi.require_version("Atspi", "2.0")
    from gi.repository import Atspi, GLib
except (ImportError, ValueError) as error:
    print(f"skipped: {error} (packages python3-gi and gir1.2-atspi-2.0)")
    sys.exit(77)

DEADLINE = 60  # seconds; only a wait in vain takes so long
# Its compositor without a screen has no keyboard either, so that no window gets the focus.
WAYLAND = os.environ.get("QT_QPA_PLATFORM") == "wayland"


def wait_for(what, condition):
    """Gives what the condition gives as soon as it is something."""
    end = time.monotonic() + DEADLINE
    while time.monotonic() < end:
        GLib.MainContext.default().iteration(False)
        try:
            result = condition()
        except GLib.Error:  # an object that has gone while it was asked
            result = None
        if result:
            return result
    raise SystemExit(f"FAILED: no {what} after {DEADLINE} seconds")


def check(what, got, wanted):
    print(f"{what}: {got}")
    if got != wanted:
        raise SystemExit(f"FAILED: {wanted!r} was wanted")


def role_of(node):  # at-spi2-core 2.54 made a button of what was a push button
    return node.get_role_name().removeprefix("push ")


def below(node):
    for index in range(node.get_child_count()):
        child = node.get_child_at_index(index)
        if child:
            yield child
            yield from below(child)


class Screen:
    def __init__(self, process):
        self.application = wait_for("application", lambda: self.find_application(process))
        self.events = []
        self.listener = Atspi.EventListener.new(self.remember)
        for kind in ("object:state-changed:showing", "object:state-changed:selected"):
            self.listener.register(kind)

    @staticmethod
    def find_application(process):
        desktop = Atspi.get_desktop(0)
        children = (desktop.get_child_at_index(index) for index in range(desktop.get_child_count()))
        return next((child for child in children if child and child.get_process_id() == process
                     and child.get_child_count()), None)

    def remember(self, event):
        if event.detail1:
            self.events.append((role_of(event.source), event.source.get_name()))

    def find(self, role, name=None):
        return next((node for node in below(self.application)
                     if role_of(node) == role and name in (None, node.get_name())
                     and node.get_state_set().contains(Atspi.StateType.SHOWING)), None)

    def get(self, role, name=None):
        return wait_for(f"{role} {name}", lambda: self.find(role, name))

    def focused(self):
        """The role and the name of what has the focus."""
        return next(((role_of(node), node.get_name()) for node in below(self.application)
                     if node.get_state_set().contains(Atspi.StateType.FOCUSED)), None)

    def press(self, node):
        for index in range(node.get_n_actions()):
            if node.get_action_name(index) == "Press":
                node.do_action(index)
                return
        raise SystemExit(f"FAILED: {node.get_name()} has no press")

    def choose(self, caption, item):
        menu = self.get("combo box", caption)
        self.press(next(node for node in below(menu) if node.get_name() == item))
        wait_for(f"choice {item}", lambda: Atspi.Text.get_text(menu, 0, -1) == item)
        print(f"{caption}: {item}")

    def type(self, caption, text):
        field = self.get("text", caption)
        Atspi.EditableText.set_text_contents(field, text)
        wait_for(f"text {text}", lambda: Atspi.Text.get_text(field, 0, -1) == text)
        print(f"{caption}: {text}")

    def run(self, button, title, message):
        """Presses a button, reads the alert, dismisses it, and looks where the focus went."""
        self.press(self.get("button", button))
        alert = self.get("alert")
        check("alert", alert.get_name(), title)
        check("its description", alert.get_description(), message)
        labels = [node.get_name() for node in below(alert) if role_of(node) == "label"]
        check("its texts", [label for label in labels if label], [title, message])
        if not WAYLAND:
            windows = subprocess.run(["xwininfo", "-root", "-tree"], capture_output=True, text=True,
                                     env=os.environ | {"LC_ALL": "C.UTF-8"}, check=True).stdout
            check("its window's title", f'"{title}":' in windows, True)
        buttons = [node for node in below(alert) if role_of(node) == "button"]
        check("its buttons", [node.get_name() for node in buttons], ["确定", "确定"])
        wait_for("announcement", lambda: ("alert", title) in self.events)
        self.press(buttons[1])
        wait_for("end of the alert", lambda: not self.find("alert"))
        if not WAYLAND:
            # The first control had it from the start, and a press on the bus leaves it there.
            first = ("combo box", "设备型号(Machine Serial)")
            wait_for("focus back", lambda: self.focused() == first)


def do_the_job(process):
    screen = Screen(process.pid)
    screen.choose("设备型号(Machine Serial)", "4ACAF4C4")
    screen.choose("消息类型(Message Type)：", "Note On")
    wait_for("announcement", lambda: ("list item", "Note On") in screen.events)
    screen.type("硬件编号(Hardware Part Code)", "12")
    screen.type("消息通道(Message Channel)：", "3")
    screen.type("控制器号(Controller Number)：", "64")
    screen.run("设置", "设置成功!", "旋钮12--设置成功!")
    screen.run("保存", "hardware", "保存成功!")
    check("window", screen.get("frame").get_name(), "keyloft 演示(Demo)")
    check("picture", screen.get("image").get_name(), "hardware")


def main():
    process = subprocess.Popen([sys.argv[1]], stdout=subprocess.PIPE, text=True)
    try:
        do_the_job(process)
    finally:
        process.terminate()
        lines = process.communicate()[0]
    saved = lines[lines.rindex("machine 4AC5F4C4 holds:"):]
    mapping = "    part 12: Note On, channel 3, controller 64\n"
    check("the machine", re.sub(r".*\r\n", "", saved),
          f"machine 4AC5F4C4 holds:\n{mapping}machine 4AC5F4C4 has saved:\n{mapping}")


main()
