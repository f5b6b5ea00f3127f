// SPDX-License-Identifier: MIT
#include "tests/ctl/command_run.h"
#include "tests/ctl/virtual_waiting.h"
#include "tests/exploration/live_allocations.h"
#include "tests/support/watchdog.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <unistd.h>

namespace fs = std::filesystem;
using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

std::string layout_text(int channel, int controller) {
    return "[4AC5F4C4]\n5 = {type = 'Control Change', channel = " + std::to_string(channel) +
           ", controller = " + std::to_string(controller) + "}\n";
}

/// keep in virtual time.
class KeepTime : public testing::Test {
protected:
    KeepTime() {
        std::string pattern = "/tmp/keep-time-XXXXXX";
        folder_ = mkdtemp(pattern.data());
        setenv("XDG_RUNTIME_DIR", folder_.c_str(), 1);
        write(layout_text(3, 7));
    }
    ~KeepTime() override { fs::remove_all(folder_); }

    [[nodiscard]] std::string path() const { return folder_ + "/desk.toml"; }
    [[nodiscard]] Request request() const { return {.command = Command::keep, .files = {path()}}; }
    void write(const std::string& text) const { std::ofstream(path()) << text; }

    StopSignals signals_; // before any thread
    Watchdog watchdog_{seconds(110)};
    std::string folder_;
};

/// The embedded service as a computer's MIDI system in virtual time. Things happen at times; when
/// nothing is left to happen, the command is told to end.
class TimedSystem final : public MidiSystem {
public:
    TimedSystem() {
        waited_service = &service;
        install_midi_backend(&service);
        before_wait = [] {};
        before_time_passes = [this] { happen(); };
        when_idle = [this] {
            if (events_.empty())
                kill(getpid(), SIGTERM);
        };
    }
    ~TimedSystem() override {
        before_wait = before_time_passes = when_idle = nullptr;
        install_midi_backend(nullptr);
        waited_service = nullptr;
    }

    void at(milliseconds time, std::function<void()> event) {
        events_.emplace(time, std::move(event));
    }

    [[nodiscard]] MidiBackend& backend() override { return service; }
    [[nodiscard]] bool is_demo() const override { return false; }
    [[nodiscard]] std::optional<SystemTrouble> trouble() const override {
        looks.push_back(std::chrono::duration_cast<seconds>(service.now()));
        return trouble_;
    }
    [[nodiscard]] std::optional<setup::PortAddress> address(MIDIEndpointRef) const override {
        return setup::PortAddress{24, 0};
    }
    [[nodiscard]] Connections connections(MIDIEndpointRef) const override { return {}; }
    [[nodiscard]] std::vector<OtherClient> other_clients() const override { return {}; }
    [[nodiscard]] std::optional<int> places_left() const override { return std::nullopt; }
    [[nodiscard]] std::optional<setup::Time> play(setup::Time) override { return std::nullopt; }

    EmbeddedBackend service{EmbeddedBackend::Time::manual};
    std::optional<SystemTrouble> trouble_{};
    mutable std::vector<seconds> looks{}; ///< when it was asked

private:
    void happen() {
        while (!events_.empty() && events_.begin()->first <= service.now())
            events_.extract(events_.begin()).mapped()();
    }

    std::multimap<milliseconds, std::function<void()>> events_{};
};

} // namespace

TEST_F(KeepTime, LooksForASequencerEveryTenSeconds) {
    TimedSystem system;
    system.trouble_ = SystemTrouble{"there is no sequencer", "get one"};
    system.at(seconds(35), [&] { system.trouble_.reset(); });
    system.at(seconds(70), [] {});
    const CommandResult result = run_command(request(), system, &signals_);
    EXPECT_EQ(system.looks,
              (std::vector{seconds(0), seconds(10), seconds(20), seconds(30), seconds(40)}));
    EXPECT_EQ(result.errors, "keyloftctl: keeping 1 machine with 1 mapping\n"
                             "keyloftctl: there is no sequencer; get one; looking again every ten "
                             "seconds\n");
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.status, ExitStatus::done);
}

TEST_F(KeepTime, ReportsAMachineThatComesAndGoesOnceAMinute) {
    TimedSystem system;
    EmbeddedMachine machine(system.service, 0x4AC5F4C4);
    for (int i = 1; i <= 11; ++i) {
        system.at(seconds(6 * i - 1), [&] { machine.unplug(); });
        system.at(seconds(6 * i), [&] { machine.plug(); });
    }
    const CommandResult result = run_command(request(), system, &signals_);
    EXPECT_EQ(machine.received().size(), 12 * 16U) << "set each time";
    const std::string line = "4AC5F4C4  1 mapping  confirmed (N s)\n";
    EXPECT_EQ(result.output, line + line);
    EXPECT_EQ(result.errors, "keyloftctl: keeping 1 machine with 1 mapping\n");
}

TEST_F(KeepTime, ReadsAFileWhenItHasSettled) {
    TimedSystem system;
    const EmbeddedMachine machine(system.service, 0x4AC5F4C4);
    // Gone for a moment, and then as it was.
    system.at(milliseconds(1000), [&] { fs::remove(path()); });
    system.at(milliseconds(1100), [&] { write(layout_text(3, 7)); });
    // Half of it, then all.
    system.at(milliseconds(2000), [&] { write("[4AC5F4C4"); });
    system.at(milliseconds(2100), [&] { write(layout_text(3, 8)); });
    // The same mistake twice, and another one.
    for (const int time : {3000, 4000})
        system.at(milliseconds(time), [&] { write("[4AC5F4C4]\n1 = 2\n"); });
    system.at(milliseconds(5000), [&] { write("[4AC5F4C4]\n1 = 2\n2 = 3\n"); });
    system.at(milliseconds(6000), [&] { write(layout_text(3, 8)); });
    const CommandResult result = run_command(request(), system, &signals_);
    const std::string entry = ": part ";
    const std::string stays = "keyloftctl: the last good layout stays\n";
    const std::string changed =
        "keyloftctl: the files have changed; keeping 1 machine with 1 mapping\n";
    std::string errors = result.errors;
    for (std::size_t at = 0; (at = errors.find(path())) != std::string::npos;)
        errors.replace(at, errors.find('\n', at) - at, "MISTAKE");
    EXPECT_EQ(errors, "keyloftctl: keeping 1 machine with 1 mapping\n" + changed + "MISTAKE\n" +
                          stays + "MISTAKE\nMISTAKE\n" + stays + changed);
    EXPECT_EQ(machine.received().size(), 2 * 16U) << "not set again where nothing is new";
    EXPECT_EQ(machine.table().begin()->controller, 8);
    EXPECT_EQ(result.output, "4AC5F4C4  1 mapping  confirmed (N s)\n");
}

namespace {

/// keep with one fault in one step. What it says is not foreseen, but what is true in the end.
class KeepExploration : public KeepTime {
protected:
    /// What is wrong; empty: nothing.
    std::string run(std::optional<FaultInStep> fault) {
        CommandRun command(Echo::normal, signals_);
        // Where something is tried again for ever, it is never idle.
        before_wait = [inner = before_wait, is_told = false]() mutable {
            inner();
            if (waited_service->now() > seconds(12) && !std::exchange(is_told, true))
                kill(getpid(), SIGTERM);
        };
        const CommandResult result = command.run(request(), fault);
        steps_ = command.steps();
        std::string wrong;
        const bool is_held = command.world().firmware().table().contains(explored_mapping);
        const bool has_gone =
            std::ranges::count(command.journal(), Event::Kind::gone, &Event::kind) != 0;
        if (result.status != ExitStatus::done)
            wrong += "\n  not done";
        if (result.output.find("mapping  confirmed") != std::string::npos && !has_gone && !is_held)
            wrong += "\n  confirmed, and the machine does not hold it";
        if (!is_held && can_be_set(fault))
            wrong += "\n  the machine does not hold its mapping";
        if (!command.world().strangers_bytes.empty())
            wrong += "\n  bytes reached a stranger";
        if (command.open() != 0)
            wrong += "\n  clients and ports left open";
        return wrong.empty() ? wrong : wrong + "\n" + result.output + result.errors;
    }

    /// Whether the machine is there in the end, alone, and can be sent to.
    [[nodiscard]] static bool can_be_set(std::optional<FaultInStep> fault) {
        if (fault && (fault->fault == Fault::sends_fail ||
                      fault->fault == Fault::sends_fail_with_low_byte_zero))
            return false;
        const auto nowhere = [](MIDIEndpointRef) { return std::optional<setup::PortAddress>(); };
        const auto choice = setup::choose_code(setup::list_machines(nowhere), 0x4AC5F4C4);
        return choice.obstacle == setup::Obstacle::none;
    }

    std::size_t steps_ = 0;
};

} // namespace

TEST_F(KeepExploration, EverySingleFaultInEveryStep) {
    EXPECT_EQ(run(std::nullopt), "");
    const std::size_t steps = steps_;
    EXPECT_GT(steps, 40U);
    for (std::size_t step = 0; step < steps; ++step) {
        for (unsigned i = 0; i < fault_count; ++i) {
            const auto fault = static_cast<Fault>(i);
            const auto before = live_allocations();
            EXPECT_EQ(run(FaultInStep{fault, step}), "") << to_string(fault) << " in step " << step;
            EXPECT_TRUE(HasFailure() || live_allocations() == before);
            EXPECT_GT(steps_, step);
        }
    }
}
