// SPDX-License-Identifier: MIT
#pragma once

#include <alsa/asoundlib.h>

#include <array>
#include <cstdint>
#include <memory>
#include <span>

/// Turns events of the ALSA sequencer into the bytes that go over a cable, and back. One thread.
class SequencerCodec {
public:
    SequencerCodec();

    /// The bytes of an event, each message with its status byte; they are valid until the next
    /// call, or as long as the event when it has system-exclusive data. None for an event that is
    /// no MIDI.
    [[nodiscard]] std::span<const std::uint8_t> bytes(const snd_seq_event_t& event);

    /// The event that one whole message of up to three bytes is, without an address.
    [[nodiscard]] snd_seq_event_t event(std::span<const std::uint8_t> message);

private:
    struct Free {
        void operator()(snd_midi_event_t* coder) const { snd_midi_event_free(coder); }
    };
    std::unique_ptr<snd_midi_event_t, Free> coder_;
    std::array<std::uint8_t, 16> buffer_{}; ///< the longest is a parameter number: four controllers
};
