// SPDX-License-Identifier: MIT
#include "tests/midi_service/alsa_service_fixture.h"
#include "tests/midi_service/system_calls.h"

#include <cerrno>

namespace {

/// There is no sequencer until a test clears the error.
struct Missing {
    Missing() { sequencer_open_error = ENOENT; }
    ~Missing() { sequencer_open_error = 0; }
};

/// Other programs have taken every client, until they give some back.
struct Crowded {
    Crowded() {
        snd_seq_t* sequencer = nullptr;
        while (snd_seq_open(&sequencer, "default", SND_SEQ_OPEN_DUPLEX, 0) >= 0)
            taken.emplace_back(sequencer, &snd_seq_close);
    }

    std::vector<std::unique_ptr<snd_seq_t, decltype(&snd_seq_close)>> taken;
};

// The first base is there before the application's client is created.
class AlsaMissing : Missing, public AlsaService {};
class AlsaCrowded : public Crowded, public AlsaService {};

TEST_F(AlsaMissing, ClientAndPortsJoinTheSequencerWhenItTurnsUp) {
    EXPECT_EQ(MIDIGetNumberOfSources(), 0U);
    EXPECT_EQ(MIDIGetNumberOfDevices(), 1U);
    sequencer_open_error = 0;

    AlsaPeer machine("4AC5F4C4");
    EXPECT_EQ(MIDIPortConnectSource(in_, source("4AC5F4C4"), nullptr), 0);
    machine.emit(Bytes{0xF8});
    EXPECT_EQ(wait_for_bytes(1), Bytes{0xF8});
    EXPECT_EQ(send(destination("4AC5F4C4"), {0xF8}), 0);
    EXPECT_NE(device("4AC5F4C4"), 0U);
    EXPECT_EQ(MIDIClientDispose(client_), 0) << "under the same reference";
}

TEST_F(AlsaMissing, TroubleIsOverWhenItTurnsUp) {
    EXPECT_TRUE(backend_.trouble()) << "already since the client was created";
    EXPECT_EQ(backend_.changes(), -1);
    sequencer_open_error = 0;
    static_cast<void>(MIDIGetNumberOfSources());
    EXPECT_FALSE(backend_.trouble());
    EXPECT_GE(backend_.changes(), 0);
}

TEST_F(AlsaCrowded, ApplicationWaitsForTheTwoClientsThatItNeeds) {
    EXPECT_EQ(MIDIGetNumberOfSources(), 0U);
    EXPECT_EQ(MIDIGetNumberOfDevices(), 1U);
    taken.pop_back();
    static_cast<void>(MIDIGetNumberOfSources());
    const MIDIEndpointRef through = source("Midi Through Port-0");
    EXPECT_NE(through, 0U) << "the list is there, the ports are not yet";
    EXPECT_NE(MIDIPortConnectSource(in_, through, nullptr), 0);
    EXPECT_TRUE(backend_.trouble()) << "half of it does not help";

    taken.pop_back();
    EXPECT_EQ(MIDIPortConnectSource(in_, through, nullptr), 0);
    EXPECT_EQ(send(through, {0xF8}), 0);
    EXPECT_EQ(wait_for_bytes(1), Bytes{0xF8});
}

TEST_F(AlsaCrowded, ReasonIsThatNoClientIsLeft) {
    ASSERT_EQ(MIDIClientDispose(client_), 0);
    taken.pop_back();
    taken.pop_back();
    static_cast<void>(MIDIGetNumberOfSources());
    Crowded again;
    ASSERT_EQ(MIDIClientCreate(CFSTR("MIDI Client"), nullptr, nullptr, &client_), 0);
    ASSERT_TRUE(backend_.trouble());
    EXPECT_EQ(backend_.trouble()->error, ENOMEM);
    EXPECT_EQ(backend_.places_left(), 0);
}

} // namespace
