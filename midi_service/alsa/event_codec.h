// SPDX-License-Identifier: MIT
#pragma once

#include <alsa/asoundlib.h>
#include <array>
#include <cstdint>
#include <span>

// Sequencer events and the bytes of MIDI messages, one to one: nothing is merged, completed or
// remembered from one to the next. A note on of velocity 0 is a note on.

/// Turns one whole, valid message into an event; of the event it sets the type and the data alone.
/// System-exclusive data, or a piece of them, are not copied: the event points to `message`.
void encode_event(std::span<const std::uint8_t> message, snd_seq_event_t& event);

/// Gives the bytes that an event stands for: in `buffer`, or where the event's own data are. Empty
/// for an event that stands for no single message. Values out of range lose their upper bits.
[[nodiscard]] std::span<const std::uint8_t> decode_event(const snd_seq_event_t& event,
                                                         std::array<std::uint8_t, 3>& buffer);
