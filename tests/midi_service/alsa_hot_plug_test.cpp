// SPDX-License-Identifier: MIT
#include "tests/midi_service/alsa_service_fixture.h"

#include <cerrno>
#include <filesystem>
#include <future>
#include <utility>

namespace {

using AlsaHotPlug = AlsaService;

std::size_t entries(const char* folder) {
    const std::filesystem::directory_iterator all(folder);
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

TEST_F(AlsaHotPlug, EndpointsAndDevicesAreNamedAfterPortsAndClients) {
    AlsaPeer peer("first");
    peer.add_port("second");
    peer.rename_port("4AC5F4C4 port");
    ASSERT_NE(source("4AC5F4C4 port"), 0U);
    ASSERT_NE(destination("second"), 0U);
    EXPECT_EQ(text_of(source("second"), kMIDIPropertyModel), std::nullopt);
    const MIDIDeviceRef program = device("first");
    ASSERT_NE(program, 0U);
    EXPECT_EQ(text_of(program, kMIDIPropertyModel), "first");
    EXPECT_EQ(text_of(program, kMIDIPropertyManufacturer), std::nullopt);
    EXPECT_EQ(text_of(MIDIGetDevice(0), kMIDIPropertyName), "ALSA Sequencer");
    EXPECT_EQ(text_of(MIDIGetDevice(0), kMIDIPropertyModel), "ALSA Sequencer");
}

TEST_F(AlsaHotPlug, ClientWithoutAnEndpointIsNoDevice) {
    const AlsaPeer closed("closed", {}, SND_SEQ_PORT_CAP_READ);
    EXPECT_EQ(device("closed"), 0U);
}

TEST_F(AlsaHotPlug, PortThatComesBackUnderTheSameNumberIsAnotherOne) {
    auto peer = std::make_unique<AlsaPeer>("4AC5F4C4");
    const int number = peer->client();
    const MIDIEndpointRef before = destination("4AC5F4C4");
    ASSERT_EQ(send(before, {0xF8}), 0);
    peer.reset();
    std::promise<Bytes> first_message;
    peer = std::make_unique<AlsaPeer>(
        "4AC5F4C4", [&, come = false](std::span<const std::uint8_t> bytes) mutable {
            if (!std::exchange(come, true))
                first_message.set_value({bytes.begin(), bytes.end()});
        });
    ASSERT_EQ(peer->client(), number);
    EXPECT_EQ(send(before, {0xF8}), -ENODEV) << "not counted since";
    const MIDIEndpointRef after = destination("4AC5F4C4");
    EXPECT_NE(after, before);
    EXPECT_EQ(send(before, {0xF8}), -ENODEV);
    EXPECT_EQ(send(after, {0xFA}), 0);
    auto arrived = first_message.get_future();
    ASSERT_EQ(arrived.wait_for(std::chrono::seconds{10}), std::future_status::ready);
    EXPECT_EQ(arrived.get(), Bytes{0xFA}) << "nothing that was meant for the one before";
    peer.reset(); // its receiver first
}

TEST_F(AlsaHotPlug, DestinationStaysSubscribedUntilAnotherIsSentTo) {
    const AlsaPeer first("first");
    const AlsaPeer second("second");
    EXPECT_EQ(writers_of(first), 0);
    ASSERT_EQ(send(destination("first"), {0xF8}), 0);
    EXPECT_EQ(writers_of(first), 1);
    ASSERT_EQ(send(destination("first"), {0xF8}), 0);
    EXPECT_EQ(writers_of(first), 1);
    ASSERT_EQ(send(destination("second"), {0xF8}), 0);
    EXPECT_EQ(writers_of(first), 0);
    EXPECT_EQ(writers_of(second), 1);
    ASSERT_EQ(MIDIPortDispose(out_), 0);
    EXPECT_EQ(writers_of(second), 0);
}

TEST_F(AlsaHotPlug, EachOutputPortKeepsASubscriptionOfItsOwn) {
    const AlsaPeer first("first");
    const AlsaPeer second("second");
    const MIDIPortRef usual = out_;
    MIDIPortRef other = 0;
    ASSERT_EQ(MIDIOutputPortCreate(client_, CFSTR("Second output port"), &other), 0);
    ASSERT_EQ(send(destination("first"), {0xF8}), 0);
    out_ = other;
    ASSERT_EQ(send(destination("second"), {0xF8}), 0);
    EXPECT_EQ(writers_of(first), 1);
    EXPECT_EQ(writers_of(second), 1);
    out_ = usual;
    ASSERT_EQ(MIDIPortDispose(other), 0);
    EXPECT_EQ(writers_of(first), 1);
    EXPECT_EQ(writers_of(second), 0);
}

TEST_F(AlsaHotPlug, FiftyPlugsLeaveNothingBehind) {
    ASSERT_EQ(source("4AC5F4C4"), 0U);
    const std::size_t files = entries("/proc/self/fd");
    const std::size_t threads = entries("/proc/self/task");
    const ItemCount sources = MIDIGetNumberOfSources();
    for (int i = 0; i < 50; ++i) {
        const AlsaPeer occupant("occupies a number");
        const AlsaPeer machine("4AC5F4C4");
        const MIDIEndpointRef from = source("4AC5F4C4");
        ASSERT_NE(from, 0U);
        ASSERT_EQ(MIDIPortConnectSource(in_, from, nullptr), 0);
        ASSERT_EQ(send(destination("4AC5F4C4"), {0xF8}), 0);
    }
    EXPECT_EQ(MIDIGetNumberOfSources(), sources);
    EXPECT_EQ(entries("/proc/self/fd"), files);
    // At first the system may still have listed a thread of the test before.
    EXPECT_LE(entries("/proc/self/task"), threads);
}

TEST_F(AlsaHotPlug, LostAnnouncementsAreMadeUpFor) {
    AlsaPeer stays("stays");
    AlsaPeer busy("busy");
    auto replaced = std::make_unique<AlsaPeer>("replaced");
    const MIDIEndpointRef kept = source("stays");
    const MIDIEndpointRef lost = source("replaced");
    ASSERT_EQ(MIDIPortConnectSource(in_, kept, nullptr), 0);
    ASSERT_EQ(MIDIPortConnectSource(in_, lost, nullptr), 0);
    const int number = replaced->client();

    // Twice as many announcements as the kernel keeps for a client.
    for (int i = 0; i < 200; ++i)
        busy.remove_port(busy.add_port("passing"));
    replaced.reset();
    replaced = std::make_unique<AlsaPeer>("replaced");
    ASSERT_EQ(replaced->client(), number);
    busy.add_port("new");

    EXPECT_NE(source("new"), 0U);
    EXPECT_EQ(source("passing"), 0U);
    EXPECT_EQ(source("stays"), kept);
    const MIDIEndpointRef now = source("replaced");
    EXPECT_NE(now, 0U);
    EXPECT_NE(now, lost) << "our connection to it was gone, and so was it";
    EXPECT_EQ(MIDIPortDisconnectSource(in_, kept), 0) << "this connection was kept";
    EXPECT_EQ(MIDIPortConnectSource(in_, now, nullptr), 0);
    replaced->emit(Bytes{0xF8});
    EXPECT_EQ(wait_for_bytes(1), Bytes{0xF8});
}

} // namespace
