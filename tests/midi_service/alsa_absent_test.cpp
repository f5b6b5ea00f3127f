// SPDX-License-Identifier: MIT
#include "midi_service/alsa/alsa_backend.h"
#include "tests/midi_service/system_calls.h"
#include "tests/support/service_use.h"

#include <cerrno>
#include <string>

#include <gtest/gtest.h>

namespace {

void ignore(const MIDIPacketList*, void*, void*) {}

/// A backend that finds no sequencer, whatever this computer has.
class AlsaAbsent : public testing::Test {
protected:
    AlsaAbsent() {
        sequencer_open_error = ENOENT;
        install_midi_backend(&backend_);
    }
    ~AlsaAbsent() override {
        install_midi_backend(nullptr);
        sequencer_open_error = 0;
    }

    const std::unique_ptr<AlsaBackend> owned_ = AlsaBackend::create();
    AlsaBackend& backend_ = *owned_;
};

TEST_F(AlsaAbsent, ClientAndPortsAreCreatedAllTheSame) {
    MIDIClientRef client = 0;
    MIDIPortRef out = 0;
    MIDIPortRef in = 0;
    EXPECT_EQ(MIDIClientCreate(CFSTR("MIDI Client"), nullptr, nullptr, &client), 0);
    EXPECT_EQ(MIDIOutputPortCreate(client, CFSTR("Output port"), &out), 0);
    EXPECT_EQ(MIDIInputPortCreate(client, CFSTR("Input port"), ignore, nullptr, &in), 0);
    EXPECT_EQ(MIDIPortDispose(out), 0);
    EXPECT_EQ(MIDIClientDispose(client), 0);
}

TEST_F(AlsaAbsent, OneDeviceIsAllThereIs) {
    EXPECT_EQ(MIDIGetNumberOfSources(), 0U);
    EXPECT_EQ(MIDIGetNumberOfDestinations(), 0U);
    ASSERT_EQ(MIDIGetNumberOfDevices(), 1U);
    const MIDIDeviceRef only = MIDIGetDevice(0);
    EXPECT_EQ(text_of(only, kMIDIPropertyName), "ALSA Sequencer");
    EXPECT_EQ(text_of(only, kMIDIPropertyModel), "ALSA Sequencer");
    CFStringRef text = CFSTR("left over");
    EXPECT_EQ(MIDIObjectGetStringProperty(only, kMIDIPropertyManufacturer, &text), -ENODATA);
    EXPECT_EQ(text, nullptr);
    EXPECT_EQ(offline_of(only), (std::pair{0, 0}));
}

TEST_F(AlsaAbsent, TroubleIsTheOneOfTheLastCall) {
    EXPECT_FALSE(backend_.trouble()) << "nothing has needed the sequencer yet";
    for (const int error : {ENOENT, ENXIO, ENODEV, EACCES, EPERM, ENOMEM, EIO, ENOENT}) {
        sequencer_open_error = error;
        static_cast<void>(MIDIGetNumberOfSources());
        const auto trouble = backend_.trouble();
        ASSERT_TRUE(trouble);
        EXPECT_EQ(trouble->error, error);
        EXPECT_EQ(trouble->line(), sequencer_trouble(error).line());
    }
}

TEST_F(AlsaAbsent, NothingIsPrinted) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    static_cast<void>(MIDIGetNumberOfSources());
    static_cast<void>(backend_.trouble());
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "alsa-lib has lines of its own";
}

TEST_F(AlsaAbsent, NobodyIsThereToWaitForOrToAskAbout) {
    const MIDIObjectRef never = new_reference();
    static_cast<void>(MIDIGetNumberOfSources());
    EXPECT_EQ(backend_.changes(), -1);
    EXPECT_EQ(backend_.address(never), std::nullopt);
    EXPECT_FALSE(backend_.neighbours(never));
    EXPECT_TRUE(backend_.other_clients().empty());
    EXPECT_EQ(backend_.places_left(), 0);
}

} // namespace
