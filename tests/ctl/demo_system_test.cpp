// SPDX-License-Identifier: MIT
#include "ctl/demo_system.h"

#include "midi_service/midi_service.h"

#include <gtest/gtest.h>

namespace {

TEST(DemoSystem, NumbersItsMachinesAsTheSequencerNumbersPrograms) {
    DemoSystem system({0x4AC5F4C4, 0x4AC0F4C4}, {});
    install_midi_backend(&system.backend());
    ASSERT_EQ(MIDIGetNumberOfSources(), 2U);
    const MIDIEndpointRef first = MIDIGetSource(0);
    const MIDIEndpointRef second = MIDIGetSource(1);
    EXPECT_EQ(system.address(first), (setup::PortAddress{128, 0}));
    EXPECT_EQ(system.address(second), (setup::PortAddress{129, 0}));
    EXPECT_EQ(system.address(0), std::nullopt);
    EXPECT_EQ(system.address(first + second), std::nullopt);
    install_midi_backend(nullptr);
}

TEST(DemoSystem, HasNoTroubleNoLimitAndNobodyElse) {
    const DemoSystem system({0x4AC5F4C4}, {});
    EXPECT_TRUE(system.is_demo());
    EXPECT_FALSE(system.trouble().has_value());
    EXPECT_FALSE(system.places_left().has_value());
    EXPECT_TRUE(system.other_clients().empty());
    EXPECT_TRUE(system.connections(1).readers.empty());
}

} // namespace
