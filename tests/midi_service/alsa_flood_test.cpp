// SPDX-License-Identifier: MIT
#include "tests/midi_service/alsa_service_fixture.h"

#include <algorithm>

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
    const std::size_t before = wait_for_bytes(1).size();
    EXPECT_LT(before, 5000U);
    // Whatever was waiting is lost by and by; then the next ones come.
    for (int i = 0; i < 100; ++i) {
        machine.emit(Bytes{0xFE});
        if (std::ranges::count(wait_for_bytes(0), 0xFE) > 0)
            break;
    }
    static_cast<void>(wait_for_bytes(before + 1));
    machine.emit(Bytes{0xC0, 0x42});
    Bytes all = wait_for_bytes(0);
    while (all.empty() || all.back() != 0x42)
        all = wait_for_bytes(all.size() + 1);
    EXPECT_EQ(all[all.size() - 2], 0xC0);
}

} // namespace
