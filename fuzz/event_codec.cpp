// SPDX-License-Identifier: MIT
// Sequencer events of any content into bytes, and messages into events and back: by the service's
// codec and by the simulated machine's, which goes through the system's own.
#include "midi_service/alsa/event_codec.h"
#include "fuzz/midi_model.h"
#include "midi_service/midi_message.h"
#include "simulation/sequencer_codec.h"

#include <cstring>

namespace {

bool same(std::span<const std::uint8_t> one, std::span<const std::uint8_t> other) {
    return std::equal(one.begin(), one.end(), other.begin(), other.end());
}

/// The messages of a source, each into an event and out of it again, in both codecs.
void check_messages(Input& input, SequencerCodec& machine) {
    MessageReader reader;
    while (!input.empty()) {
        const auto message = reader.read(input.byte());
        if (message.empty())
            continue;
        snd_seq_event_t event{};
        std::array<std::uint8_t, 3> buffer{};
        encode_event(message, event);
        require(same(decode_event(event, buffer), message), "an event gives back its message");
        require(same(machine.bytes(event), message), "the machine understands what is sent");
        if (!data_bytes(message.front()))
            continue; // the machine sends no exclusive data
        const snd_seq_event_t answer = machine.event(message);
        require(same(decode_event(answer, buffer), message), "the machine is understood");
    }
}

/// An event as another program may have made it up.
void check_event(Input& input, SequencerCodec& machine) {
    snd_seq_event_t event{};
    const auto raw = input.bytes(sizeof event);
    std::memcpy(&event, raw.data(), raw.size());
    Bytes data = input.run();
    if (snd_seq_ev_is_variable(&event))
        snd_seq_ev_set_variable(&event, static_cast<unsigned>(data.size()), data.data());
    std::array<std::uint8_t, 3> buffer{};
    const auto bytes = decode_event(event, buffer);
    const auto machine_bytes = machine.bytes(event);
    if (event.type == SND_SEQ_EVENT_SYSEX) {
        const Bytes wanted = snd_seq_ev_is_variable(&event) ? data : Bytes{};
        require(same(bytes, wanted), "exclusive data are what the event carries");
        require(same(machine_bytes, wanted), "exclusive data reach the machine as they are");
        return;
    }
    require(machine_bytes.empty() || are_whole_messages(machine_bytes),
            "the machine gets whole messages");
    if (bytes.empty())
        return;
    require(are_whole_messages(bytes) && whole_message(bytes) == bytes.size(),
            "an event gives one whole message");
    snd_seq_event_t again{};
    std::array<std::uint8_t, 3> second{};
    encode_event(bytes, again);
    require(again.type == event.type, "which is of the event's type");
    require(same(decode_event(again, second), bytes), "and gives itself back");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static SequencerCodec machine;
    Input input{data, size};
    if (input.byte() % 2 == 0)
        check_messages(input, machine);
    else
        check_event(input, machine);
    return 0;
}
