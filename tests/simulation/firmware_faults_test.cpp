// SPDX-License-Identifier: MIT
#include "simulation/firmware.h"

#include "tests/support/sequence.h"

#include <gtest/gtest.h>

namespace {

const MappingTable mapped = {{5, protocol::MessageType::control_change, 1, 7}};

MachineAnswer command(Firmware& machine) {
    return machine.receive(sequence(0xB0, 0x07, 0x05));
}

TEST(FirmwareFaults, SilentMachineMapsButDoesNotEcho) {
    Firmware machine({.silent = 2});
    EXPECT_TRUE(command(machine).replies.empty());
    EXPECT_EQ(machine.table(), mapped);
    EXPECT_TRUE(command(machine).replies.empty());
    EXPECT_EQ(command(machine).replies.size(), 1U);
}

TEST(FirmwareFaults, AFaultThatIsAlwaysThereDoesNotRunOut) {
    Firmware machine({.silent = MachineFaults::always});
    for (int i = 0; i < 1000; ++i)
        EXPECT_TRUE(command(machine).replies.empty());
}

TEST(FirmwareFaults, SlowMachineEchoesLater) {
    Firmware machine({.slow = 1, .delay_ms = 250});
    EXPECT_EQ(command(machine).replies.at(0).after_ms, 251U);
    EXPECT_EQ(command(machine).replies.at(0).after_ms, 1U);
}

TEST(FirmwareFaults, WrongMachineChangesOneByteOfTheEcho) {
    using Echo = std::array<std::uint8_t, 3>;
    const std::array<Echo, 3> wrong = {
        {{0xB1, 0x07, 0x05}, {0xB0, 0x06, 0x05}, {0xB0, 0x07, 0x04}}};
    for (unsigned byte = 1; byte <= 3; ++byte) {
        Firmware machine({.wrong = 1, .wrong_byte = byte});
        EXPECT_EQ(command(machine).replies.at(0).bytes, wrong.at(byte - 1));
        EXPECT_EQ(machine.table(), mapped);
        EXPECT_EQ(command(machine).replies.at(0).bytes, (Echo{0xB0, 0x07, 0x05}));
    }
}

TEST(FirmwareFaults, ChatteringMachineEchoesBetweenClocksAndNotesOfItsOwn) {
    Firmware machine({.chatter = 1});
    const MachineAnswer answer = command(machine);
    const std::vector<Bytes> expected = {
        {0xF8}, {0x91, 0x3C, 0x64}, {0xB0, 0x07, 0x05}, {0xF8}, {0x81, 0x3C, 0x00}};
    ASSERT_EQ(answer.replies.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const MachineReply& reply = answer.replies[i];
        EXPECT_EQ(Bytes(reply.bytes.begin(),
                        reply.bytes.begin() + static_cast<std::ptrdiff_t>(reply.length)),
                  expected[i]);
        EXPECT_EQ(reply.after_ms, 1U);
    }
    EXPECT_EQ(command(machine).replies.size(), 1U);
}

TEST(FirmwareFaults, ChatterNeverLooksLikeTheEcho) {
    for (unsigned status = 0x80; status < 0xA0; ++status) {
        Firmware machine({.chatter = 1});
        const auto first = static_cast<std::uint8_t>(status);
        const MachineAnswer answer = machine.receive(sequence(first, 60, 100));
        ASSERT_EQ(answer.replies.size(), 5U);
        for (std::size_t i = 0; i < 5; ++i)
            EXPECT_EQ(answer.replies[i].bytes[0] == first, i == 2);
    }
}

TEST(FirmwareFaults, VanishesWithTheMessageThatWasCounted) {
    const Bytes bytes = sequence(0xB0, 0x07, 0x05);
    for (unsigned n = 1; n <= 10; ++n) {
        Firmware machine({.vanish_after = n});
        const MachineAnswer answer = machine.receive(bytes);
        EXPECT_TRUE(machine.vanished());
        EXPECT_TRUE(answer.replies.empty()) << n;
        // The mapping is the ninth of ten messages.
        EXPECT_EQ(machine.table().size(), n > 9 ? 1U : 0U) << n;
        ASSERT_FALSE(answer.events.empty());
        EXPECT_EQ(answer.events.back().kind, MachineEvent::Kind::vanish);
        EXPECT_TRUE(command(machine).events.empty());
    }
    Firmware machine({.vanish_after = 11});
    EXPECT_EQ(command(machine).replies.size(), 1U);
    EXPECT_FALSE(machine.vanished());
}

TEST(FirmwareFaults, VanishesOnceAndComesBackWithTheSavedTable) {
    Firmware machine({.vanish_after = 25});
    (void)command(machine);
    (void)machine.receive(sequence(0xAF, 0x7F, 0x7F));
    (void)machine.receive(sequence(0xE0, 0x01, 0x06));
    EXPECT_TRUE(machine.vanished());
    (void)machine.power_cycle();
    EXPECT_FALSE(machine.vanished());
    EXPECT_EQ(machine.table(), mapped);
    EXPECT_EQ(command(machine).replies.size(), 1U);
    EXPECT_FALSE(machine.vanished());
}

} // namespace
