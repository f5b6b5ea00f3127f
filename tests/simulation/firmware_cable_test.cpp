// SPDX-License-Identifier: MIT
#include "simulation/firmware.h"

#include "tests/support/sequence.h"

#include <gtest/gtest.h>

// What a cable may do to the bytes of a sequence without changing what they mean.

namespace {

const MappingTable mapped = {{5, protocol::MessageType::control_change, 3, 7}};

TEST(FirmwareCable, ReadsASequenceCutAnywhere) {
    const Bytes bytes = sequence(0xB2, 0x07, 0x05);
    for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
        Firmware machine;
        const std::span<const std::uint8_t> all = bytes;
        std::size_t echoes = machine.receive(all.first(cut)).replies.size();
        echoes += machine.receive(all.subspan(cut)).replies.size();
        EXPECT_EQ(echoes, 1U) << cut;
        EXPECT_EQ(machine.table(), mapped) << cut;
    }
}

TEST(FirmwareCable, ReadsRealTimeBytesAnywhere) {
    const Bytes bytes = sequence(0xB2, 0x07, 0x05);
    for (const std::uint8_t real_time : Bytes{0xF8, 0xFA, 0xFE, 0xFF}) {
        for (std::size_t at = 0; at <= bytes.size(); ++at) {
            Firmware machine;
            Bytes disturbed = bytes;
            disturbed.insert(disturbed.begin() + static_cast<std::ptrdiff_t>(at), real_time);
            EXPECT_EQ(machine.receive(disturbed).replies.size(), 1U) << at;
            EXPECT_EQ(machine.table(), mapped) << at;
        }
    }
}

TEST(FirmwareCable, UnderstandsRunningStatus) {
    // The message has the same status as the note off in front of it, so it comes without.
    Firmware machine;
    const MachineAnswer answer = machine.receive({{0xF8, 0xF8, 0xF8, 0xF8, 0xF8, 0xF8, 0x90, 0x07,
                                                   0x05, 0x80, 0x07, 0x05, 0x07, 0x05, 0xF8}});
    ASSERT_EQ(answer.replies.size(), 1U);
    EXPECT_EQ(answer.replies[0].bytes, (std::array<std::uint8_t, 3>{0x80, 0x07, 0x05}));
    EXPECT_EQ(machine.table(), (MappingTable{{5, protocol::MessageType::note_off, 1, 7}}));
}

TEST(FirmwareCable, KeepsTheRunningStatusOverClocks) {
    // The note on of the sequence has the status of the note before the burst.
    Firmware machine;
    const MachineAnswer answer =
        machine.receive({{0x92, 0x01, 0x01, 0xF8, 0xF8, 0xF8, 0xF8, 0xF8, 0xF8, 0x07, 0x05, 0x82,
                          0x07, 0x05, 0xB2, 0x07, 0x05}});
    EXPECT_EQ(answer.replies.size(), 1U);
    EXPECT_EQ(machine.table(), mapped);
}

TEST(FirmwareCable, EndsTheRunningStatusWithASystemMessage) {
    for (const Bytes& system : {Bytes{0xF6}, Bytes{0xF1, 0x01}, Bytes{0xF2, 0x01, 0x01},
                                Bytes{0xF0, 0x01, 0xF7}, Bytes{0xF4}}) {
        Firmware machine;
        const Bytes rest = {0x07, 0x05, 0x82, 0x07, 0x05, 0xB2, 0x07, 0x05};
        const Bytes bytes = joined({{0x92, 0x01, 0x01}, system, Bytes(6, 0xF8), rest});
        EXPECT_TRUE(machine.receive(bytes).replies.empty()) << int{system[0]};
    }
}

TEST(FirmwareCable, SkipsSystemExclusiveData) {
    // The data bytes look like those of a sequence.
    Firmware machine;
    const Bytes whole = sequence(0xB2, 0x07, 0x05);
    Bytes bytes = {0xF0};
    for (const std::uint8_t byte : whole)
        bytes.push_back(byte & 0x7F);
    bytes.push_back(0xF7);
    EXPECT_TRUE(machine.receive(bytes).replies.empty());
    EXPECT_TRUE(machine.table().empty());
    EXPECT_EQ(machine.receive(whole).replies.size(), 1U);
    EXPECT_EQ(machine.table(), mapped);
}

TEST(FirmwareCable, DropsWhatBelongsToNoMessage) {
    // Data without a status, an unfinished message, and an F7 without F0.
    Firmware machine;
    const Bytes bytes = joined({{0x01, 0x02, 0x92, 0x01, 0xF7}, sequence(0xB2, 0x07, 0x05)});
    EXPECT_EQ(machine.receive(bytes).replies.size(), 1U);
    EXPECT_EQ(machine.table(), mapped);
}

} // namespace
