// SPDX-License-Identifier: MIT
#pragma once

#include <alsa/asoundlib.h>
#include <array>
#include <cstdint>
#include <memory>
#include <span>

/// Sequencer events into the bytes of MIDI messages and back, by alsa-lib's own coder, which
/// decides in the same way for most programs. Nothing is merged, completed or remembered from one
/// to the next: a note on of velocity 0 stays one. One thread; allocates at construction only.
class EventCodec {
public:
    EventCodec();

    /// Turns one whole, valid message into an event; of the event it sets the type, the data and
    /// the flags that tell their length. System-exclusive data, or a piece of them, are not copied:
    /// the event points to `message`.
    void encode(std::span<const std::uint8_t> message, snd_seq_event_t& event);

    /// The bytes that an event stands for, until the next call, or where the event's own data are.
    /// Empty for an event that is no MIDI. Mostly one message or a piece of system-exclusive data;
    /// a controller of 14 bits or a parameter number are several. Values out of range lose their
    /// upper bits.
    [[nodiscard]] std::span<const std::uint8_t> decode(const snd_seq_event_t& event);

private:
    struct Free {
        void operator()(snd_midi_event_t* coder) const { snd_midi_event_free(coder); }
    };
    std::unique_ptr<snd_midi_event_t, Free> coder_;
    std::array<std::uint8_t, 16> buffer_{}; ///< a parameter number is four messages of three bytes
};
