# SPDX-License-Identifier: MIT
"""The mappings that scenarios send, and what is to be seen of them."""

import wire
from transcript import TYPE_LINES, echo

NOTHING_HELD = {"table": [], "saved": []}


class Command:
    def __init__(self, part, kind, channel, controller):
        self.inputs = {"part": part, "kind": kind, "channel": channel, "controller": controller}
        self.mapping = {"part": part, "type": kind, "channel": channel, "controller": controller}
        self.message = wire.mapping(**self.inputs)
        self.messages = wire.sequence(self.message)
        self.sequence = b"".join(self.messages)
        self.held = {"table": [self.mapping], "saved": []}
        self.success = ("设置成功!", f"旋钮{part}--设置成功!")
        self._type_line = TYPE_LINES[kind] + "\n"

    def found(self, printed, code):
        """What the press prints that finds one machine, up to the command."""
        return self._type_line + printed.probes() + printed.automatic_choice(code)

    def confirmed(self, printed, code):
        """What a press prints that is confirmed at once."""
        return self.found(printed, code) + printed.sent(code, echo(self.message))

    def refused(self, printed, chosen):
        """What a press prints that finds no machine, or too many, while the menu shows one."""
        return (self._type_line + printed.probes() + printed.manual_choice(chosen)
                + printed.refused())


USUAL = Command(part=3, kind="Control Change", channel=2, controller=9)
NOTE = Command(part=12, kind="Note On", channel=3, controller=64)


def failure(*codes):
    """The alert that lists the machines that were there."""
    return ("设置失败!", "设置失败,检查连接状态\n[当前可选-选项-连接列表]\n" + "\n".join(codes))
