// SPDX-License-Identifier: MIT
#pragma once

#include "Include/usb_midi.h"
#include "tests/support/captured_output.h"
#include "tests/support/device_state.h"
#include "tests/support/recording_service.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <string>
#include <utility>
#include <vector>

/// Where no endpoint matches: all ones in 32 bits, in a 64-bit result.
constexpr std::uint64_t no_index = 0xFFFFFFFF;

using Lines = std::vector<std::string>;
using testing::Pair;

/// What a call prints.
template<class Call>
std::string printed_by(Call call) {
    CapturedOutput output;
    call();
    return output.take();
}

/// What a call gives and what it prints.
template<class Call>
auto outcome_of(Call call) {
    CapturedOutput output;
    const auto result = call();
    return std::pair{result, output.take()};
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

/// What is printed when the source at an index is connected: "4ACCF4C4 is online".
inline std::string connecting_lines(const std::string& sources, const std::string& index,
                                    const std::string& name_and_state) {
    return "MIDIGetNumberOfSources " + sources + " \r\nmidi init success ,number code " + index +
           " \r\n" + name_and_state + "\r\n";
}

/// The reader's lines behind those of the packets: the first two bytes of the expected echo, each
/// with the one that came.
inline std::string compared(const std::string& expected0, const std::string& came0,
                            const std::string& expected1, const std::string& came1) {
    return "midi_setup_data 0 " + expected0 + " , p " + came0 + "\r\nmidi_setup_data 1 " +
           expected1 + " , p " + came1 + "\r\n";
}

/// What stands before them when they are the same.
inline const std::string echo_is_right = "\r\n设定回显正常\r\n";

/// Makes a change when the n-th call of an operation begins, counted from 1.
inline void at_call(const std::string& operation, unsigned number, std::function<void()> change) {
    recording.before_call = [=, begun = 0U](std::string_view call) mutable {
        if (call.starts_with(operation) && ++begun == number)
            change();
    };
}

template<class Buffer>
void fill(Buffer& buffer, std::uint8_t byte) {
    std::fill(std::begin(buffer), std::end(buffer), byte);
}

/// Whether the first `size` bytes of a buffer, by default all, have this value.
template<class Buffer>
bool is_filled(const Buffer& buffer, std::uint8_t byte, std::size_t size = sizeof(Buffer)) {
    return std::all_of(std::begin(buffer), std::begin(buffer) + size, [byte](const auto& each) {
        return static_cast<std::uint8_t>(each) == byte;
    });
}

/// The first three bytes of the expected echo.
inline std::array<int, 3> expected_echo() {
    return {midi_setup_data[0].load(), midi_setup_data[1].load(), midi_setup_data[2].load()};
}

/// The halves and the whole of the device code are these.
inline void expect_halves(unsigned high, unsigned low) {
    EXPECT_EQ(VID_val, high);
    EXPECT_EQ(PID_val, low);
    EXPECT_EQ(VID_PID_val, high << 16 | low);
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
