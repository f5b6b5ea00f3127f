# SPDX-License-Identifier: MIT
"""What keyloft prints, put together from what is on the sequencer."""

import re

import sequencer
from gadgets import CODES

TYPE_LINES = {"Note On": "NOTE_ON", "Note Off": "NOTE_OFF", "Control Change": "CONTROL_CHANGE",
              "Bend Change": "BEND_CHANGE"}


class Transcript:
    """For ports that all can be read and written, each of a client of its own.

    `names`: of the ports, in keyloft's order.
    """

    def __init__(self, names):
        self.names = list(names)

    @classmethod
    def of_now(cls):
        """Of what is on the sequencer now, keyloft's own clients aside."""
        return cls(name for client in sequencer.clients() if client.number != 0
                   for name in client.ports.values())

    def _index(self, code):
        return max((i for i, name in enumerate(self.names) if name[:8] == code), default=None)

    def connection(self, code):
        text = f"MIDIGetNumberOfSources {len(self.names):x} \r\n"
        index = self._index(code)
        if index is None:
            return text + "midi init failed \r\n"
        return (text + f"midi init success ,number code {index:x} \r\n"
                f"{self.names[index]} is online\r\n")

    def naming(self, code):
        """Of a code of the family."""
        return (f"set_device_name {code.lower()} \r\nmiddle_value {code[3].lower()} \r\n"
                f"Generated device_name: {code}\n" + self.connection(code))

    def start(self):
        return self.naming("4ACCF4C4")

    def probes(self):
        return "".join(f"set_device_name {code.lower()} \r\n{self.connection(code)}"
                       f"i = 0x{number:02X}, device_connect_id_arg = 0x{code}\n"
                       for number, code in enumerate(CODES))

    def automatic_choice(self, code):
        return self.naming(code) + f"-{code[3]}--set_device_name(0x{code});\n"

    def manual_choice(self, code):
        """The code that this makes is of no machine."""
        made = "16C" + code[3:]
        return (f"set_device_name {made.lower()} \r\nGenerated device_name: \n"
                f"MIDIGetNumberOfSources {len(self.names):x} \r\nmidi init failed \r\n"
                f"User selected: {code}\nset_device_name(0x{made});\n")

    def _scan(self, end):
        devices = len(self.names) + 1  # the sequencer itself is one
        return f"send_midi_out_data\r\n MIDIGetNumberOfDevices  {devices:x}\r\n{end}"

    def refused(self):
        """A command for which there is no machine."""
        return self._scan("") + "key_code_value_set\r\n" + 2 * self._scan("") + "1\n"

    def sent(self, code, *replies, confirmed=True):
        """A command that reaches the machine; `replies`: what came back within the wait."""
        found = self._scan("no macthing name B \r\n")
        lookup = (f"MIDIGetNumberOfDestinations {len(self.names):x} \r\n"
                  f"CCCCC: {self.names[-1][:8]} is online\r\n")
        return (found + "key_code_value_set\r\n" + found + self._scan("midiOutShortMsg\r\n")
                + 3 * lookup + f"midi_get_destination {self._index(code):x} \r\nclock mc\r\n"
                + "".join(replies) + ("设置成功了 \r\n" if confirmed else "设置失败obk\r\n") + "0\n")


def reply(message, expected, kept=b"\0\0", matches=False):
    """What the receive thread prints; `kept`: what the buffer held before."""
    held = message[:2] + kept[len(message[:2]):]
    return ("".join(f"{byte:x}\t" for byte in message) + "\r\n"
            + ("\r\n设定回显正常\r\n" if matches else "")
            + "".join(f"midi_setup_data {i} {expected[i]:x} , p {held[i]:x}\r\n" for i in (0, 1)))


def echo(message):
    return reply(message, message, matches=True)


def without_replies(text):
    """What the screen's thread printed. The replies to a repetition may come at any time."""
    text = re.sub(r"midi_setup_data .*\r\n|设定回显正常|[0-9a-f]+\t", "", text)
    return re.sub(r"^\r\n", "", text, flags=re.MULTILINE)
