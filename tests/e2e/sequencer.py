# SPDX-License-Identifier: MIT
"""What is on the ALSA sequencer."""

import ctypes
import dataclasses
import re
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


_SUBSCRIPTION_KINDS = {"to": 0, "come_from": 1}
_NO_EXPORT = 1 << 7
_KINDS = {1: "user", 2: "kernel"}
_DUPLEX = 3


class _Address(ctypes.Structure):
    _fields_ = [("client", ctypes.c_ubyte), ("port", ctypes.c_ubyte)]


class _Looker:
    """A client of the sequencer for as long as it takes to look at the others: starting a program
    that lists them takes ten times as long here."""

    def __init__(self):
        self._alsa = alsa = ctypes.CDLL("libasound.so.2")
        for function in (alsa.snd_seq_client_info_get_name, alsa.snd_seq_port_info_get_name):
            function.restype = ctypes.c_char_p
        alsa.snd_seq_query_subscribe_get_addr.restype = ctypes.POINTER(_Address)
        self._handle = ctypes.c_void_p()
        self.is_there = alsa.snd_seq_open(ctypes.byref(self._handle), b"hw", _DUPLEX, 0) == 0

    def close(self):
        if self.is_there:
            self._alsa.snd_seq_close(self._handle)

    def _new(self, kind):
        made = ctypes.c_void_p()
        getattr(self._alsa, f"snd_seq_{kind}_malloc")(ctypes.byref(made))
        return made, getattr(self._alsa, f"snd_seq_{kind}_free")

    def clients(self):
        """All but this one."""
        alsa, found = self._alsa, []
        info, free = self._new("client_info")
        alsa.snd_seq_client_info_set_client(info, -1)
        while alsa.snd_seq_query_next_client(self._handle, info) >= 0:
            number = alsa.snd_seq_client_info_get_client(info)
            card, pid = (getattr(alsa, f"snd_seq_client_info_get_{what}")(info)
                         for what in ("card", "pid"))
            if number != alsa.snd_seq_client_id(self._handle):
                found.append(Client(
                    number, alsa.snd_seq_client_info_get_name(info).decode(errors="replace"),
                    _KINDS[alsa.snd_seq_client_info_get_type(info)],
                    card if card >= 0 else None, pid if pid >= 0 else None))
                self._add_ports(found[-1])
        free(info)
        return found

    def _add_ports(self, client):
        alsa = self._alsa
        info, free = self._new("port_info")
        alsa.snd_seq_port_info_set_client(info, client.number)
        alsa.snd_seq_port_info_set_port(info, -1)
        while alsa.snd_seq_query_next_port(self._handle, info) >= 0:
            if not alsa.snd_seq_port_info_get_capability(info) & _NO_EXPORT:
                port = alsa.snd_seq_port_info_get_port(info)
                name = alsa.snd_seq_port_info_get_name(info).decode(errors="replace")
                client.ports[port] = name.rstrip()
                for kept, kind in _SUBSCRIPTION_KINDS.items():
                    getattr(client, kept).extend(self._others(client.number, port, kind))
        free(info)

    def _others(self, client, port, kind):
        alsa = self._alsa
        query, free = self._new("query_subscribe")
        alsa.snd_seq_query_subscribe_set_root(query, ctypes.byref(_Address(client, port)))
        alsa.snd_seq_query_subscribe_set_type(query, kind)
        index = 0
        while alsa.snd_seq_query_port_subscribers(self._handle, query) >= 0:
            other = alsa.snd_seq_query_subscribe_get_addr(query).contents
            yield port, other.client, other.port
            index += 1
            alsa.snd_seq_query_subscribe_set_index(query, index)
        free(query)


def clients():
    """Every client with an exported port, in ascending order, as patchbays list them."""
    looker = _Looker()
    try:
        return [client for client in looker.clients() if client.ports] if looker.is_there else []
    finally:
        looker.close()


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
