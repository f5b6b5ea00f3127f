// SPDX-License-Identifier: MIT
#include "simulation/firmware.h"

#include "tests/support/sequence.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

constexpr protocol::KeyMapping control_7 = {5, protocol::MessageType::control_change, 1, 7};

/// The bytes of each reply.
std::vector<Bytes> messages(const MachineAnswer& answer) {
    std::vector<Bytes> sent;
    for (const MachineReply& reply : answer.replies)
        sent.emplace_back(reply.bytes.begin(),
                          reply.bytes.begin() + static_cast<std::ptrdiff_t>(reply.length));
    return sent;
}

/// What a new machine replies to these bytes.
std::vector<Bytes> echoes_of(const Bytes& bytes) {
    return messages(Firmware().receive(bytes));
}

const std::vector<Bytes> echo_b0_07_05 = {{0xB0, 0x07, 0x05}};
const Bytes clocks_6(6, 0xF8);
const Bytes pair_07_05 = {0x90, 0x07, 0x05, 0x80, 0x07, 0x05};
const Bytes message_07_05 = {0xB0, 0x07, 0x05};

TEST(Firmware, MapsThePartInTheSecondDataByteAndEchoes) {
    Firmware machine;
    const MachineAnswer answer = machine.receive(sequence(0xB0, 0x07, 0x05));
    EXPECT_EQ(messages(answer), echo_b0_07_05);
    EXPECT_EQ(answer.replies.at(0).after_ms, 1U);
    EXPECT_EQ(machine.table(), (MappingTable{control_7}));
    EXPECT_TRUE(machine.saved_table().empty());
    ASSERT_EQ(answer.events.size(), 1U);
    EXPECT_EQ(answer.events[0].kind, MachineEvent::Kind::mapping);
    EXPECT_EQ(answer.events[0].mapping, control_7);
}

TEST(Firmware, UnderstandsTheFourTypesOnAllChannels) {
    for (const unsigned type : {0x80U, 0x90U, 0xB0U, 0xE0U}) {
        for (unsigned nibble = 0; nibble < 16; ++nibble) {
            Firmware machine;
            const auto status = static_cast<std::uint8_t>(type | nibble);
            EXPECT_EQ(messages(machine.receive(sequence(status, 0x7F, 0x00))),
                      (std::vector<Bytes>{{status, 0x7F, 0x00}}));
            EXPECT_EQ(machine.table(), (MappingTable{{0, static_cast<protocol::MessageType>(type),
                                                      static_cast<int>(nibble) + 1, 127}}));
        }
    }
}

TEST(Firmware, KeepsOneMappingForEachPart) {
    Firmware machine;
    (void)machine.receive(sequence(0xE2, 0x01, 0x05));
    (void)machine.receive(sequence(0x90, 0x02, 0x06));
    (void)machine.receive(sequence(0xB0, 0x07, 0x05));
    EXPECT_EQ(machine.table(),
              (MappingTable{control_7, {6, protocol::MessageType::note_on, 1, 2}}));
}

TEST(Firmware, LeavesOtherTypesAlone) {
    EXPECT_TRUE(echoes_of(sequence(0xA0, 0x07, 0x05)).empty());
    EXPECT_TRUE(echoes_of(sequence(0xAF, 0x7F, 0x7E)).empty());
    EXPECT_TRUE(echoes_of(sequence(0xAE, 0x7F, 0x7F)).empty());
    EXPECT_TRUE(echoes_of(joined({clocks_6, pair_07_05, {0xC0, 0x07}})).empty());
    EXPECT_TRUE(echoes_of(joined({clocks_6, pair_07_05, {0xF2, 0x07, 0x05}})).empty());
}

TEST(Firmware, TakesANoteOnWithVelocity0AsANoteOn) {
    Firmware machine;
    EXPECT_EQ(messages(machine.receive(sequence(0x90, 0x07, 0x00))),
              (std::vector<Bytes>{{0x90, 0x07, 0x00}}));
    EXPECT_EQ(machine.table(), (MappingTable{{0, protocol::MessageType::note_on, 1, 7}}));
}

TEST(Firmware, SavesAndComesBackWithTheSavedTable) {
    Firmware machine;
    (void)machine.receive(sequence(0xB0, 0x07, 0x05));
    const MachineAnswer answer = machine.receive(sequence(0xAF, 0x7F, 0x7F));
    EXPECT_EQ(messages(answer), (std::vector<Bytes>{{0xAF, 0x7F, 0x7F}}));
    ASSERT_EQ(answer.events.size(), 1U);
    EXPECT_EQ(answer.events[0].kind, MachineEvent::Kind::save);
    EXPECT_EQ(machine.saved_table(), (MappingTable{control_7}));

    (void)machine.receive(sequence(0x80, 0x01, 0x06));
    EXPECT_EQ(machine.table().size(), 2U);
    EXPECT_EQ(machine.power_cycle().kind, MachineEvent::Kind::power_cycle);
    EXPECT_EQ(machine.table(), (MappingTable{control_7}));
}

TEST(Firmware, ForgetsAtAPowerCycleASequenceThatHadBegun) {
    Firmware machine;
    (void)machine.receive(joined({clocks_6, pair_07_05}));
    (void)machine.power_cycle();
    EXPECT_TRUE(messages(machine.receive(message_07_05)).empty());
    (void)machine.receive(joined({clocks_6, {0x90}}));
    (void)machine.power_cycle();
    EXPECT_TRUE(messages(machine.receive({{0x07, 0x05, 0x80, 0x07, 0x05}})).empty());
    EXPECT_TRUE(messages(machine.receive(message_07_05)).empty());
}

TEST(Firmware, WantsSixClocksInARow) {
    EXPECT_TRUE(echoes_of(joined({Bytes(5, 0xF8), pair_07_05, message_07_05})).empty());
    EXPECT_EQ(echoes_of(joined({Bytes(6, 0xF8), pair_07_05, message_07_05})), echo_b0_07_05);
    EXPECT_EQ(echoes_of(joined({Bytes(1000, 0xF8), pair_07_05, message_07_05})), echo_b0_07_05);
    EXPECT_TRUE(
        echoes_of(joined({Bytes(5, 0xF8), {0xC0, 0x01}, Bytes(1, 0xF8), pair_07_05, message_07_05}))
            .empty());
}

TEST(Firmware, WantsTheNotePairToAgreeWithTheMessage) {
    for (std::size_t i = 0; i < 9; ++i) {
        Bytes bytes = sequence(0xB0, 0x07, 0x05);
        bytes[6 + i] ^= 1; // one channel or data byte of the pair or the message
        EXPECT_TRUE(echoes_of(bytes).empty()) << i;
    }
}

TEST(Firmware, WantsTheWholeSequenceInItsOrder) {
    EXPECT_TRUE(echoes_of(message_07_05).empty());
    EXPECT_TRUE(echoes_of(joined({clocks_6, message_07_05})).empty());
    EXPECT_TRUE(echoes_of(joined({clocks_6, {0x90, 0x07, 0x05}, message_07_05})).empty());
    EXPECT_TRUE(echoes_of(joined({clocks_6, {0x80, 0x07, 0x05}, message_07_05})).empty());
    EXPECT_TRUE(echoes_of(joined({clocks_6, pair_07_05, {0xC0, 0x07}, message_07_05})).empty());
    EXPECT_TRUE(echoes_of(joined({clocks_6, pair_07_05, {0xF6}, message_07_05})).empty());
}

TEST(Firmware, AnswersAMessageOnceForEachSequence) {
    const Bytes once = sequence(0xB0, 0x07, 0x05);
    EXPECT_EQ(echoes_of(joined({once, message_07_05})), echo_b0_07_05);
    EXPECT_EQ(echoes_of(joined({once, once})),
              (std::vector<Bytes>{{0xB0, 0x07, 0x05}, {0xB0, 0x07, 0x05}}));
}

TEST(Firmware, CountsTheClosingClockOnlyInARow) {
    const Bytes once = sequence(0xB0, 0x07, 0x05);
    EXPECT_EQ(echoes_of(joined({once, Bytes(5, 0xF8), pair_07_05, message_07_05})).size(), 2U);
    EXPECT_EQ(
        echoes_of(joined({once, {0xD0, 0x01}, Bytes(5, 0xF8), pair_07_05, message_07_05})).size(),
        1U);
}

TEST(Firmware, BeginsAnewWithANewBurst) {
    EXPECT_EQ(echoes_of(joined({clocks_6, pair_07_05, sequence(0xB0, 0x07, 0x05)})), echo_b0_07_05);
    // Without the second burst this note on would be the message of the first sequence.
    EXPECT_EQ(echoes_of(joined({clocks_6, pair_07_05, sequence(0x90, 0x07, 0x05)})),
              (std::vector<Bytes>{{0x90, 0x07, 0x05}}));
}

TEST(Firmware, PlaysAPartAsItIsMapped) {
    using enum protocol::MessageType;
    Firmware machine({},
                     {{0, note_on, 1, 60}, {5, control_change, 3, 7}, {127, bend_change, 16, 1}});
    EXPECT_EQ(machine.play(0, 100), (protocol::Message{0x90, 60, 100}));
    EXPECT_EQ(machine.play(5, 0), (protocol::Message{0xB2, 7, 0}));
    EXPECT_EQ(machine.play(127, 127), (protocol::Message{0xEF, 1, 127}));
    (void)machine.receive(sequence(0x81, 0x02, 0x05));
    EXPECT_EQ(machine.play(5, 9), (protocol::Message{0x81, 2, 9}));
    (void)machine.power_cycle();
    EXPECT_EQ(machine.play(5, 9), (protocol::Message{0xB2, 7, 9}))
        << "what it started with is saved";
    for (const auto& [part, value] : {std::pair{1, 0}, {-1, 0}, {128, 0}, {5, -1}, {5, 128}})
        EXPECT_EQ(machine.play(part, value), std::nullopt) << part << ' ' << value;
}

TEST(Firmware, ForgetsTheClocksOfBeforeAPowerCycle) {
    Firmware firmware;
    (void)firmware.receive(clocks_6);
    (void)firmware.power_cycle();
    EXPECT_TRUE(firmware.receive(joined({pair_07_05, message_07_05})).replies.empty());
    EXPECT_TRUE(firmware.table().empty());
}

} // namespace
