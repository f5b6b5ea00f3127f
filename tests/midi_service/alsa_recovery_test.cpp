// SPDX-License-Identifier: MIT
#include "midi_service/alsa/sequencer_state.h"
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

std::string errors_of_counts() {
    testing::internal::CaptureStderr();
    static_cast<void>(MIDIGetNumberOfSources());
    static_cast<void>(MIDIGetNumberOfDevices());
    return testing::internal::GetCapturedStderr();
}

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

TEST_F(AlsaMissing, NothingIsSaidWhenItTurnsUp) {
    EXPECT_EQ(errors_of_counts(), "") << "it was said when the client was created";
    sequencer_open_error = 0;
    EXPECT_EQ(errors_of_counts(), "");
}

TEST_F(AlsaCrowded, ApplicationWaitsForTheTwoClientsThatItNeeds) {
    EXPECT_EQ(MIDIGetNumberOfSources(), 0U);
    EXPECT_EQ(MIDIGetNumberOfDevices(), 1U);
    taken.pop_back();
    static_cast<void>(MIDIGetNumberOfSources());
    const MIDIEndpointRef through = source("Midi Through Port-0");
    EXPECT_NE(through, 0U) << "the list is there, the ports are not yet";
    EXPECT_NE(MIDIPortConnectSource(in_, through, nullptr), 0);
    EXPECT_EQ(errors_of_counts(), "") << "it was said when the client was created";

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
    testing::internal::CaptureStderr();
    ASSERT_EQ(MIDIClientCreate(CFSTR("MIDI Client"), nullptr, nullptr, &client_), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), sequencer_advice(-ENOMEM, "") + "\n");
}

} // namespace
