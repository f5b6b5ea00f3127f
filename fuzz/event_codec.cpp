// SPDX-License-Identifier: MIT
// Sequencer events of any content into bytes, and messages into events and back.
#include "midi_service/alsa/event_codec.h"
#include "fuzz/midi_model.h"
#include "midi_service/midi_message.h"

#include <cstring>

namespace {

bool same(std::span<const std::uint8_t> one, std::span<const std::uint8_t> other) {
    return std::equal(one.begin(), one.end(), other.begin(), other.end());
}

/// The messages of a source, each into an event and out of it again.
void check_messages(Input& input, EventCodec& codec) {
    MessageReader reader;
    while (!input.empty()) {
        const auto message = reader.read(input.byte());
        if (message.empty())
            continue;
        snd_seq_event_t event{};
        codec.encode(message, event);
        require(same(codec.decode(event), message), "an event gives back its message");
    }
}

/// An event as another program may have made it up.
void check_event(Input& input, EventCodec& codec) {
    snd_seq_event_t event{};
    const auto raw = input.bytes(sizeof event);
    std::memcpy(&event, raw.data(), raw.size());
    Bytes data = input.run();
    if (snd_seq_ev_is_variable(&event))
        snd_seq_ev_set_variable(&event, static_cast<unsigned>(data.size()), data.data());
    const auto decoded = codec.decode(event);
    if (event.type == SND_SEQ_EVENT_SYSEX) {
        require(same(decoded, snd_seq_ev_is_variable(&event) ? data : Bytes{}),
                "exclusive data are what the event carries");
        return;
    }
    const Bytes bytes(decoded.begin(), decoded.end());
    require(bytes.empty() || are_whole_messages(bytes), "an event gives whole messages");
    if (bytes.empty() || event.type == SND_SEQ_EVENT_CONTROL14 ||
        whole_message(bytes) != bytes.size())
        return; // controllers of other events, one or several
    snd_seq_event_t again{};
    codec.encode(bytes, again);
    require(again.type == event.type, "which is of the event's type");
    require(same(codec.decode(again), bytes), "and gives itself back");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static EventCodec codec;
    Input input{data, size};
    if (input.byte() % 2 == 0)
        check_messages(input, codec);
    else
        check_event(input, codec);
    return 0;
}
