// SPDX-License-Identifier: MIT
#include "simulation/sequencer_codec.h"

#include "tests/support/sequence.h"

#include <gtest/gtest.h>

namespace {

/// What is left of a message that became an event and bytes again.
Bytes there_and_back(SequencerCodec& codec, const Bytes& message) {
    const snd_seq_event_t event = codec.event(message);
    const auto bytes = codec.bytes(event);
    return {bytes.begin(), bytes.end()};
}

TEST(SequencerCodec, KeepsEveryChannelMessageAsItIs) {
    SequencerCodec codec;
    for (unsigned status = 0x80; status < 0xF0; ++status) {
        for (const unsigned data : {0U, 1U, 5U, 64U, 127U}) {
            Bytes message = {static_cast<std::uint8_t>(status), static_cast<std::uint8_t>(data),
                             static_cast<std::uint8_t>(127 - data)};
            if ((status & 0xE0) == 0xC0)
                message.pop_back();
            EXPECT_EQ(there_and_back(codec, message), message);
        }
    }
}

TEST(SequencerCodec, KeepsANoteOnWithVelocity0) {
    SequencerCodec codec;
    const snd_seq_event_t event = codec.event(Bytes{0x93, 0x07, 0x00});
    EXPECT_EQ(event.type, SND_SEQ_EVENT_NOTEON);
    EXPECT_EQ(event.data.note.channel, 3);
    EXPECT_EQ(event.data.note.note, 7);
    EXPECT_EQ(event.data.note.velocity, 0);
    EXPECT_EQ(there_and_back(codec, {0x93, 0x07, 0x00}), (Bytes{0x93, 0x07, 0x00}));
}

TEST(SequencerCodec, KeepsTheSaveCommandAndTheClock) {
    SequencerCodec codec;
    EXPECT_EQ(codec.event(Bytes{0xAF, 0x7F, 0x7F}).type, SND_SEQ_EVENT_KEYPRESS);
    EXPECT_EQ(codec.event(Bytes{0xF8}).type, SND_SEQ_EVENT_CLOCK);
    EXPECT_EQ(there_and_back(codec, {0xAF, 0x7F, 0x7F}), (Bytes{0xAF, 0x7F, 0x7F}));
    EXPECT_EQ(there_and_back(codec, {0xF8}), (Bytes{0xF8}));
}

TEST(SequencerCodec, WritesEveryStatusOut) {
    SequencerCodec codec;
    const Bytes message = {0xB0, 0x07, 0x05};
    EXPECT_EQ(there_and_back(codec, message), message);
    EXPECT_EQ(there_and_back(codec, message), message);
}

TEST(SequencerCodec, GivesSystemExclusiveDataOfAnyLength) {
    SequencerCodec codec;
    Bytes data(5000, 0x01);
    data.front() = 0xF0;
    data.back() = 0xF7;
    snd_seq_event_t event{};
    snd_seq_ev_set_sysex(&event, static_cast<unsigned>(data.size()), data.data());
    const auto bytes = codec.bytes(event);
    EXPECT_EQ(Bytes(bytes.begin(), bytes.end()), data);
}

TEST(SequencerCodec, SeesNoExclusiveDataInAnEventThatPointsToNone) {
    SequencerCodec codec;
    snd_seq_event_t event{};
    event.type = SND_SEQ_EVENT_SYSEX;
    for (unsigned char& byte : event.data.raw8.d)
        byte = 1;
    EXPECT_TRUE(codec.bytes(event).empty());
}

TEST(SequencerCodec, SeesNoMidiInAnnouncements) {
    SequencerCodec codec;
    for (const snd_seq_event_type_t type :
         {SND_SEQ_EVENT_PORT_SUBSCRIBED, SND_SEQ_EVENT_CLIENT_START, SND_SEQ_EVENT_ECHO}) {
        snd_seq_event_t event{};
        event.type = type;
        EXPECT_TRUE(codec.bytes(event).empty());
    }
}

} // namespace
