// SPDX-License-Identifier: MIT
#include "keyloft/screen_controller.h"
#include "midi_service/midi_service.h"
#include "simulation/embedded_connection.h"
#include "tests/exploration/live_allocations.h"
#include "tests/support/captured_output.h"
#include "tests/support/virtual_pauses.h"

#include <array>
#include <fstream>
#include <unistd.h>

#include <gtest/gtest.h>

// A hundred thousand presses in manual time leave nothing behind.

namespace {

constexpr std::uint32_t machine_code = 0x4AC5F4C4;
constexpr int presses_a_machine = 500;

/// What a process may leak.
struct Holdings {
    std::ptrdiff_t threads, files;
    std::size_t allocations;
    ItemCount sources, destinations, devices;
    bool operator==(const Holdings&) const = default;
};

Holdings holdings() {
    return {.threads = entries("/proc/self/task"),
            .files = entries("/proc/self/fd"),
            .allocations = live_allocations(),
            .sources = MIDIGetNumberOfSources(),
            .destinations = MIDIGetNumberOfDestinations(),
            .devices = MIDIGetNumberOfDevices()};
}

/// Bytes of memory that the process has.
long resident() {
    long pages = 0;
    std::ifstream("/proc/self/statm") >> pages >> pages;
    return pages * sysconf(_SC_PAGESIZE);
}

/// How the machines behave, one after another.
constexpr std::array<MachineFaults, 6> manners = {
    MachineFaults{},
    MachineFaults{.silent = MachineFaults::always},
    MachineFaults{.slow = MachineFaults::always, .delay_ms = 250},
    MachineFaults{.wrong = MachineFaults::always, .wrong_byte = 2},
    MachineFaults{.chatter = MachineFaults::always},
    MachineFaults{.vanish_after = 9},
};

class LongRun : public testing::Test {
protected:
    LongRun() {
        install_midi_backend(&service_);
        paused_backend = &service_;
        output_.emplace();
        appear_hook();
    }
    ~LongRun() override {
        output_.reset();
        paused_backend = nullptr;
        install_midi_backend(nullptr);
    }

    /// Presses on one machine after another. Returns how many alerts reported success.
    int press(int machines) {
        int successes = 0;
        for (int i = 0; i < machines; ++i) {
            const EmbeddedMachine machine(service_, machine_code,
                                          manners[static_cast<std::size_t>(i) % manners.size()]);
            for (int k = 0; k < presses_a_machine; ++k) {
                screen_.showAlert = false;
                screen_.hardware_part_number_code_string = std::to_string(k % 128);
                apply_action(screen_);
                successes += screen_.showAlert && screen_.showmessage_title == "设置成功!";
                recorded_pauses.clear();
                static_cast<void>(output_->take());
            }
        }
        service_.advance(std::chrono::seconds{1});
        screen_.showmessage.clear();
        screen_.showmessage.shrink_to_fit();
        return successes;
    }

    EmbeddedBackend service_{EmbeddedBackend::Time::manual};
    ScreenState screen_;
    std::optional<CapturedOutput> output_;
};

} // namespace

TEST_F(LongRun, HundredThousandPressesEndWhereTheyBegan) {
    constexpr int machines = 200;
    static_assert(machines * presses_a_machine == 100'000);
    constexpr int warm_up = 2 * static_cast<int>(manners.size());
    static_cast<void>(press(warm_up));
    const Holdings before = holdings();
    const long memory = resident();
    const int successes = press(machines);
    const Holdings after = holdings();
    const long grown = resident() - memory;
    output_.reset();
    // A machine that vanishes does so in one press; later presses find no device at all.
    constexpr int vanished = machines / static_cast<int>(manners.size());
    EXPECT_EQ(successes, machines * presses_a_machine - vanished);
    EXPECT_TRUE(after == before) << after.threads << " threads, " << after.files << " files, "
                                 << after.allocations << " allocations, " << after.sources << '/'
                                 << after.destinations << '/' << after.devices << " objects; were "
                                 << before.threads << ", " << before.files << ", "
                                 << before.allocations << ", " << before.sources << '/'
                                 << before.destinations << '/' << before.devices;
    constexpr long allocators_whim = 256 * 1024; // less than 3 bytes a press
    EXPECT_LT(grown, allocators_whim);
    std::printf("%ld bytes more\n", grown);
}
