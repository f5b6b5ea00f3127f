// SPDX-License-Identifier: MIT
#include "tests/midi_service/alsa_service_fixture.h"

#include <deque>

namespace {

class AlsaRenaming : public AlsaService {
protected:
    /// Names are read anew when they have aged, in the same count for each list of endpoints.
    static void expect_new_name_after_aging() {
        AlsaPeer peer("other");
        const MIDIEndpointRef reference = source("other");
        ASSERT_NE(reference, 0U);
        peer.rename_port("4AC5F4C4");
        let_names_age();
        EXPECT_EQ(source("4AC5F4C4"), reference);
        EXPECT_EQ(destination("4AC5F4C4"), reference);
    }
};

TEST_F(AlsaRenaming, PortThatTakesAMachinesNameIsSeenWhenNamesHaveAged) {
    expect_new_name_after_aging();
}

TEST_F(AlsaRenaming, PortThatLosesAMachinesNameIsSeenWhenNamesHaveAged) {
    AlsaPeer peer("4AC5F4C4");
    ASSERT_NE(source("4AC5F4C4"), 0U);
    peer.rename_port("other");
    let_names_age();
    EXPECT_EQ(destination("4AC5F4C4"), 0U);
    EXPECT_NE(source("other"), 0U);
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
    expect_new_name_after_aging(); // of the port that is listed last
}

TEST_F(AlsaRenaming, NameStaysTheSameUntilTheNextCount) {
    AlsaPeer peer("4AC5F4C4");
    const MIDIEndpointRef reference = source("4AC5F4C4");
    peer.rename_port("other");
    let_names_age();
    EXPECT_EQ(text_of(reference, kMIDIPropertyName), "4AC5F4C4");
    static_cast<void>(MIDIGetNumberOfSources());
    EXPECT_EQ(text_of(reference, kMIDIPropertyName), "other");
}

TEST_F(AlsaRenaming, ClientIsSeenAtEachDeviceCount) {
    AlsaPeer peer("other");
    const MIDIDeviceRef reference = device("other");
    ASSERT_NE(reference, 0U);
    peer.rename("4AC5F4C4");
    EXPECT_EQ(device("4AC5F4C4"), reference);
    EXPECT_EQ(text_of(reference, kMIDIPropertyModel), "4AC5F4C4");
    EXPECT_EQ(device("other"), 0U);
}

} // namespace
