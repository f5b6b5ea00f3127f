// SPDX-License-Identifier: MIT
#include "tests/screen/press_fixture.h"
#include "tests/support/watchdog.h"

#include <atomic>
#include <thread>

// Behind the service's headers: its global variables have the names of properties there.
#include "Include/usb_midi.h"

// Presses and hooks in real time, without their pauses, while machines talk, come and go on other
// threads. ThreadSanitizer watches.

namespace {

using namespace std::chrono_literals;

class PressThreads : public testing::Test {
protected:
    PressThreads() { install_midi_backend(&service_); }
    ~PressThreads() override { install_midi_backend(nullptr); }

    Watchdog watchdog_{100s};
    EmbeddedBackend service_;
    ScreenState screen_;
};

/// Whether the alert's texts are a pair that a press can end with.
bool is_an_end(const ScreenState& screen) {
    return screen.showAlert &&
           ((screen.showmessage_title == "设置成功!" && screen.showmessage == "旋钮0--设置成功!") ||
            (screen.showmessage_title == "设置失败!" &&
             screen.showmessage.starts_with("设置失败,检查连接状态\n")));
}

} // namespace

TEST_F(PressThreads, MachinesComeAndGoDuringPresses) {
    constexpr int least = 1000;
    int presses = 0, ends = 0, alone = 0, among_others = 0;
    std::size_t most_bytes = 0;
    const EmbeddedMachine last(service_, 0x4ACFF4C4);
    std::string printed;
    {
        CapturedOutput output;
        appear_hook();
        std::atomic<bool> done = false;
        std::thread plugger([&] {
            for (std::uint32_t turn = 0; !done; ++turn) {
                const EmbeddedMachine other(service_, 0x4AC0F4C4 + (turn % 15) * 0x10000);
                std::this_thread::yield();
            }
        });
        // At least until it was met alone and not alone; the watchdog sees to the end.
        while (presses < least || alone == 0 || among_others == 0) {
            const std::size_t before = last.received().size();
            screen_.showAlert = false;
            apply_action(screen_);
            ++presses;
            ends += is_an_end(screen_);
            ++(screen_.showmessage_title == "设置成功!" ? alone : among_others);
            most_bytes = std::max(most_bytes, last.received().size() - before);
        }
        done = true;
        plugger.join();
        screen_.showAlert = false;
        apply_action(screen_);
        printed = output.take();
        disappear_hook();
    }
    EXPECT_EQ(ends, presses);
    EXPECT_LE(most_bytes, 2 * sequence(0xB0, 0, 0).size());
    EXPECT_EQ(screen_.showmessage_title, "设置成功!") << "the machine that stayed";
    EXPECT_EQ(screen_.machine_type_menu_string, "4ACFF4C4");
    EXPECT_TRUE(printed.ends_with("\n0\n"));
}

TEST_F(PressThreads, TenThousandTimesTheScreenComesAndGoesWhileTheMachineTalks) {
    constexpr int times = 10'000;
    const MIDIObjectRef machine = service_.attach({.name = "4ACCF4C4 MIDI 1", .model = "4ACCF4C4"});
    const Bytes echo = {0xB0, 0x07, 0x05};
    int connected = 0;
    int late = 0;
    {
        CapturedOutput output;
        for (int i = 0; i < times; ++i) {
            for (const auto after : {0us, 20us, 40us})
                service_.emit(machine, echo, after);
            appear_hook();
            connected += realtime_connect_state_flag;
            disappear_hook();
            // No callback is on its way any more, so that nobody writes this but the screen.
            midi_pack_setup_data[0] = 0;
            std::this_thread::yield();
            late += midi_pack_setup_data[0] != 0;
        }
        static_cast<void>(output.take());
    }
    EXPECT_EQ(connected, times);
    EXPECT_EQ(late, 0);
}

TEST_F(PressThreads, ScreenGoesInTheMiddleOfAnEcho) {
    constexpr int times = 200;
    const EmbeddedMachine machine(service_, 0x4ACFF4C4);
    int successes = 0;
    {
        const CapturedOutput output;
        for (int i = 0; i < times; ++i) {
            appear_hook();
            apply_action(screen_); // most often over before its echoes, which take a millisecond
            successes += screen_.showmessage_title == "设置成功!";
            disappear_hook();
            set_up_ok_flag = 0;
        }
    }
    EXPECT_EQ(successes, times);
    const std::size_t bytes = machine.received().size(), once = sequence(0xB0, 0, 0).size();
    EXPECT_GE(bytes, times * once);
    EXPECT_LE(bytes, times * 2 * once);
    EXPECT_EQ(bytes % once, 0U);
}
