# SPDX-License-Identifier: MIT
"""A mapping that many scenarios send, and what is to be seen of it."""

import wire
from transcript import echo

INPUTS = {"part": 3, "kind": "Control Change", "channel": 2, "controller": 9}
MAPPING = {"part": 3, "type": "Control Change", "channel": 2, "controller": 9}
MESSAGE = wire.mapping(**INPUTS)
MESSAGES = wire.sequence(MESSAGE)
SEQUENCE = b"".join(MESSAGES)
HELD = {"table": [MAPPING], "saved": []}
NOTHING_HELD = {"table": [], "saved": []}

SUCCESS = ("设置成功!", "旋钮3--设置成功!")


def failure(*codes):
    """The alert that lists the machines that were there."""
    return ("设置失败!", "设置失败,检查连接状态\n[当前可选-选项-连接列表]\n" + "\n".join(codes))


def found(printed, code):
    """What the press prints that finds one machine, up to the command."""
    return "CONTROL_CHANGE\n" + printed.probes() + printed.automatic_choice(code)


def confirmed(printed, code):
    """What a press prints that is confirmed at once."""
    return found(printed, code) + printed.sent(code, echo(MESSAGE))


def nobody_there(printed, chosen):
    """What a press prints that finds no machine, while the menu shows one."""
    return ("CONTROL_CHANGE\n" + printed.probes() + printed.manual_choice(chosen)
            + printed.refused())
