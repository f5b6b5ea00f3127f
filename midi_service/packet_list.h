// SPDX-License-Identifier: MIT
#pragma once

#include "midi_service/midi_types.h"

#include <span>

/// Whether every packet of the list holds whole MIDI messages, at least one each. Never reads
/// behind the first packet that does not.
[[nodiscard]] bool holds_whole_messages(const MIDIPacketList& list);

/// The packet behind this one: past its data, rounded up to a multiple of four.
[[nodiscard]] const MIDIPacket* packet_behind(const MIDIPacket* packet);

[[nodiscard]] std::span<const std::uint8_t> packet_bytes(const MIDIPacket* packet);
