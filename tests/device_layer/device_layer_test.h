// SPDX-License-Identifier: MIT
#pragma once

#include "Include/usb_midi.h"
#include "tests/support/captured_output.h"
#include "tests/support/device_state.h"
#include "tests/support/recording_service.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

/// Where no endpoint matches: all ones in 32 bits, in a 64-bit result.
constexpr std::uint64_t no_index = 0xFFFFFFFF;

using Lines = std::vector<std::string>;

/// What a call prints.
template<class Call>
std::string printed_by(Call call) {
    CapturedOutput output;
    call();
    return output.take();
}

/// What a call gives, with its output kept away from the test's.
template<class Call>
auto quietly(Call call) {
    const CapturedOutput output;
    return call();
}

/// All calls and all output of a call, in order.
template<class Call>
Lines order_of(Call call) {
    CapturedOutput output;
    recording.journal.clear();
    recording.output = &output;
    call();
    recording.note_output();
    recording.output = nullptr;
    return recording.journal;
}

/// The first three bytes of the expected echo.
inline std::array<int, 3> expected_echo() {
    return {midi_setup_data[0].load(), midi_setup_data[1].load(), midi_setup_data[2].load()};
}

/// Starts each case with zeroed globals, existing ports and no objects. At its end, the rules of
/// the service were kept and every text was released exactly once.
class DeviceLayerTest : public testing::Test {
protected:
    DeviceLayerTest() {
        reset_device_state();
        reset_recording();
        client = RecordingService::client_reference;
        gOutPort = RecordingService::output_port_reference;
        inPort = RecordingService::input_port_reference;
    }

    void TearDown() override {
        EXPECT_EQ(recording.violations, Lines{});
        EXPECT_EQ(recording.texts_in_use(), 0U);
    }
};
