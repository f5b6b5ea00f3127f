// SPDX-License-Identifier: MIT
#include "simulation/embedded_connection.h"

#include "tests/midi_service/embedded_fixture.h"

#include <cerrno>
#include <thread>

namespace {

constexpr std::uint32_t code = 0x4AC5F4C4;
const MappingTable mapped = {{5, protocol::MessageType::control_change, 1, 7}};
const Bytes echo = {0xB0, 0x07, 0x05};

class EmbeddedMachineTest : public EmbeddedService {
protected:
    void connect() {
        ASSERT_EQ(MIDIGetNumberOfSources(), 1U);
        listen_to(MIDIGetSource(0));
    }

    void listen_to(MIDIEndpointRef from) {
        ASSERT_EQ(MIDIPortConnectSource(in_, from, nullptr), 0);
    }

    /// Sends bytes to the machine in one packet.
    OSStatus send(const EmbeddedMachine& machine, const Bytes& bytes) {
        return send_packets(out_, machine.reference(), {bytes});
    }

    /// What the input port has received since the last call.
    Bytes take() { return joined(std::exchange(heard_, {})); }
};

TEST_F(EmbeddedMachineTest, IsASourceADestinationAndADeviceUnderItsName) {
    const EmbeddedMachine machine(service_, code);
    ASSERT_EQ(MIDIGetNumberOfSources(), 1U);
    ASSERT_EQ(MIDIGetNumberOfDestinations(), 1U);
    ASSERT_EQ(MIDIGetNumberOfDevices(), 1U);
    for (const MIDIObjectRef object : {MIDIGetSource(0), MIDIGetDestination(0), MIDIGetDevice(0)}) {
        EXPECT_EQ(object, machine.reference());
        EXPECT_EQ(text_of(object, kMIDIPropertyName), "4AC5F4C4 MIDI 1");
        EXPECT_EQ(text_of(object, kMIDIPropertyModel), "4AC5F4C4");
        EXPECT_EQ(text_of(object, kMIDIPropertyManufacturer), "keyloft");
        EXPECT_EQ(offline_of(object), (std::pair{0, 0}));
    }
}

TEST_F(EmbeddedMachineTest, EchoesAMillisecondAfterTheMessageAndNotSooner) {
    EmbeddedMachine machine(service_, code);
    connect();
    ASSERT_EQ(send(machine, sequence(0xB0, 0x07, 0x05)), 0);
    EXPECT_EQ(machine.table(), mapped);
    service_.advance(std::chrono::microseconds(999));
    EXPECT_EQ(take(), Bytes{});
    service_.advance(std::chrono::microseconds(1));
    EXPECT_EQ(take(), echo);
}

TEST_F(EmbeddedMachineTest, DelaysTheEchoOfASlowMachine) {
    EmbeddedMachine machine(service_, code, {.slow = 1, .delay_ms = 250});
    connect();
    ASSERT_EQ(send(machine, sequence(0xB0, 0x07, 0x05)), 0);
    service_.advance(milliseconds(250));
    EXPECT_EQ(take(), Bytes{});
    service_.advance(milliseconds(1));
    EXPECT_EQ(take(), echo);
}

TEST_F(EmbeddedMachineTest, SendsChatterAroundTheEchoInOrder) {
    EmbeddedMachine machine(service_, code, {.chatter = 1});
    connect();
    ASSERT_EQ(send(machine, sequence(0xB0, 0x07, 0x05)), 0);
    service_.advance(milliseconds(1));
    EXPECT_EQ(take(), (Bytes{0xF8, 0x91, 0x3C, 0x64, 0xB0, 0x07, 0x05, 0xF8, 0x81, 0x3C, 0x00}));
}

TEST_F(EmbeddedMachineTest, SendsWhatAPartIsMappedToWhenItIsPlayed) {
    EmbeddedMachine machine(service_, code, {}, mapped);
    EXPECT_EQ(machine.saved_table(), mapped);
    connect();
    EXPECT_TRUE(machine.play(5, 100));
    EXPECT_FALSE(machine.play(6, 100));
    service_.advance(milliseconds(0));
    EXPECT_EQ(take(), (Bytes{0xB0, 0x07, 0x64}));
    machine.unplug();
    EXPECT_FALSE(machine.play(5, 100));
}

TEST_F(EmbeddedMachineTest, AnswersBesideOthersEachInItsOwnTime) {
    EmbeddedMachine quick(service_, code);
    EmbeddedMachine slow(service_, 0x4AC6F4C4, {.slow = 1, .delay_ms = 5});
    ASSERT_EQ(MIDIGetNumberOfSources(), 2U);
    listen_to(quick.reference());
    listen_to(slow.reference());
    ASSERT_EQ(send(slow, sequence(0xB0, 0x07, 0x05)), 0);
    ASSERT_EQ(send(quick, sequence(0xE0, 0x01, 0x06)), 0);
    service_.advance(milliseconds(1));
    EXPECT_EQ(take(), (Bytes{0xE0, 0x01, 0x06}));
    service_.advance(milliseconds(5));
    EXPECT_EQ(take(), echo);
    EXPECT_EQ(slow.table(), mapped);
}

TEST_F(EmbeddedMachineTest, KeepsEveryByteThatReachedIt) {
    EmbeddedMachine machine(service_, code);
    const Bytes first = {0x90, 0x01, 0x00};
    const Bytes second = sequence(0xAF, 0x7F, 0x7F);
    ASSERT_EQ(send(machine, first), 0);
    ASSERT_EQ(send(machine, second), 0);
    EXPECT_EQ(machine.received(), joined({first, second}));
}

TEST_F(EmbeddedMachineTest, LosesWhatItHadNotSavedWhenThePlugIsPulled) {
    EmbeddedMachine machine(service_, code);
    ASSERT_EQ(send(machine, sequence(0xB0, 0x07, 0x05)), 0);
    ASSERT_EQ(send(machine, sequence(0xAF, 0x7F, 0x7F)), 0);
    ASSERT_EQ(send(machine, sequence(0xE0, 0x01, 0x06)), 0);
    EXPECT_EQ(machine.table().size(), 2U);
    EXPECT_EQ(machine.saved_table(), mapped);

    const MIDIObjectRef before = machine.reference();
    machine.unplug();
    machine.unplug();
    EXPECT_EQ(machine.reference(), 0U);
    EXPECT_EQ(MIDIGetNumberOfSources(), 0U);
    EXPECT_EQ(MIDIGetNumberOfDevices(), 0U);
    machine.plug();
    machine.plug();
    EXPECT_EQ(MIDIGetNumberOfDestinations(), 1U);
    EXPECT_NE(machine.reference(), before);
    EXPECT_EQ(machine.table(), mapped);
}

TEST_F(EmbeddedMachineTest, SendsNothingAnyMoreWhenThePlugIsPulled) {
    EmbeddedMachine machine(service_, code);
    connect();
    ASSERT_EQ(send(machine, sequence(0xB0, 0x07, 0x05)), 0);
    machine.unplug();
    service_.advance(milliseconds(10));
    EXPECT_EQ(take(), Bytes{});
}

TEST_F(EmbeddedMachineTest, StandsAtTheEndOfTheListsWhenPluggedInAgain) {
    EmbeddedMachine first(service_, code);
    const EmbeddedMachine second(service_, 0x4AC6F4C4);
    first.unplug();
    first.plug();
    ASSERT_EQ(MIDIGetNumberOfSources(), 2U);
    EXPECT_EQ(MIDIGetSource(0), second.reference());
    EXPECT_EQ(MIDIGetSource(1), first.reference());
}

TEST_F(EmbeddedMachineTest, VanishesInTheMiddleOfASequence) {
    EmbeddedMachine machine(service_, code, {.vanish_after = 7});
    connect();
    const MIDIEndpointRef before = machine.reference();
    EXPECT_EQ(send(machine, sequence(0xB0, 0x07, 0x05)), 0);
    EXPECT_EQ(machine.reference(), 0U);
    EXPECT_EQ(MIDIGetNumberOfSources(), 0U);
    EXPECT_EQ(offline_of(before), (std::pair{-ENODEV, 1}));
    service_.advance(milliseconds(10));
    EXPECT_EQ(take(), Bytes{});
    EXPECT_TRUE(machine.table().empty());
}

TEST_F(EmbeddedMachineTest, IsPulledOutWhileMessagesArrive) {
    // A race on purpose: whoever wins, nothing hangs and nothing uses a machine that is gone.
    for (int round = 0; round < 200; ++round) {
        EmbeddedMachine machine(service_, code, {.vanish_after = 40});
        const Bytes bytes = sequence(0xB0, 0x07, 0x05);
        std::thread puller([&machine] { machine.unplug(); });
        int sent = 0;
        while (send(machine, bytes) == 0)
            ++sent;
        puller.join();
        EXPECT_LE(sent, 4);
        EXPECT_EQ(machine.reference(), 0U);
    }
    EXPECT_EQ(MIDIGetNumberOfSources(), 0U);
}

} // namespace
