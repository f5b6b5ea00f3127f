// SPDX-License-Identifier: MIT
#include "simulation/connected_machine.h"

#include "tests/simulation/socket_machine.h"

#include <gtest/gtest.h>

namespace {

using Clock = ConnectedMachine::Clock;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;

constexpr nanoseconds instant{1};

/// What the machine has sent since the last call.
Bytes taken(const SocketMachine& machine) {
    Bytes bytes(256);
    const ssize_t length = recv(machine.far_end(), bytes.data(), bytes.size(), MSG_DONTWAIT);
    bytes.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
    return bytes;
}

const Bytes command = sequence(0xB0, 0x07, 0x05);
const Bytes save = sequence(0xAF, 0x7F, 0x7F);
const Bytes echo = {0xB0, 0x07, 0x05};

class ConnectedMachineTest : public testing::Test {
protected:
    WatcherRecord record;
};

TEST_F(ConnectedMachineTest, EchoesNoSoonerThanAMillisecondAfterTheMessage) {
    SocketMachine machine({}, record);
    EXPECT_EQ(machine.next_due(), std::nullopt);
    const auto before = Clock::now();
    give(machine, command);
    const auto due = machine.next_due().value();
    EXPECT_GE(due, before + milliseconds(1));
    EXPECT_LE(due, Clock::now() + milliseconds(1));
    machine.send_due(due - instant);
    EXPECT_EQ(taken(machine), Bytes{});
    machine.send_due(due);
    EXPECT_EQ(taken(machine), echo);
    EXPECT_EQ(machine.next_due(), std::nullopt);
}

TEST_F(ConnectedMachineTest, TellsItsWatcherWhatCameAndWentAndHappened) {
    SocketMachine machine({}, record);
    give(machine, command);
    machine.send_due(machine.next_due().value());
    give(machine, save);
    EXPECT_EQ(record.input, joined({command, save}));
    EXPECT_EQ(record.output, std::vector<Bytes>{echo});
    EXPECT_EQ(record.events,
              (std::vector<std::string>{"part 5: Control Change, channel 1, controller 7",
                                        "saved: 1 mapping"}));
}

TEST_F(ConnectedMachineTest, DelaysTheEchoOfASlowMachine) {
    SocketMachine machine({.slow = 1, .delay_ms = 400}, record);
    const auto before = Clock::now();
    give(machine, command);
    EXPECT_GE(machine.next_due().value(), before + milliseconds(401));
}

TEST_F(ConnectedMachineTest, SendsABurstInOneGoWithoutAGap) {
    SocketMachine machine({.chatter = 1}, record);
    give(machine, command);
    machine.send_due(machine.next_due().value());
    EXPECT_EQ(taken(machine),
              (Bytes{0xF8, 0x91, 0x3C, 0x64, 0xB0, 0x07, 0x05, 0xF8, 0x81, 0x3C, 0x00}));
}

TEST_F(ConnectedMachineTest, KeepsTheGapBetweenItsMessages) {
    SocketMachine machine({.chatter = 1}, record, milliseconds(1));
    give(machine, command);
    const std::vector<Bytes> expected = {
        {0xF8}, {0x91, 0x3C, 0x64}, {0xB0, 0x07, 0x05}, {0xF8}, {0x81, 0x3C, 0x00}};
    for (const Bytes& message : expected) {
        const auto due = machine.next_due().value();
        machine.send_due(due - instant);
        EXPECT_EQ(taken(machine), Bytes{});
        // Even when the loop is late it sends only one message.
        machine.send_due(due + milliseconds(50));
        EXPECT_EQ(taken(machine), message);
        if (machine.next_due()) {
            EXPECT_EQ(machine.next_due(), due + milliseconds(51));
        }
    }
    EXPECT_EQ(machine.next_due(), std::nullopt);
}

TEST_F(ConnectedMachineTest, SendsWhatItsPartsAreMappedToWhenTheyArePlayed) {
    SocketMachine machine({}, record, milliseconds(1));
    give(machine, command);
    machine.send_due(machine.next_due().value());
    EXPECT_EQ(taken(machine), echo);
    const auto before = Clock::now();
    machine.play(4, 64);
    EXPECT_EQ(machine.next_due(), std::nullopt);
    machine.play(5, 64);
    machine.play(5, 65);
    EXPECT_GE(machine.next_due().value(), before);
    for (const Bytes& message : {Bytes{0xB0, 0x07, 0x40}, Bytes{0xB0, 0x07, 0x41}}) {
        machine.send_due(machine.next_due().value());
        EXPECT_EQ(taken(machine), message);
    }
    EXPECT_EQ(machine.next_due(), std::nullopt);
}

TEST_F(ConnectedMachineTest, LeavesWhenItVanishesAndSendsNothingMore) {
    SocketMachine machine({.vanish_after = 15}, record);
    give(machine, command);
    EXPECT_TRUE(machine.next_due().has_value());
    give(machine, command);
    EXPECT_EQ(machine.descriptor(), -1);
    EXPECT_EQ(machine.next_due(), std::nullopt);
    EXPECT_EQ(record.events.back(), "vanished");
    EXPECT_EQ(taken(machine), Bytes{});
}

TEST_F(ConnectedMachineTest, TellsThatItsConnectionWasTakenAwayAndSendsNothingMore) {
    SocketMachine machine({}, record);
    give(machine, command);
    EXPECT_TRUE(machine.next_due().has_value());
    machine.cut();
    machine.read();
    EXPECT_EQ(record.events.back(), "lost");
    EXPECT_EQ(machine.descriptor(), -1);
    EXPECT_EQ(machine.next_due(), std::nullopt);
    machine.power_cycle();
    EXPECT_GE(machine.descriptor(), 0);
}

TEST_F(ConnectedMachineTest, IsBackWithTheSavedTableAfterAPowerCycle) {
    SocketMachine machine({}, record);
    give(machine, command);
    give(machine, save);
    give(machine, sequence(0x90, 0x01, 0x06));
    record.events.clear();
    machine.power_cycle();
    EXPECT_EQ(machine.plugs(), 2U);
    EXPECT_EQ(machine.next_due(), std::nullopt);
    EXPECT_EQ(record.events, std::vector<std::string>{"power cycle: back to 1 mapping"});
    EXPECT_EQ(machine.firmware().table(),
              (MappingTable{{5, protocol::MessageType::control_change, 1, 7}}));
}

TEST_F(ConnectedMachineTest, ComesBackAfterItVanished) {
    SocketMachine machine({.vanish_after = 1}, record);
    give(machine, {0xF8});
    EXPECT_EQ(machine.descriptor(), -1);
    machine.power_cycle();
    EXPECT_GE(machine.descriptor(), 0);
    give(machine, command);
    machine.send_due(machine.next_due().value());
    EXPECT_EQ(taken(machine), echo);
}

} // namespace
