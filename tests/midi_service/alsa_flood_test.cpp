// SPDX-License-Identifier: MIT
#include "tests/midi_service/alsa_service_fixture.h"

namespace {

using AlsaFlood = AlsaService;

TEST_F(AlsaFlood, LongestExclusiveEventArrivesWhole) {
    AlsaPeer machine("4AC5F4C4");
    ASSERT_EQ(MIDIPortConnectSource(in_, source("4AC5F4C4"), nullptr), 0);
    // As large as an event can be that still fits the input's pool of 2,000 cells of 28 bytes.
    Bytes data(55'000, 0x55);
    data.front() = 0xF0;
    data.back() = 0xF7;
    machine.emit(data);
    EXPECT_EQ(wait_for_bytes(data.size()), data);
    machine.emit(Bytes{0xF8});
    data.push_back(0xF8);
    EXPECT_EQ(wait_for_bytes(data.size()), data);
}

TEST_F(AlsaFlood, FullInputLosesMessagesAndNeverTheThread) {
    AlsaPeer machine("4AC5F4C4");
    ASSERT_EQ(MIDIPortConnectSource(in_, source("4AC5F4C4"), nullptr), 0);
    hold_callbacks(true);
    // Past the first few nothing is read, and this is more than twice what the kernel keeps.
    for (int i = 0; i < 5000; ++i)
        machine.emit(Bytes{0xF8});
    hold_callbacks(false);
    EXPECT_LT(wait_for_bytes(1).size(), 5000U);
    // What is sent before the loss was noticed is lost too; then all is as before.
    int attempts = 0;
    do {
        machine.emit(Bytes{0xFE});
    } while (!arrives(0xFE, std::chrono::milliseconds{50}) && ++attempts < 200);
    machine.emit(Bytes{0xC0, 0x42});
    EXPECT_TRUE(arrives(0x42, std::chrono::seconds{20}));
}

} // namespace
