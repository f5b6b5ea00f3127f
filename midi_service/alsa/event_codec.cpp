// SPDX-License-Identifier: MIT
#include "midi_service/alsa/event_codec.h"

#include "midi_service/midi_message.h"

#include <new>

EventCodec::EventCodec() {
    snd_midi_event_t* coder = nullptr;
    if (snd_midi_event_new(buffer_.size(), &coder) < 0)
        throw std::bad_alloc();
    coder_.reset(coder);
    snd_midi_event_no_status(coder, 1); // write every status out
}

void EventCodec::encode(std::span<const std::uint8_t> message, snd_seq_event_t& event) {
    if (message_length(message[0]) == 0) {
        // The library's type is not const; nobody writes through it.
        snd_seq_ev_set_sysex(&event, static_cast<unsigned>(message.size()),
                             const_cast<std::uint8_t*>(message.data()));
        return;
    }
    snd_midi_event_reset_encode(coder_.get());
    snd_midi_event_encode(coder_.get(), message.data(), static_cast<long>(message.size()), &event);
}

std::span<const std::uint8_t> EventCodec::decode(const snd_seq_event_t& event) {
    if (event.type == SND_SEQ_EVENT_SYSEX) {
        if (!snd_seq_ev_is_variable(&event))
            return {}; // another program's mistake: the event has no pointer to follow
        return {static_cast<const std::uint8_t*>(event.data.ext.ptr), event.data.ext.len};
    }
    const long length = snd_midi_event_decode(coder_.get(), buffer_.data(),
                                              static_cast<long>(buffer_.size()), &event);
    return {buffer_.data(), length > 0 ? static_cast<std::size_t>(length) : 0};
}
