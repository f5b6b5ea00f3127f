// SPDX-License-Identifier: MIT
#include "simulation/sequencer_codec.h"

#include <new>

SequencerCodec::SequencerCodec() {
    snd_midi_event_t* coder = nullptr;
    if (snd_midi_event_new(buffer_.size(), &coder) < 0)
        throw std::bad_alloc();
    coder_.reset(coder);
    snd_midi_event_no_status(coder, 1);
}

std::span<const std::uint8_t> SequencerCodec::bytes(const snd_seq_event_t& event) {
    if (event.type == SND_SEQ_EVENT_SYSEX) {
        if (!snd_seq_ev_is_variable(&event))
            return {}; // there is no pointer in it
        return {static_cast<const std::uint8_t*>(event.data.ext.ptr), event.data.ext.len};
    }
    const long length = snd_midi_event_decode(coder_.get(), buffer_.data(),
                                              static_cast<long>(buffer_.size()), &event);
    return {buffer_.data(), length > 0 ? static_cast<std::size_t>(length) : 0};
}

snd_seq_event_t SequencerCodec::event(std::span<const std::uint8_t> message) {
    snd_seq_event_t event{};
    snd_seq_ev_clear(&event);
    snd_midi_event_reset_encode(coder_.get());
    snd_midi_event_encode(coder_.get(), message.data(), static_cast<long>(message.size()), &event);
    return event;
}
