// SPDX-License-Identifier: MIT
#include "midi_service/embedded/embedded_backend.h"

// Behind the service's headers: its global variables have the names of properties there.
#include "Include/usb_midi.h"
#include "tests/support/captured_output.h"
#include "tests/support/device_state.h"
#include "tests/support/press_lines.h"
#include "tests/support/sequence.h"
#include "tests/support/virtual_pauses.h"
#include "tests/support/watchdog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <thread>

// The device layer over the service, so that MyReadProc() runs on the receive thread while the
// screen thread is inside a command. ThreadSanitizer watches.

namespace {

using namespace std::chrono_literals;
using std::chrono::microseconds;

const Bytes message = {0xB2, 0x10, 0x22};
const Bytes wrong_message = {0xB2, 0x11, 0x22};

// Waits for the receive thread without being told; false when it takes too long.
template<class Condition>
bool comes_true(Condition condition) {
    const auto deadline = std::chrono::steady_clock::now() + 30s;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::yield();
    }
    return true;
}

std::size_t count_of(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++count;
    return count;
}

// Machine 4AC5F4C4 on an embedded service, named and connected.
class DeviceThreads : public testing::Test {
protected:
    explicit DeviceThreads(EmbeddedBackend::Time time) : service_(time) {
        reset_device_state();
        recorded_pauses.clear();
        install_midi_backend(&service_);
        machine_ = service_.attach({.name = "4AC5F4C4", .model = "4AC5F4C4"},
                                   [this](std::span<const std::uint8_t> bytes) {
                                       received_.emplace_back(bytes.begin(), bytes.end());
                                       if (answer_)
                                           answer_(received_.back());
                                   });
        if (time == EmbeddedBackend::Time::manual)
            paused_backend = &service_;
        const CapturedOutput output;
        midi_init();
        set_device_name(0x4AC5F4C4);
    }

    ~DeviceThreads() override {
        const CapturedOutput output;
        midi_exit();
        install_midi_backend(nullptr);
        paused_backend = nullptr;
        before_pause = nullptr;
    }

    // Runs the command for `message` and gives what it printed.
    std::string command() {
        received_.clear();
        CapturedOutput output;
        result_ = usb_midi_main(0x22, 0xB2, 0x10, 0x10);
        return output.take();
    }

    // Lets the machine answer the message that the command is for.
    void answer_the_message(microseconds after, const Bytes& bytes) {
        answer_ = [=, this](const Bytes& sent) {
            if (sent == message)
                service_.emit(machine_, bytes, after);
        };
    }

    Watchdog watchdog_{100s};
    EmbeddedBackend service_;
    MIDIObjectRef machine_ = 0;
    std::vector<Bytes> received_;              // by send; screen thread
    std::function<void(const Bytes&)> answer_; // called with each send; screen thread
    std::int32_t result_ = 9;
};

class InManualTime : public DeviceThreads {
protected:
    InManualTime() : DeviceThreads(EmbeddedBackend::Time::manual) {}
};

// The receive thread may print at any time, so everything is captured up to the end.
class InRealTime : public DeviceThreads {
protected:
    InRealTime() : DeviceThreads(EmbeddedBackend::Time::real) { output_.emplace(); }

    // Ends the traffic; from here on the test may speak.
    void close_link() {
        midi_exit();
        output_.reset();
    }

private:
    std::optional<CapturedOutput> output_;
};

TEST_F(InManualTime, wire_of_a_confirmed_command_is_ten_events) {
    answer_the_message(1ms, message);
    const std::string printed = command();
    EXPECT_EQ(received_, sequence_events(0xB2, 0x10, 0x22));
    EXPECT_EQ(recorded_pauses, command_pauses(false));
    EXPECT_EQ(printed, lines_up_to_sending(1, 0, "4AC5F4C4") +
                           heard_lines(message, message, message, true) + success_line);
    EXPECT_EQ(result_, 0);
}

// The pauses behind the message are 2, 2 and 300 ms long; what comes later finds the repetition.
TEST_F(InManualTime, echo_at_every_moment_confirms_up_to_the_end_of_the_long_pause) {
    constexpr microseconds last_moment = 304ms;
    std::vector<microseconds> moments = {1us, 1999us, 2001us, 3999us, 4001us, 303'999us, 304'001us};
    for (microseconds moment = 1ms; moment <= 330ms; moment += 1ms)
        moments.push_back(moment);
    for (const microseconds moment : moments) {
        bool answered = false;
        answer_ = [&](const Bytes& sent) {
            if (sent == message && !std::exchange(answered, true))
                service_.emit(machine_, message, moment);
        };
        const std::string printed = command();
        const bool in_time = moment <= last_moment;
        EXPECT_EQ(received_.size(), in_time ? 10U : 20U) << moment.count();
        EXPECT_EQ(count_of(printed, "设置成功了 \r\n"), in_time ? 1U : 0U) << moment.count();
        EXPECT_EQ(count_of(printed, "设置失败obk\r\n"), in_time ? 0U : 1U) << moment.count();
        EXPECT_EQ(result_, 0);
        const CapturedOutput output;
        service_.advance(1s);
    }
}

// An echo sent before the message is compared with the previous command's bytes.
TEST_F(InManualTime, echo_before_the_message_confirms_nothing) {
    for (const unsigned early_send : {0U, 5U, 6U, 7U}) {
        std::fill(std::begin(midi_setup_data), std::end(midi_setup_data), std::uint8_t{0});
        answer_ = [&](const Bytes&) {
            if (received_.size() == early_send + 1)
                service_.emit(machine_, message, 500us);
        };
        (void)command();
        EXPECT_EQ(received_.size(), 20U) << early_send;
    }
}

TEST_F(InManualTime, clock_behind_the_echo_does_not_hide_it) {
    answer_the_message(1ms, {0xF8, 0xB2, 0x10, 0x22, 0xF8, 0x90, 1, 2});
    (void)command();
    EXPECT_EQ(received_.size(), 10U);
}

TEST_F(InManualTime, nothing_arrives_once_another_machine_is_named_or_the_link_is_closed) {
    (void)command();
    const CapturedOutput output;
    set_device_name(0x4AC6F4C4);
    service_.emit(machine_, message, 1ms);
    service_.advance(2ms);
    EXPECT_EQ(set_up_ok_flag, 0);
    set_device_name(0x4AC5F4C4);
    service_.emit(machine_, message, 1ms);
    service_.advance(2ms);
    EXPECT_EQ(set_up_ok_flag, 185);
    set_up_ok_flag = 0;
    midi_exit();
    service_.emit(machine_, message, 1ms);
    service_.advance(2ms);
    EXPECT_EQ(set_up_ok_flag, 0);
}

// No pause takes time here: echoes, wrong echoes and clocks arrive anywhere in a command.
TEST_F(InRealTime, traffic_all_along_a_command_hides_no_echo) {
    constexpr std::size_t commands = 100;
    midi_setup_data[0] = message[0]; // an echo that overtakes the sender counts as well
    midi_setup_data[1] = message[1];
    answer_ = [this](const Bytes& sent) {
        for (int i = 0; i < 5; ++i) {
            service_.emit(machine_, Bytes{0xF8}, microseconds{i * 3});
            service_.emit(machine_, wrong_message, microseconds{i * 5});
        }
        if (sent == message)
            service_.emit(machine_, message, 1ms);
    };
    bool confirmed = true;
    before_pause = [&](unsigned length) {
        if (length == 300'000)
            confirmed = confirmed && comes_true([] { return set_up_ok_flag == 185; });
    };
    std::size_t successes = 0, sends = 0, failed = 0;
    for (std::size_t i = 0; i < commands; ++i) {
        successes += count_of(command(), "设置成功了 \r\n");
        sends += received_.size();
        failed += result_ != 0;
    }
    close_link();
    EXPECT_TRUE(confirmed);
    EXPECT_EQ(successes, commands);
    EXPECT_EQ(sends, 10 * commands);
    EXPECT_EQ(failed, 0U);
}

// An immediate answer may come before the expected bytes are written. The command succeeds either
// way.
TEST_F(InRealTime, echo_that_races_its_own_send_is_taken_or_missed) {
    constexpr std::size_t commands = 300;
    answer_the_message(0us, message);
    std::size_t successes = 0, failures = 0, sends = 0, failed = 0;
    for (std::size_t i = 0; i < commands; ++i) {
        std::fill(std::begin(midi_setup_data), std::end(midi_setup_data), std::uint8_t{0});
        const std::string printed = command();
        successes += count_of(printed, "设置成功了 \r\n");
        failures += count_of(printed, "设置失败obk\r\n");
        sends += received_.size();
        failed += result_ != 0;
    }
    close_link();
    EXPECT_EQ(successes + failures, commands);
    EXPECT_EQ(sends, 10 * successes + 20 * failures);
    EXPECT_EQ(failed, 0U);
}

// Reconnecting is not guarded against an echo that is just being delivered.
TEST_F(InRealTime, probes_under_traffic_tell_the_truth) {
    std::string answers, expected;
    for (int round = 0; round < 20; ++round) {
        for (std::uint32_t i = 0; i < 16; ++i) {
            for (int k = 0; k < 3; ++k)
                service_.emit(machine_, message, microseconds{k * 20});
            answers += std::to_string(judge_device_connect_state_with_id(0x4AC0F4C4 + (i << 16)));
        }
        expected += "0000010000000000";
    }
    close_link();
    EXPECT_EQ(answers, expected);
}

} // namespace
