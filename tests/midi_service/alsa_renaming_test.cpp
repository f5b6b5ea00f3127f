// SPDX-License-Identifier: MIT
#include "tests/midi_service/alsa_service_fixture.h"

#include <deque>

namespace {

// A device count ends a press; the next count is that of another one.
void end_press() {
    static_cast<void>(MIDIGetNumberOfDevices());
}

class AlsaRenaming : public AlsaService {
protected:
    /// A port takes a machine's name between two presses.
    static void expect_new_name_at_the_next_press() {
        AlsaPeer peer("other");
        const MIDIEndpointRef reference = source("other");
        ASSERT_NE(reference, 0U);
        end_press();
        peer.rename_port("4AC5F4C4");
        EXPECT_EQ(source("4AC5F4C4"), reference);
        EXPECT_EQ(destination("4AC5F4C4"), reference);
    }
};

TEST_F(AlsaRenaming, PortThatTakesAMachinesNameIsSeenAtTheNextPress) {
    expect_new_name_at_the_next_press();
}

TEST_F(AlsaRenaming, PortThatLosesAMachinesNameIsSeenAtTheNextPress) {
    AlsaPeer peer("4AC5F4C4");
    ASSERT_NE(source("4AC5F4C4"), 0U);
    end_press();
    peer.rename_port("other");
    EXPECT_EQ(source("4AC5F4C4"), 0U);
    EXPECT_NE(source("other"), 0U);
}

TEST_F(AlsaRenaming, PortIsSeenAfterTheClientWasOpened) {
    AlsaPeer peer("other");
    ASSERT_NE(source("other"), 0U);
    ASSERT_EQ(MIDIClientDispose(client_), 0);
    peer.rename_port("4AC5F4C4");
    ASSERT_EQ(MIDIClientCreate(CFSTR("MIDI Client"), nullptr, nullptr, &client_), 0);
    EXPECT_NE(source("4AC5F4C4"), 0U);
}

TEST_F(AlsaRenaming, LastPortOfACrowdedSequencerIsSeenToo) {
    // Together they make the kernel's table of names longer than a megabyte.
    const std::string longest_name(63, 'x');
    constexpr int most_ports = 254;
    std::deque<AlsaPeer> crowd;
    for (int i = 0; i < 56; ++i) {
        crowd.emplace_back(longest_name);
        for (int port = 1; port < most_ports; ++port)
            crowd.back().add_port(longest_name);
    }
    expect_new_name_at_the_next_press(); // of the port that is listed last
}

TEST_F(AlsaRenaming, NameThatIsAskedForAgainIsTheNewest) {
    AlsaPeer peer("4AC5F4C4");
    const MIDIEndpointRef reference = source("4AC5F4C4");
    peer.rename_port("other");
    EXPECT_EQ(text(reference, kMIDIPropertyName), "other") << "in the same count";
}

TEST_F(AlsaRenaming, ClientIsSeenAtEachDeviceCount) {
    AlsaPeer peer("other");
    const MIDIDeviceRef reference = device("other");
    ASSERT_NE(reference, 0U);
    peer.rename("4AC5F4C4");
    EXPECT_EQ(device("4AC5F4C4"), reference);
    EXPECT_EQ(text(reference, kMIDIPropertyModel), "4AC5F4C4");
    EXPECT_EQ(device("other"), 0U);
}

} // namespace
