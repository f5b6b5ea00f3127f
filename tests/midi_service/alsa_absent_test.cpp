// SPDX-License-Identifier: MIT
#include "midi_service/alsa/alsa_backend.h"
#include "midi_service/alsa/sequencer_state.h"
#include "midi_service/midi_text.h"
#include "tests/midi_service/system_calls.h"

#include <algorithm>
#include <cerrno>
#include <functional>
#include <string>

#include <gtest/gtest.h>

namespace {

std::string errors_of(const std::function<void()>& action) {
    testing::internal::CaptureStderr();
    action();
    return testing::internal::GetCapturedStderr();
}

void count() {
    static_cast<void>(MIDIGetNumberOfSources());
}

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

    AlsaBackend backend_;
};

TEST_F(AlsaAbsent, ClientAndPortsAreCreatedAllTheSame) {
    errors_of([] {
        MIDIClientRef client = 0;
        MIDIPortRef out = 0;
        MIDIPortRef in = 0;
        EXPECT_EQ(MIDIClientCreate(CFSTR("MIDI Client"), nullptr, nullptr, &client), 0);
        EXPECT_EQ(MIDIOutputPortCreate(client, CFSTR("Output port"), &out), 0);
        EXPECT_EQ(MIDIInputPortCreate(client, CFSTR("Input port"), ignore, nullptr, &in), 0);
        EXPECT_EQ(MIDIPortDispose(out), 0);
        EXPECT_EQ(MIDIClientDispose(client), 0);
    });
}

TEST_F(AlsaAbsent, OneDeviceIsAllThereIs) {
    errors_of([] {
        EXPECT_EQ(MIDIGetNumberOfSources(), 0U);
        EXPECT_EQ(MIDIGetNumberOfDestinations(), 0U);
        ASSERT_EQ(MIDIGetNumberOfDevices(), 1U);
        const MIDIDeviceRef device = MIDIGetDevice(0);
        for (const CFStringRef property : {kMIDIPropertyName, kMIDIPropertyModel}) {
            CFStringRef text = nullptr;
            ASSERT_EQ(MIDIObjectGetStringProperty(device, property, &text), 0);
            EXPECT_EQ(view_text(TextHandle(text).get()), "ALSA Sequencer");
        }
        CFStringRef text = CFSTR("left over");
        EXPECT_EQ(MIDIObjectGetStringProperty(device, kMIDIPropertyManufacturer, &text), -ENODATA);
        EXPECT_EQ(text, nullptr);
        std::int32_t offline = 7;
        EXPECT_EQ(MIDIObjectGetIntegerProperty(device, kMIDIPropertyOffline, &offline), 0);
        EXPECT_EQ(offline, 0);
    });
}

TEST_F(AlsaAbsent, ReasonIsSaidOnceUntilItChanges) {
    EXPECT_EQ(errors_of([] {
                  count();
                  count();
                  static_cast<void>(MIDIGetNumberOfDevices());
              }),
              sequencer_advice(-ENOENT, "") + "\n");
    sequencer_open_error = ENXIO;
    EXPECT_EQ(errors_of(count), sequencer_advice(-ENXIO, "") + "\n");
    EXPECT_EQ(errors_of(count), "");
    sequencer_open_error = ENOMEM;
    EXPECT_EQ(errors_of(count), sequencer_advice(-ENOMEM, "") + "\n");
    sequencer_open_error = ENOENT;
    EXPECT_EQ(errors_of(count), sequencer_advice(-ENOENT, "") + "\n");
}

TEST_F(AlsaAbsent, ReasonIsOneLine) {
    for (const int error : {ENOENT, ENXIO, ENODEV, EACCES, EPERM, ENOMEM, EIO}) {
        sequencer_open_error = error;
        const std::string said = errors_of(count);
        EXPECT_LE(std::ranges::count(said, '\n'), 1) << said;
    }
}

TEST(AlsaSequencerAdvice, EachReasonHasItsText) {
    EXPECT_EQ(sequencer_advice(-ENOENT, "audio"),
              "keyloft: there is no ALSA sequencer: /dev/snd/seq does not exist; load it with "
              "\"sudo modprobe snd-seq\"");
    for (const int error : {-ENXIO, -ENODEV})
        EXPECT_EQ(sequencer_advice(error, "audio"),
                  "keyloft: the ALSA sequencer has no driver: /dev/snd/seq exists, but nothing is "
                  "behind it; load the driver with \"sudo modprobe snd-seq\"");
    for (const int error : {-EACCES, -EPERM})
        EXPECT_EQ(
            sequencer_advice(error, "audio"),
            "keyloft: no permission for the ALSA sequencer: /dev/snd/seq belongs to the "
            "group \"audio\"; join it with \"sudo usermod -aG audio $USER\" and log in again");
    EXPECT_EQ(sequencer_advice(-ENOMEM, "audio"),
              "keyloft: the ALSA sequencer has no client left: too many MIDI programs are open; "
              "close one of them");
    EXPECT_EQ(sequencer_advice(-EIO, "audio"),
              "keyloft: the ALSA sequencer cannot be used: Input/output error");
}

} // namespace
