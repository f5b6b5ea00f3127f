// SPDX-License-Identifier: MIT
#include "setup/identified_part.h"

#include <set>

#include <gtest/gtest.h>

using setup::identified_part;
using setup::identifying_mapping;
using setup::MovedParts;
using Bytes = std::vector<std::uint8_t>;

namespace {

/// What a part sends by its identifying mapping.
Bytes moved(int part, int value) {
    const auto message = protocol::message_of(identifying_mapping(part)).value();
    return {message[0], message[1], static_cast<std::uint8_t>(value)};
}

} // namespace

TEST(IdentifiedPart, EachPartHasAControllerThatIsNoModeMessage) {
    std::set<std::pair<int, int>> seen;
    for (int part = 0; part < 128; ++part) {
        const protocol::KeyMapping mapping = identifying_mapping(part);
        EXPECT_EQ(mapping.part, part);
        EXPECT_EQ(mapping.type, protocol::MessageType::control_change);
        EXPECT_EQ(mapping.channel, part < 120 ? 16 : 15);
        EXPECT_EQ(mapping.controller, part < 120 ? part : part - 8);
        seen.insert({mapping.channel, mapping.controller});
    }
    EXPECT_EQ(seen.size(), 128U);
}

TEST(IdentifiedPart, EachMessageIsReadBackWhateverItsValue) {
    for (int part = 0; part < 128; ++part) {
        for (int value = 0; value < 128; ++value)
            EXPECT_EQ(identified_part(moved(part, value)), part);
    }
}

TEST(IdentifiedPart, NoOtherMessageIsAPart) {
    for (unsigned status = 0; status < 256; ++status) {
        for (unsigned controller = 0; controller < 256; ++controller) {
            const bool is_part = (status == 0xBF && controller < 120) ||
                                 (status == 0xBE && controller >= 112 && controller < 120);
            const Bytes message = {static_cast<std::uint8_t>(status),
                                   static_cast<std::uint8_t>(controller), 0};
            EXPECT_EQ(identified_part(message).has_value(), is_part) << status << ' ' << controller;
        }
    }
}

TEST(IdentifiedPart, BytesThatAreNoWholeMessageAreNoPart) {
    for (const Bytes& bytes :
         {Bytes{}, {0xBF}, {0xBF, 1}, {0xBF, 1, 2, 3}, {0xBF, 1, 0x80}, {1, 2, 3}})
        EXPECT_EQ(identified_part(bytes), std::nullopt);
}

TEST(MovedPartsTest, APartIsToldOnceUntilAnotherOneMoves) {
    MovedParts parts;
    EXPECT_EQ(parts.heard(moved(0, 0)), 0);
    EXPECT_EQ(parts.heard(moved(0, 64)), std::nullopt);
    EXPECT_EQ(parts.heard(moved(127, 127)), 127);
    EXPECT_EQ(parts.heard(moved(127, 0)), std::nullopt);
    EXPECT_EQ(parts.heard(moved(0, 64)), 0);
}

TEST(MovedPartsTest, WhatIsNoPartLeavesTheLastOneAsItIs) {
    MovedParts parts;
    EXPECT_EQ(parts.heard(moved(5, 1)), 5);
    EXPECT_EQ(parts.heard(Bytes{0x90, 60, 100}), std::nullopt);
    EXPECT_EQ(parts.heard(moved(5, 2)), std::nullopt);
}

TEST(MovedPartsTest, ALateEchoIsNoMovement) {
    MovedParts parts;
    parts.expect_late_echo(7);
    EXPECT_EQ(parts.heard(moved(7, 7)), std::nullopt);
    EXPECT_EQ(parts.heard(moved(8, 8)), 8) << "that one was confirmed";
    EXPECT_EQ(parts.heard(moved(7, 7)), std::nullopt) << "the echo of the second attempt";
    EXPECT_EQ(parts.heard(moved(7, 8)), 7);
}
