// SPDX-License-Identifier: MIT
#include "tests/ctl/expected_command.h"
#include "tests/exploration/live_allocations.h"
#include "tests/support/watchdog.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sstream>

#include <gtest/gtest.h>

namespace {

std::ptrdiff_t entries(const char* folder) {
    return std::distance(std::filesystem::directory_iterator(folder), {});
}

/// A command, and how it is called in a failure.
struct Explored {
    const char* name;
    Command command;
    bool save = false;
    /// The last steps, in which things happen. Before them identify does 128 times what set does.
    std::size_t last_steps = std::numeric_limits<std::size_t>::max();
    Bytes stray = {0xB2, 0x07, 0x05}; ///< what comes unasked

    [[nodiscard]] Request request(const std::string& layout) const {
        Request request{.command = command,
                        .mapping = explored_mapping,
                        .save = save,
                        .is_agreed = command == Command::identify};
        if (command == Command::apply)
            request.files = {layout};
        return request;
    }
};

std::string words(const std::string& what, const std::string& found, const std::string& wanted) {
    return found == wanted ? std::string()
                           : "\n  " + what + ": found \"" + found + "\", not \"" + wanted + '"';
}

/// Takes the lines about messages out of what a watch printed.
std::vector<std::string> take_messages(std::string& output) {
    std::istringstream lines(std::exchange(output, {}));
    std::vector<std::string> messages;
    for (std::string line; std::getline(lines, line);) {
        if (line.find("  is there, ") != std::string::npos ||
            line.find("  has gone, ") != std::string::npos)
            output += line + '\n';
        else
            messages.push_back(line);
    }
    return messages;
}

/// Every case is one command with one fault, and one on a healthy machine afterwards.
class CommandExploration : public testing::TestWithParam<Explored> {
protected:
    CommandExploration() {
        std::string pattern = "/tmp/command-exploration-XXXXXX";
        folder_ = mkdtemp(pattern.data());
        setenv("XDG_RUNTIME_DIR", folder_.c_str(), 1);
        std::ofstream(layout_ = folder_ + "/layout.toml") << explored_layout;
    }
    ~CommandExploration() override { std::filesystem::remove_all(folder_); }

    /// What is wrong; empty: nothing.
    std::string run(Echo echo, std::optional<FaultInStep> fault);
    [[nodiscard]] std::string judge(const CommandRun& run, CommandResult found) const;
    [[nodiscard]] std::string judge_machine(const CommandRun& run,
                                            const ExpectedCommand& expected) const;
    void explore(Echo echo);

    StopSignals signals_; // before any thread
    Watchdog watchdog_{std::chrono::seconds(110)};
    std::string folder_;
    std::string layout_;    ///< a file
    std::size_t steps_ = 0; ///< of the last command
    std::size_t cases_ = 0;
};

std::string CommandExploration::judge(const CommandRun& run, CommandResult found) const {
    ExpectedCommand expected(run);
    const Command command = GetParam().command;
    if (command == Command::list)
        expected.list();
    else if (command == Command::set)
        expected.set(GetParam().save);
    else if (command == Command::save)
        expected.save();
    else if (command == Command::apply)
        expected.apply(GetParam().save);
    else if (command == Command::identify)
        expected.identify();
    else
        expected.watch();
    std::string wrong;
    if (command == Command::watch && take_messages(found.output) != expected.messages)
        wrong += "\n  not the messages that were heard";
    if (expected.errors_are_part && found.errors.starts_with("keyloftctl: ") &&
        found.errors.find(expected.errors) != std::string::npos)
        found.errors = expected.errors;
    wrong += words("output", found.output, expected.output);
    wrong += words("errors", found.errors, expected.errors);
    if (found.status != expected.status)
        wrong += "\n  status " + std::to_string(static_cast<int>(found.status));
    return wrong + judge_machine(run, expected);
}

std::string CommandExploration::judge_machine(const CommandRun& run,
                                              const ExpectedCommand& expected) const {
    constexpr std::size_t sequence_length = 16;
    const Firmware& firmware = run.world().firmware();
    const bool has_gone = std::ranges::count(run.journal(), Event::Kind::gone, &Event::kind) != 0;
    const bool is_confirmed = expected.output.find("confirmed (") != std::string::npos;
    std::string wrong;
    if (expected.all_sent && run.world().machines_bytes().size() % sequence_length != 0)
        wrong += "\n  the machine is in the middle of a sequence";
    if (!run.world().strangers_bytes.empty())
        wrong += "\n  bytes reached a stranger";
    if (GetParam().command == Command::set && is_confirmed && !has_gone &&
        !firmware.table().contains(explored_mapping))
        wrong += "\n  confirmed, and the machine does not hold it";
    if (expected.output.find("2 mappings  confirmed") != std::string::npos && !has_gone &&
        firmware.table() !=
            MappingTable{explored_mapping, {.part = 6, .channel = 3, .controller = 8}})
        wrong += "\n  confirmed, and the machine does not hold both";
    const bool is_saved = expected.output.find("save  confirmed (") != std::string::npos ||
                          expected.output.find(" and saved (") != std::string::npos;
    if (is_saved && !has_gone && firmware.saved_table() != firmware.table())
        wrong += "\n  confirmed, and not saved";
    if (run.open() != 0)
        wrong += "\n  clients and ports left open: " + std::to_string(run.open());
    return wrong;
}

std::string CommandExploration::run(Echo echo, std::optional<FaultInStep> fault) {
    const std::size_t before = live_allocations();
    std::string wrong;
    {
        CommandRun command(echo, signals_, GetParam().stray);
        wrong = judge(command, command.run(GetParam().request(layout_), fault));
        steps_ = command.steps();
        Bytes received;
        const CommandResult next = command.run_on_healthy_machine(
            {.command = Command::set, .mapping = explored_mapping}, received);
        wrong += words("the next command", next.output + next.errors,
                       "4AC5F4C4  part 5: Control Change, channel 3, controller 7  "
                       "confirmed (N ms)\n");
        if (received != sequence(0xB2, 0x07, 0x05))
            wrong += "\n  the next sequence is not whole";
    }
    if (wrong.empty() && live_allocations() != before)
        wrong = "\n  allocations left behind";
    ++cases_;
    return wrong;
}

void CommandExploration::explore(Echo echo) {
    EXPECT_EQ(run(echo, std::nullopt), "");
    const std::size_t steps = steps_;
    for (std::size_t step = steps - std::min(GetParam().last_steps, steps); step < steps; ++step) {
        for (unsigned i = 0; i < fault_count; ++i) {
            const auto fault = static_cast<Fault>(i);
            const std::string wrong = run(echo, FaultInStep{fault, step});
            EXPECT_EQ(wrong, "") << GetParam().name << ", " << to_string(fault) << " in step "
                                 << step;
            EXPECT_GT(steps_, step);
        }
    }
}

TEST_P(CommandExploration, EverySingleFaultInEveryStep) {
    (void)run(Echo::normal, std::nullopt); // what is made once and kept is no loss
    const auto threads = entries("/proc/self/task");
    const auto files = entries("/proc/self/fd");
    explore(Echo::normal);
    if (GetParam().command != Command::list && GetParam().command != Command::watch)
        explore(Echo::absent); // with the second attempt
    EXPECT_EQ(entries("/proc/self/task"), threads);
    EXPECT_EQ(entries("/proc/self/fd"), files);
    std::printf("%zu cases\n", cases_);
}

INSTANTIATE_TEST_SUITE_P(
    Commands, CommandExploration,
    testing::Values(Explored{"list", Command::list}, Explored{"set", Command::set},
                    Explored{"set --save", Command::set, true}, Explored{"save", Command::save},
                    Explored{"watch", Command::watch}, Explored{"apply", Command::apply},
                    Explored{"apply --save", Command::apply, true},
                    Explored{"identify", Command::identify, false, 10, {0xBF, 0x07, 0x07}}),
    [](const auto& parameter) { return std::to_string(parameter.index); });

} // namespace
