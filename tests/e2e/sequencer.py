# SPDX-License-Identifier: MIT
"""What is on the ALSA sequencer, as aconnect lists it."""

import dataclasses
import re
import subprocess
from pathlib import Path


@dataclasses.dataclass
class Client:
    number: int
    name: str
    kind: str  # "kernel" or "user"
    card: int | None = None  # the sound card that it is the client of
    pid: int | None = None  # the program that it is the client of
    ports: dict[int, str] = dataclasses.field(default_factory=dict)  # names by number
    # Subscriptions as (own port, client, port) of the other side.
    to: list[tuple[int, int, int]] = dataclasses.field(default_factory=list)
    come_from: list[tuple[int, int, int]] = dataclasses.field(default_factory=list)


def clients():
    """Every client with its exported ports, in ascending order."""
    listed = subprocess.run(["aconnect", "-l"], capture_output=True, text=True, check=False).stdout
    found = []
    port = None
    for line in listed.splitlines():
        if head := re.fullmatch(r"client (\d+): '(.*)' \[type=(\w+)(.*)\]", line):
            facts = dict(re.findall(r"(\w+)=(\w+)", head[4]))
            found.append(Client(int(head[1]), head[2], head[3],
                                card=int(facts["card"]) if "card" in facts else None,
                                pid=int(facts["pid"]) if "pid" in facts else None))
        elif entry := re.fullmatch(r" +(\d+) '(.*)'", line):
            port = int(entry[1])
            found[-1].ports[port] = entry[2].rstrip()
        elif others := re.fullmatch(r"\t(Connecting To|Connected From): (.*)", line):
            kept = found[-1].to if others[1] == "Connecting To" else found[-1].come_from
            kept += [(port, int(client), int(other))
                     for client, other in re.findall(r"(\d+):(\d+)", others[2])]
    return found


def address(client_name, port_name):
    """Of a port that may be hidden from other programs' lists: (client, port)."""
    client = None
    for line in Path("/proc/asound/seq/clients").read_text().splitlines():
        if head := re.match(r'Client +(\d+) : "(.*)" \[', line):
            client = int(head[1]) if head[2] == client_name else None
        elif (port := re.match(r' +Port +(\d+) : "(.*)" \(', line)) and client is not None:
            if port[2] == port_name:
                return client, int(port[1])
    raise AssertionError(f"there is no {client_name}:{port_name}")


def own_subscriptions():
    """How many subscriptions keyloft's ports have, which other programs' lists do not show."""
    text = Path("/proc/asound/seq/clients").read_text()
    blocks = re.split(r"^(?=Client )", text, flags=re.MULTILINE)
    return sum(len(re.findall(r"\d+:\d+", line)) for block in blocks
               if re.match(r'Client +\d+ : "MIDI Client"', block)
               for line in re.findall(r"Connect.*", block))


def number_of_clients():
    """Of all, those that have no port in the lists included."""
    text = Path("/proc/asound/seq/clients").read_text()
    return len(re.findall(r"^Client +\d+ :", text, re.MULTILINE))
