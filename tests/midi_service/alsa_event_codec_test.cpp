// SPDX-License-Identifier: MIT
#include "midi_service/alsa/event_codec.h"

#include "midi_service/midi_message.h"

#include <climits>
#include <vector>

#include <gtest/gtest.h>

namespace {

using Bytes = std::vector<std::uint8_t>;

snd_seq_event_t blank() {
    snd_seq_event_t event;
    snd_seq_ev_clear(&event);
    return event;
}

snd_seq_event_t encoded(const Bytes& message) {
    snd_seq_event_t event = blank();
    EventCodec().encode(message, event);
    return event;
}

Bytes decoded(const snd_seq_event_t& event) {
    EventCodec codec;
    const auto bytes = codec.decode(event);
    return {bytes.begin(), bytes.end()};
}

int type_of(const Bytes& message) {
    return encoded(message).type;
}

/// All data bytes that a channel message with this status can have.
void expect_that_all_come_back(unsigned status) {
    const unsigned second_values =
        message_length(static_cast<std::uint8_t>(status)) == 2 ? 1 : 0x80;
    for (unsigned data1 = 0; data1 < 0x80; ++data1) {
        for (unsigned data2 = 0; data2 < second_values; ++data2) {
            Bytes message{static_cast<std::uint8_t>(status), static_cast<std::uint8_t>(data1)};
            if (second_values > 1)
                message.push_back(static_cast<std::uint8_t>(data2));
            ASSERT_EQ(decoded(encoded(message)), message);
        }
    }
}

TEST(AlsaEventCodec, EveryChannelMessageComesBackAsItWas) {
    for (unsigned type = 0x80; type < 0xF0; type += 0x10) {
        for (const unsigned channel : {0U, 5U, 15U})
            expect_that_all_come_back(type | channel);
    }
}

TEST(AlsaEventCodec, EverySystemMessageComesBackAsItWas) {
    for (const std::uint8_t status : Bytes{0xF6, 0xF8, 0xFA, 0xFB, 0xFC, 0xFE, 0xFF})
        EXPECT_EQ(decoded(encoded({status})), Bytes{status});
    for (unsigned data1 = 0; data1 < 0x80; ++data1) {
        const auto low = static_cast<std::uint8_t>(data1);
        EXPECT_EQ(decoded(encoded({0xF1, low})), (Bytes{0xF1, low}));
        EXPECT_EQ(decoded(encoded({0xF3, low})), (Bytes{0xF3, low}));
        for (unsigned data2 = 0; data2 < 0x80; ++data2) {
            const Bytes message{0xF2, low, static_cast<std::uint8_t>(data2)};
            ASSERT_EQ(decoded(encoded(message)), message);
        }
    }
}

TEST(AlsaEventCodec, EachMessageHasTheEventOfItsKind) {
    EXPECT_EQ(type_of({0x8F, 1, 2}), SND_SEQ_EVENT_NOTEOFF);
    EXPECT_EQ(type_of({0x90, 1, 2}), SND_SEQ_EVENT_NOTEON);
    EXPECT_EQ(type_of({0xA0, 1, 2}), SND_SEQ_EVENT_KEYPRESS);
    EXPECT_EQ(type_of({0xB0, 1, 2}), SND_SEQ_EVENT_CONTROLLER);
    EXPECT_EQ(type_of({0xC0, 1}), SND_SEQ_EVENT_PGMCHANGE);
    EXPECT_EQ(type_of({0xD0, 1}), SND_SEQ_EVENT_CHANPRESS);
    EXPECT_EQ(type_of({0xE0, 1, 2}), SND_SEQ_EVENT_PITCHBEND);
    EXPECT_EQ(type_of({0xF0, 1, 0xF7}), SND_SEQ_EVENT_SYSEX);
    EXPECT_EQ(type_of({0xF1, 1}), SND_SEQ_EVENT_QFRAME);
    EXPECT_EQ(type_of({0xF2, 1, 2}), SND_SEQ_EVENT_SONGPOS);
    EXPECT_EQ(type_of({0xF3, 1}), SND_SEQ_EVENT_SONGSEL);
    EXPECT_EQ(type_of({0xF6}), SND_SEQ_EVENT_TUNE_REQUEST);
    EXPECT_EQ(type_of({0xF8}), SND_SEQ_EVENT_CLOCK);
    EXPECT_EQ(type_of({0xFA}), SND_SEQ_EVENT_START);
    EXPECT_EQ(type_of({0xFB}), SND_SEQ_EVENT_CONTINUE);
    EXPECT_EQ(type_of({0xFC}), SND_SEQ_EVENT_STOP);
    EXPECT_EQ(type_of({0xFE}), SND_SEQ_EVENT_SENSING);
    EXPECT_EQ(type_of({0xFF}), SND_SEQ_EVENT_RESET);
}

TEST(AlsaEventCodec, ValuesAreWhereOtherProgramsLookForThem) {
    const auto note = encoded({0x93, 0x40, 0x7F}).data.note;
    EXPECT_EQ(note.channel, 3);
    EXPECT_EQ(note.note, 0x40);
    EXPECT_EQ(note.velocity, 0x7F);
    const auto controller = encoded({0xB5, 0x07, 0x64}).data.control;
    EXPECT_EQ(controller.channel, 5);
    EXPECT_EQ(controller.param, 7U);
    EXPECT_EQ(controller.value, 0x64);
    EXPECT_EQ(encoded({0xC1, 0x05}).data.control.value, 5);
    EXPECT_EQ(encoded({0xE0, 0x00, 0x00}).data.control.value, -8192);
    EXPECT_EQ(encoded({0xE0, 0x00, 0x40}).data.control.value, 0);
    EXPECT_EQ(encoded({0xE0, 0x7F, 0x7F}).data.control.value, 8191);
    EXPECT_EQ(encoded({0xF2, 0x01, 0x02}).data.control.value, 0x101);
}

TEST(AlsaEventCodec, NoteOnOfVelocityZeroStaysOne) {
    EXPECT_EQ(type_of({0x90, 0x40, 0x00}), SND_SEQ_EVENT_NOTEON);
    EXPECT_EQ(decoded(encoded({0x90, 0x40, 0x00})), (Bytes{0x90, 0x40, 0x00}));
}

TEST(AlsaEventCodec, ExclusiveDataArePointedTo) {
    for (const Bytes& data : {Bytes{0xF0, 0xF7}, Bytes{0xF0, 0x01, 0x02}, Bytes{0x03, 0x04},
                              Bytes{0x05, 0xF7}, Bytes{0xF7}}) {
        const snd_seq_event_t event = encoded(data);
        EXPECT_EQ(event.type, SND_SEQ_EVENT_SYSEX);
        EXPECT_EQ(event.flags & SND_SEQ_EVENT_LENGTH_MASK, SND_SEQ_EVENT_LENGTH_VARIABLE);
        const void* const pointer = event.data.ext.ptr; // stands at an odd place there
        EXPECT_EQ(pointer, data.data());
        EXPECT_EQ(decoded(event), data) << "also a piece of them";
    }
}

TEST(AlsaEventCodec, OnlyTypeDataAndLengthOfTheEventAreSet) {
    snd_seq_event_t event = blank();
    snd_seq_ev_set_source(&event, 3);
    snd_seq_ev_set_dest(&event, 128, 4);
    snd_seq_ev_set_direct(&event);
    EventCodec().encode(Bytes{0x90, 0x01, 0x02}, event);
    EXPECT_EQ(event.source.port, 3);
    EXPECT_EQ(event.dest.client, 128);
    EXPECT_EQ(event.dest.port, 4);
    EXPECT_EQ(event.queue, SND_SEQ_QUEUE_DIRECT);
}

TEST(AlsaEventCodec, EveryOtherEventStandsForNoMessage) {
    int messages = 0;
    for (int type = 0; type < 256; ++type) {
        snd_seq_event_t event = blank();
        event.type = static_cast<snd_seq_event_type_t>(type);
        messages += decoded(event).empty() ? 0 : 1;
    }
    EXPECT_EQ(messages, 7 + 10 + 3)
        << "channel and system messages, and three that stand for several controllers";
}

TEST(AlsaEventCodec, WideControllersAreSeveralMessages) {
    snd_seq_event_t event = blank();
    event.type = SND_SEQ_EVENT_CONTROL14;
    event.data.control = {.channel = 2, .unused = {}, .param = 7, .value = 0x1234};
    EXPECT_EQ(decoded(event), (Bytes{0xB2, 0x07, 0x24, 0xB2, 0x27, 0x34}));
    event.type = SND_SEQ_EVENT_REGPARAM;
    event.data.control.param = 0x81;
    EXPECT_EQ(decoded(event),
              (Bytes{0xB2, 0x65, 0x01, 0xB2, 0x64, 0x01, 0xB2, 0x06, 0x24, 0xB2, 0x26, 0x34}));
}

TEST(AlsaEventCodec, NothingIsRememberedFromOneMessageToTheNext) {
    EventCodec codec;
    for (int i = 0; i < 3; ++i) {
        snd_seq_event_t event = blank();
        codec.encode(Bytes{0xB0, 0x07, 0x05}, event);
        const auto bytes = codec.decode(event);
        EXPECT_EQ(Bytes(bytes.begin(), bytes.end()), (Bytes{0xB0, 0x07, 0x05}))
            << "with its status";
    }
}

TEST(AlsaEventCodec, ExclusiveEventWithoutDataOfItsOwnIsDropped) {
    snd_seq_event_t event = blank();
    event.type = SND_SEQ_EVENT_SYSEX;
    event.data.ext.len = 0xFFFF; // of a fixed length, as its flags say: there is nothing there
    EXPECT_EQ(decoded(event), Bytes{});
}

TEST(AlsaEventCodec, ValuesOutOfRangeLoseTheirUpperBits) {
    snd_seq_event_t event = blank();
    event.type = SND_SEQ_EVENT_NOTEON;
    event.data.note.channel = 0xF3;
    event.data.note.note = 0xC0;
    event.data.note.velocity = 0xFF;
    EXPECT_EQ(decoded(event), (Bytes{0x93, 0x40, 0x7F}));
    event.type = SND_SEQ_EVENT_PITCHBEND;
    event.data.control.channel = 0x12;
    for (const int value : {INT_MAX, INT_MIN}) {
        event.data.control.value = value;
        const Bytes bytes = decoded(event);
        ASSERT_EQ(bytes.size(), 3U);
        EXPECT_EQ(bytes[0], 0xE2);
        EXPECT_LT(bytes[1], 0x80);
        EXPECT_LT(bytes[2], 0x80);
    }
}

} // namespace
