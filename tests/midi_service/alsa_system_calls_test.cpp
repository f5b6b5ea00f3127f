// SPDX-License-Identifier: MIT
#include "midi_service/alsa/alsa_backend.h"
#include "midi_service/midi_backend.h"
#include "tests/midi_service/alsa_peer.h"
#include "tests/midi_service/system_calls.h"
#include "tests/support/captured_output.h"

#include <algorithm>
#include <deque>

#include <gtest/gtest.h>

// Behind the others: it declares globals that they name parameters after.
#include "Include/usb_midi.h"

namespace {

constexpr int ports_per_peer = 200;

std::uint64_t calls_of(const std::function<void()>& action) {
    const std::uint64_t before = system_calls;
    action();
    return system_calls - before;
}

/// The application's link over the sequencer, and a crowd of other ports.
class AlsaSystemCalls : public testing::Test {
protected:
    AlsaSystemCalls() { install_midi_backend(&backend_); }
    ~AlsaSystemCalls() override {
        const CapturedOutput unread;
        midi_exit();
        install_midi_backend(nullptr);
    }

    /// Adds peers until they have so many ports together.
    void crowd(int ports) {
        for (; ports_ < ports; ++ports_) {
            if (ports_ % ports_per_peer == 0)
                peers_.emplace_back("peer");
            else
                peers_.back().add_port("port " + std::to_string(ports_));
        }
    }

    /// Makes the names that were read so far too old to rely on.
    static void let_names_age() { now += std::chrono::milliseconds{100}; }

    /// The sixteen probes of an apply press.
    static void sweep() {
        const CapturedOutput unread;
        for (std::uint32_t i = 0; i < 16; ++i)
            static_cast<void>(judge_device_connect_state_with_id(0x4AC0F4C4 + i * 0x10000));
    }

    static inline std::chrono::milliseconds now{0};
    const std::unique_ptr<AlsaBackend> owned_ = AlsaBackend::create([] { return now; });
    AlsaBackend& backend_ = *owned_;
    std::deque<AlsaPeer> peers_;
    int ports_ = 0;
};

TEST_F(AlsaSystemCalls, SweepCostsTheSameForEveryNumberOfPorts) {
    midi_init();
    std::vector<std::uint64_t> calls;
    for (const int ports : {16, 256, 1000}) {
        crowd(ports);
        let_names_age();
        sweep();
        let_names_age();
        calls.push_back(calls_of(sweep));
    }
    EXPECT_EQ(calls, (std::vector<std::uint64_t>{17, 17, 17}))
        << "one for each probe, and one for all the names";
}

TEST_F(AlsaSystemCalls, FirstSweepReliesOnTheNamesThatWereJustRead) {
    crowd(16);
    midi_init();
    EXPECT_EQ(calls_of(sweep), 18U)
        << "one for each probe, and one for each port of our own, which is news";
}

TEST_F(AlsaSystemCalls, NamesAreReadAgainEveryHundredMilliseconds) {
    crowd(16);
    midi_init();
    sweep();
    EXPECT_EQ(calls_of(sweep), 16U) << "one for each probe";
    EXPECT_EQ(calls_of([] {
                  for (int i = 0; i < 3; ++i) {
                      let_names_age();
                      sweep();
                  }
              }),
              3U * 17);
}

TEST_F(AlsaSystemCalls, MatchCostsAFewCallsMore) {
    const AlsaPeer machine("4AC5F4C4");
    midi_init();
    sweep();
    let_names_age();
    EXPECT_LE(calls_of(sweep), 17U + 7U);
}

TEST_F(AlsaSystemCalls, PortThatStartsOrGoesCostsAtMostThree) {
    crowd(256);
    midi_init();
    static_cast<void>(MIDIGetNumberOfSources());
    const int port = peers_.front().add_port("one more");
    EXPECT_LE(calls_of([] { static_cast<void>(MIDIGetNumberOfSources()); }), 3U);
    peers_.front().remove_port(port);
    EXPECT_LE(calls_of([] { static_cast<void>(MIDIGetNumberOfSources()); }), 3U);
}

TEST_F(AlsaSystemCalls, WhatIsNotConnectedCostsNothingToDisconnect) {
    crowd(16);
    midi_init();
    const ItemCount count = MIDIGetNumberOfSources();
    EXPECT_EQ(calls_of([count] {
                  for (ItemCount i = 0; i < count; ++i) {
                      EXPECT_NE(MIDIPortDisconnectSource(gOutPort, MIDIGetSource(i)), 0);
                      EXPECT_NE(MIDIPortDisconnectSource(inPort, MIDIGetSource(i)), 0);
                  }
                  EXPECT_NE(MIDIPortConnectSource(gOutPort, MIDIGetSource(0), nullptr), 0);
              }),
              0U);
}

TEST_F(AlsaSystemCalls, MessagesOfOnePacketAreOneWrite) {
    const AlsaPeer machine("4AC5F4C4");
    midi_init();
    const ItemCount last = MIDIGetNumberOfDestinations() - 1; // clients in order
    const MIDIEndpointRef destination = MIDIGetDestination(last);
    const auto send_clocks = [destination](std::size_t count) {
        const std::vector<std::uint8_t> clocks(count, 0xF8);
        MIDIPacketList list;
        MIDIPacket* const packet = MIDIPacketListInit(&list);
        MIDIPacketListAdd(&list, sizeof list, packet, 0, clocks.size(), clocks.data());
        EXPECT_EQ(MIDISend(gOutPort, destination, &list), 0);
    };
    send_clocks(1);
    for (const std::size_t count : {1U, 6U, 100U})
        EXPECT_EQ(calls_of([&] { send_clocks(count); }), 2U) << count << ": a write and a question";
}

TEST_F(AlsaSystemCalls, MissingSequencerIsCheapToLookFor) {
    sequencer_open_error = ENOENT;
    midi_init();
    EXPECT_EQ(MIDIGetNumberOfSources(), 0U);
    EXPECT_LE(calls_of([] { static_cast<void>(MIDIGetNumberOfSources()); }), 3U)
        << "the library tries the node, an old system's way to load it, and the node";
    sequencer_open_error = 0;
}

} // namespace
