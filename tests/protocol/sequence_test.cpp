// SPDX-License-Identifier: MIT
#include "protocol/sequence.h"

#include "tests/support/sequence.h"

#include <gtest/gtest.h>

namespace {

using namespace protocol;

static_assert(protocol::echo_wait == ::echo_wait);
static_assert(confirmed_sequence({0xB2, 7, 5}).size() == 10);
static_assert(save_command == Message{0xAF, 0x7F, 0x7F});
static_assert(timing_clock == 0xF8);
static_assert(attempts == 2);

// Those of the device layer too: it sends bytes that make no mapping, and no valid message.
TEST(ConfirmedSequence, CarriesEveryMessageInTenEvents) {
    unsigned wrong = 0;
    for (int status = 0; status < 256; ++status)
        for (int data1 = 0; data1 < 256; data1 += 5)
            for (const int data2 : {0, 1, 64, 127, 128, 255}) {
                const Message message{static_cast<std::uint8_t>(status),
                                      static_cast<std::uint8_t>(data1),
                                      static_cast<std::uint8_t>(data2)};
                std::vector<Bytes> events;
                for (const SequenceEvent& event : confirmed_sequence(message))
                    events.emplace_back(event.bytes().begin(), event.bytes().end());
                wrong += events != sequence_events(message[0], message[1], message[2]);
            }
    EXPECT_EQ(wrong, 0U);
}

TEST(ConfirmedSequence, OnlyTheMessageIsEchoed) {
    const Sequence events = confirmed_sequence({0x90, 1, 2});
    for (std::size_t i = 0; i < events.size(); ++i)
        EXPECT_EQ(events[i].is_echoed, i == 8) << i;
}

// The six clocks follow each other without a pause.
TEST(ConfirmedSequence, PausesAreTheProtocols) {
    std::vector<unsigned> pauses;
    const Sequence events = confirmed_sequence({0x90, 1, 2});
    for (std::size_t i = 0; i < events.size(); ++i) {
        if (i >= 1 && i <= 5)
            EXPECT_EQ(events[i].pause_before, 0U) << i;
        else
            pauses.push_back(events[i].pause_before);
    }
    pauses.push_back(pause_behind);
    EXPECT_EQ(pauses, sequence_pauses);
}

// Every status against every status, equal first data bytes and different ones.
TEST(Confirmation, WindowComparesTwoBytesAndOfABendOne) {
    unsigned confirmed = 0, wrong = 0;
    for (int sent = 0; sent < 256; ++sent)
        for (int echoed = 0; echoed < 256; ++echoed)
            for (int difference = 0; difference < 128; ++difference) {
                const bool confirms = confirms_loosely(
                    static_cast<std::uint8_t>(sent), 0x55, static_cast<std::uint8_t>(echoed),
                    static_cast<std::uint8_t>(0x55 ^ difference));
                const bool is_bend = sent >= 0xE0 && sent <= 0xEF;
                wrong += confirms != (sent == echoed && (is_bend || difference == 0));
                confirmed += confirms;
            }
    EXPECT_EQ(wrong, 0U);
    EXPECT_EQ(confirmed, 240U + 16 * 128);
}

// Every single byte that differs, in every place, for a bend as for any other type.
TEST(Confirmation, StrictRuleComparesAllThreeBytes) {
    for (const Message& message : {Message{0x90, 0x40, 0x7F}, {0xE3, 0, 5}, {0xAF, 0x7F, 0x7F}}) {
        EXPECT_TRUE(confirms(message, message));
        for (std::size_t place = 0; place < message.size(); ++place)
            for (int difference = 1; difference < 256; ++difference) {
                Message other = message;
                other[place] = static_cast<std::uint8_t>(other[place] ^ difference);
                ASSERT_FALSE(confirms(message, other)) << place << ' ' << difference;
            }
    }
}

TEST(Confirmation, StrictRuleWantsExactlyThreeBytes) {
    const Message message = {0x90, 0x40, 0x7F};
    const Bytes longer = {0x90, 0x40, 0x7F, 0x00};
    EXPECT_FALSE(confirms(message, longer));
    for (std::size_t length = 0; length < 3; ++length)
        EXPECT_FALSE(confirms(message, std::span{message}.first(length))) << length;
    EXPECT_TRUE(confirms(message, std::span{longer}.first(3)));
}

} // namespace
