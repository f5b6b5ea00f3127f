// SPDX-License-Identifier: MIT
#include "tests/ctl/workplace.h"

#include "ctl/layout_files.h"
#include "tests/support/sequence.h"
#include "tests/support/watchdog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <thread>

#include <fcntl.h>
#include <unistd.h>

namespace {

using protocol::MessageType;
using testing::HasSubstr;

constexpr std::uint32_t first_code = 0x4AC1F4C4;
constexpr std::uint32_t second_code = 0x4AC2F4C4;

const std::string first_table = R"([4AC1F4C4]
12 = { type = "Control Change", channel = 1, controller = 7 }
36 = { type = "Note On", channel = 10, controller = 36 }
37 = { type = "Note On", channel = 10, controller = 37 }
)";
const std::string second_table = R"([4AC2F4C4]
0 = { type = "Bend Change", channel = 16, controller = 0 }
)";
const MappingTable first_mappings = {
    {.part = 12, .channel = 1, .controller = 7},
    {.part = 36, .type = MessageType::note_on, .channel = 10, .controller = 36},
    {.part = 37, .type = MessageType::note_on, .channel = 10, .controller = 37},
};
const MappingTable second_mappings = {
    {.part = 0, .type = MessageType::bend_change, .channel = 16, .controller = 0}};

const std::string first_sum = "4AC1F4C4  3 mappings  confirmed (N s)\n";
const std::string second_sum = "4AC2F4C4  1 mapping  confirmed (N s)\n";
const std::string second_missing =
    "keyloftctl: 4AC2F4C4 is not there; \"keyloftctl doctor\" says what is\n";

/// Layouts for machines on the embedded service, in real time. There is a folder for locks.
class ApplyCommand : public testing::Test {
protected:
    ApplyCommand() {
        std::string pattern = "/tmp/apply-command-XXXXXX";
        folder_ = mkdtemp(pattern.data());
        setenv("XDG_RUNTIME_DIR", folder_.c_str(), 1);
    }
    ~ApplyCommand() override { std::filesystem::remove_all(folder_); }

    /// A file with this content.
    [[nodiscard]] std::string file(const std::string& content) {
        std::string path = folder_ + "/" + std::to_string(++files_) + ".toml";
        std::ofstream(path) << content;
        return path;
    }

    [[nodiscard]] Request request(const std::string& content) {
        return {.command = Command::apply, .files = {file(content)}};
    }

    [[nodiscard]] CommandResult run(const Request& wanted) {
        return run_command(wanted, system_, &signals_);
    }

    StopSignals signals_; // before any thread
    Watchdog watchdog_{std::chrono::seconds(60)};
    std::string folder_;
    int files_ = 0;
    TestSystem system_;
};

TEST_F(ApplyCommand, CheckSaysWhatApplyWouldDo) {
    system_.trouble_ = SystemTrouble{"there is none", "get one"};
    Request check{.command = Command::check, .files = {file(second_table), file(first_table)}};
    CommandResult result = run(check);
    EXPECT_EQ(result.output, "4AC1F4C4  3 mappings  parts 12, 36-37 (N s at the least)\n"
                             "4AC2F4C4  1 mapping  part 0 (N s at the least)\n");
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.status, ExitStatus::done);
    check.json = true;
    check.files = {file(second_table)};
    result = run(check);
    EXPECT_EQ(result.output,
              "{\"kind\":\"layout\",\"machine\":\"4AC2F4C4\",\"least_milliseconds\":11.0,"
              "\"mappings\":[{\"part\":0,\"type\":\"Bend Change\",\"channel\":16,"
              "\"controller\":0}]}\n");
}

TEST_F(ApplyCommand, CheckTakesTheLayoutForTheMachineThatIsNamed) {
    Request check{.command = Command::check, .files = {file(second_table)}};
    check.machine = MachineChoice{.code = 0x4AC9F4C4};
    EXPECT_EQ(run(check).output, "4AC9F4C4  1 mapping  part 0 (N s at the least)\n");
    check.files.push_back(file(first_table));
    const CommandResult result = run(check);
    EXPECT_EQ(result.output, "");
    EXPECT_THAT(result.errors, testing::StartsWith(folder_ + "/1.toml:1:2: 4AC2F4C4 "));
    EXPECT_EQ(result.status, ExitStatus::arguments);
}

TEST_F(ApplyCommand, SendsNothingOfALayoutWithAMistake) {
    const EmbeddedMachine& machine = system_.add_machine(first_code);
    Request wrong = request(first_table + "128 = 1\n");
    for (const Command command : {Command::check, Command::apply}) {
        wrong.command = command;
        const CommandResult result = run(wrong);
        EXPECT_EQ(result.output, "");
        EXPECT_THAT(result.errors, testing::StartsWith(wrong.files[0] + ":5:1: "));
        EXPECT_EQ(result.status, ExitStatus::arguments);
    }
    wrong.files = {folder_ + "/missing.toml"};
    const CommandResult result = run(wrong);
    EXPECT_EQ(result.errors, wrong.files[0] + ": there is no such file\n");
    EXPECT_EQ(result.status, ExitStatus::arguments);
    EXPECT_TRUE(machine.received().empty());
}

TEST_F(ApplyCommand, AWarningIsSaidAndNoHindrance) {
    system_.add_machine(second_code);
    const Request twice =
        request(second_table + "1 = { type = \"Bend Change\", channel = 16, controller = 0 }\n");
    const CommandResult result = run(twice);
    EXPECT_THAT(result.errors, testing::StartsWith(twice.files[0] + ":3:1: warning: part 1 "));
    EXPECT_EQ(result.output, "4AC2F4C4  2 mappings  confirmed (N s)\n");
    EXPECT_EQ(result.status, ExitStatus::done);
}

TEST_F(ApplyCommand, SetsAllMachinesAndSavesNothing) {
    const EmbeddedMachine& second = system_.add_machine(second_code);
    const EmbeddedMachine& first = system_.add_machine(first_code);
    const CommandResult result = run(request(first_table + second_table));
    EXPECT_EQ(result.output, first_sum + second_sum);
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.status, ExitStatus::done);
    EXPECT_EQ(first.table(), first_mappings);
    EXPECT_EQ(second.table(), second_mappings);
    EXPECT_TRUE(first.saved_table().empty() && second.saved_table().empty());
}

TEST_F(ApplyCommand, SavesTheMachinesWhoseMappingsAreAllConfirmed) {
    const EmbeddedMachine& first = system_.add_machine(first_code, {.silent = 2});
    const EmbeddedMachine& second = system_.add_machine(second_code);
    Request saving = request(first_table + second_table);
    saving.save = true;
    const CommandResult result = run(saving);
    EXPECT_EQ(result.output,
              "4AC1F4C4  part 12: Control Change, channel 1, controller 7  unconfirmed: sent "
              "twice, and no echo came\n"
              "4AC1F4C4  3 mappings  2 confirmed, 1 unconfirmed; not saved (N s)\n"
              "4AC2F4C4  1 mapping  confirmed and saved (N s)\n");
    EXPECT_EQ(result.status, ExitStatus::unconfirmed);
    EXPECT_TRUE(first.saved_table().empty());
    EXPECT_EQ(second.saved_table(), second_mappings);
}

TEST_F(ApplyCommand, SaysThatAMachineDidNotConfirmTheSaveCommand) {
    MIDIObjectRef machine = 0;
    machine = system_.attach({.name = "4AC2F4C4 MIDI 1"}, [&](std::span<const std::uint8_t> bytes) {
        if (bytes[0] == 0xEF)
            system_.backend().emit(machine, bytes, std::chrono::milliseconds(1));
    });
    Request saving = request(second_table);
    saving.save = true;
    const CommandResult result = run(saving);
    EXPECT_EQ(result.output, "4AC2F4C4  save  unconfirmed: sent twice, and no echo came\n"
                             "4AC2F4C4  1 mapping  confirmed; not saved (N s)\n");
    EXPECT_EQ(result.status, ExitStatus::unconfirmed);
}

TEST_F(ApplyCommand, SendsNothingUnlessAllMachinesCanBeSetUp) {
    const EmbeddedMachine& first = system_.add_machine(first_code);
    const EmbeddedMachine& twin = system_.add_machine(0x4AC3F4C4);
    const EmbeddedMachine& other_twin = system_.add_machine(0x4AC3F4C4);
    const EmbeddedMachine& locked = system_.add_machine(0x4AC4F4C4);
    const LockHolder other(folder_, "27:0");
    const CommandResult result =
        run(request(first_table + second_table +
                    "[4AC3F4C4]\n1 = { type = \"Note Off\", channel = 1, controller = 0 }\n"
                    "[4AC4F4C4]\n1 = { type = \"Note Off\", channel = 1, controller = 0 }\n"));
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors,
              second_missing +
                  "keyloftctl: 4AC3F4C4 cannot be set up: several ports with its name can be sent "
                  "to: two machines have one code (25:0, 26:0); name the one to send to, such as "
                  "-m 4AC3F4C4@25:0\n"
                  "keyloftctl: 4AC4F4C4: 27:0 is in use by another keyloftctl (process " +
                  std::to_string(other.process()) +
                  ")\n"
                  "keyloftctl: nothing is sent, because 3 of 4 machines cannot be set up; "
                  "--available leaves them out\n");
    EXPECT_EQ(result.status, ExitStatus::no_machine);
    for (const EmbeddedMachine* machine : {&first, &twin, &other_twin, &locked})
        EXPECT_TRUE(machine->received().empty());
}

TEST_F(ApplyCommand, LeavesOutWhatIsNotAvailable) {
    const EmbeddedMachine& first = system_.add_machine(first_code);
    Request some = request(first_table + second_table);
    some.available = true;
    CommandResult result = run(some);
    EXPECT_EQ(result.output, first_sum);
    EXPECT_EQ(result.errors, second_missing + "keyloftctl: 1 of 2 machines are left out\n");
    EXPECT_EQ(result.status, ExitStatus::done);
    EXPECT_EQ(first.table(), first_mappings);
    some.json = true;
    result = run(some);
    EXPECT_THAT(result.output,
                HasSubstr("{\"kind\":\"sum\",\"machine\":\"4AC2F4C4\",\"port\":null,\"mappings\":1,"
                          "\"confirmed\":0,\"unconfirmed\":0,\"not_sent\":1,\"saved\":null,"
                          "\"milliseconds\":0.0,\"left_out\":\"no_machine\"}\n"));
    const LockHolder other(folder_, "24:0");
    system_.add_machine(second_code);
    result = run(some);
    EXPECT_THAT(result.output, HasSubstr("\"not_sent\":3,\"saved\":null,\"milliseconds\":0.0,"
                                         "\"left_out\":\"in_use\"}\n"));
    EXPECT_EQ(result.status, ExitStatus::done);
}

TEST_F(ApplyCommand, IsRefusedWhereNothingIsAvailable) {
    Request none = request(first_table + second_table);
    none.available = true;
    CommandResult result = run(none);
    EXPECT_THAT(result.errors,
                testing::EndsWith(second_missing + "keyloftctl: nothing is sent: none of the "
                                                   "machines can be set up\n"));
    EXPECT_EQ(result.status, ExitStatus::no_machine);
    none.files = {file(second_table)};
    result = run(none);
    EXPECT_EQ(result.errors, second_missing);
    EXPECT_EQ(result.status, ExitStatus::no_machine);
}

TEST_F(ApplyCommand, ReplacesOneMachineByAnother) {
    const EmbeddedMachine& original = system_.add_machine(first_code);
    const EmbeddedMachine& replacement = system_.add_machine(second_code);
    Request moved = request(first_table);
    moved.machine = MachineChoice{.code = second_code};
    EXPECT_EQ(run(moved).output, "4AC2F4C4  3 mappings  confirmed (N s)\n");
    EXPECT_EQ(replacement.table(), first_mappings);
    EXPECT_TRUE(original.received().empty());
}

TEST_F(ApplyCommand, SetsTheTwinThatIsNamed) {
    const EmbeddedMachine& first = system_.add_machine(first_code);
    const EmbeddedMachine& second = system_.add_machine(first_code);
    Request named = request(first_table);
    named.machine = MachineChoice{.code = first_code, .port = setup::PortAddress{25, 0}};
    EXPECT_EQ(run(named).output, first_sum);
    EXPECT_TRUE(first.received().empty());
    EXPECT_EQ(second.table(), first_mappings);
    named.machine->port->client = 99;
    const CommandResult result = run(named);
    EXPECT_EQ(result.errors, "keyloftctl: 99:0: there is no such port that can be sent to\n");
    EXPECT_EQ(result.status, ExitStatus::no_machine);
}

TEST_F(ApplyCommand, AMachineThatGoesAwayIsSaidOnceAndTheOthersGoOn) {
    system_.add_machine(first_code, {.vanish_after = 11});
    const EmbeddedMachine& second = system_.add_machine(second_code);
    Request both = request(first_table + second_table);
    CommandResult result = run(both);
    EXPECT_EQ(result.output, "4AC1F4C4  part 36: Note On, channel 10, controller 36  not sent: the "
                             "machine is gone\n"
                             "4AC1F4C4  3 mappings  1 confirmed, 2 not sent (N s)\n" +
                                 second_sum);
    EXPECT_EQ(result.status, ExitStatus::unconfirmed);
    EXPECT_EQ(second.table(), second_mappings);
}

TEST_F(ApplyCommand, JsonHasALineForEachMappingAndASumForEachMachine) {
    system_.add_machine(first_code, {.vanish_after = 11});
    system_.add_machine(second_code);
    Request both = request(first_table + second_table);
    both.json = both.save = true;
    const CommandResult result = run(both);
    EXPECT_EQ(std::ranges::count(result.output, '\n'), 7);
    for (const char* part : {"12", "36", "37"})
        EXPECT_THAT(result.output,
                    HasSubstr("{\"kind\":\"mapping\",\"machine\":\"4AC1F4C4\",\"port\":\"24:0\","
                              "\"part\":" +
                              std::string(part) + ","));
    EXPECT_THAT(result.output, HasSubstr("{\"kind\":\"save\",\"machine\":\"4AC2F4C4\","));
    EXPECT_THAT(result.output,
                HasSubstr("{\"kind\":\"sum\",\"machine\":\"4AC1F4C4\",\"port\":\"24:0\","
                          "\"mappings\":3,\"confirmed\":1,\"unconfirmed\":0,\"not_sent\":2,"
                          "\"saved\":false,"));
    EXPECT_THAT(result.output, HasSubstr("\"not_sent\":0,\"saved\":true,"));
}

TEST_F(ApplyCommand, HoldsAllLocksWhileItSends) {
    const auto refuse_locks = [this](std::span<const std::uint8_t>) {
        for (const char* const address : {"24:0", "25:0"})
            EXPECT_THROW(LockHolder(folder_, address), std::runtime_error);
    };
    system_.attach({.name = "4AC1F4C4 MIDI 1"}, refuse_locks);
    system_.add_machine(second_code);
    EXPECT_EQ(run(request(second_table + "[4AC1F4C4]\n0 = { type = \"Note On\", channel = 1, "
                                         "controller = 0 }\n"))
                  .status,
              ExitStatus::unconfirmed);
    const LockHolder afterwards(folder_, "24:0");
}

TEST_F(ApplyCommand, WarnsOnceWhereThereCanBeNoLock) {
    system_.add_machine(first_code);
    system_.add_machine(second_code);
    unsetenv("XDG_RUNTIME_DIR");
    const CommandResult result = run(request(first_table + second_table));
    EXPECT_EQ(result.errors, "keyloftctl: XDG_RUNTIME_DIR is not set, so nothing keeps a second "
                             "keyloftctl from sending meanwhile\n");
    EXPECT_EQ(result.status, ExitStatus::done);
}

TEST_F(ApplyCommand, NamesTheWindowAndWhoHearsTheEchoes) {
    system_.add_machine(first_code);
    system_.add_machine(second_code);
    system_.clients_ = {{.name = "MIDI Client", .program = "keyloft", .pid = 12}};
    system_.connections_.readers = {{.name = "aseqdump", .pid = 14}};
    const CommandResult result = run(request(first_table + second_table));
    EXPECT_EQ(result.errors,
              "keyloftctl: keyloft is open (process 12): what is set there at the same moment may "
              "get mixed up with this\n"
              "keyloftctl: \"aseqdump\" (process 14) is connected to 4AC1F4C4, 4AC2F4C4 and hears "
              "their echoes, too\n");
    EXPECT_EQ(result.status, ExitStatus::done);
}

TEST_F(ApplyCommand, SaysWhatIsWrongWithTheSequencer) {
    system_.trouble_ = SystemTrouble{"there is none", "get one"};
    const CommandResult result = run(request(first_table));
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "keyloftctl: there is none; get one\n");
    EXPECT_EQ(result.status, ExitStatus::no_sequencer);
}

TEST_F(ApplyCommand, IsGentleWhenItIsToldTo) {
    system_.add_machine(second_code);
    Request gentle = request(second_table);
    gentle.gentle = true;
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(run(gentle).output, second_sum);
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(311));
}

TEST_F(ApplyCommand, ASignalEndsTheSequenceAndLeavesTheRestOut) {
    std::vector<std::uint8_t> received;
    system_.attach({.name = "4AC1F4C4 MIDI 1"}, [&](std::span<const std::uint8_t> bytes) {
        if (received.empty())
            kill(getpid(), SIGTERM);
        received.insert(received.end(), bytes.begin(), bytes.end());
    });
    Request saving = request(first_table);
    saving.save = true;
    const CommandResult result = run(saving);
    EXPECT_EQ(result.output,
              "4AC1F4C4  part 12: Control Change, channel 1, controller 7  unconfirmed: sent once "
              "because it was stopped, and no echo came\n"
              "4AC1F4C4  part 36: Note On, channel 10, controller 36  not sent: stopped before\n"
              "4AC1F4C4  3 mappings  1 unconfirmed, 2 not sent; not saved (N s)\n");
    EXPECT_EQ(result.stopped_by, SIGTERM);
    EXPECT_EQ(received, sequence(0xB0, 7, 12));
}

/// A layout of 128 mappings whose JSON goes to a reader that reads nothing until it is told to.
class SlowReader : public ApplyCommand {
protected:
    SlowReader() {
        EXPECT_EQ(pipe2(ends_.data(), O_CLOEXEC), 0);
        EXPECT_GT(fcntl(ends_[1], F_SETPIPE_SZ, 4096), 0);
        std::ofstream table(folder_ + "/whole.toml");
        table << "[4AC1F4C4]\n";
        for (int part = 0; part < 128; ++part)
            table << part << " = { type = \"Control Change\", channel = 1, controller = " << part
                  << " }\n";
    }
    ~SlowReader() override {
        close(ends_[0]);
        close(ends_[1]);
    }

    /// Applies the layout while `reader` has the other end of the pipe. Whether a signal ended it.
    bool apply(const std::function<void()>& reader) {
        std::thread thread(reader);
        Output output(ends_[1]);
        Output errors(STDERR_FILENO);
        const auto report = json_report(output);
        const Request whole{
            .command = Command::apply, .files = {folder_ + "/whole.toml"}, .json = true};
        Workplace place{.system = system_,
                        .report = *report,
                        .output = output,
                        .errors = errors,
                        .signals = &signals_,
                        .layout = read_layout_files(whole.files)};
        EXPECT_EQ(run_apply(whole, place), ExitStatus::done);
        is_over_ = true;
        close(ends_[1]);
        ends_[1] = -1;
        thread.join();
        return place.stopped_by.has_value();
    }

    /// Until the machine has all of it.
    static void wait_for(const EmbeddedMachine& machine) {
        while (machine.table().size() < 128)
            std::this_thread::yield();
    }

    std::array<int, 2> ends_{};
    std::atomic<bool> is_over_ = false;
};

TEST_F(SlowReader, HoldsNoMachineUp) {
    const EmbeddedMachine& machine = system_.add_machine(first_code);
    std::string read_back;
    EXPECT_FALSE(apply([&] {
        wait_for(machine);
        std::array<char, 4096> room{};
        for (ssize_t length = 0; (length = read(ends_[0], room.data(), room.size())) > 0;)
            read_back.append(room.data(), static_cast<std::size_t>(length));
    }));
    EXPECT_EQ(std::ranges::count(read_back, '\n'), 129);
    EXPECT_TRUE(read_back.ends_with("\"left_out\":null}\n"));
}

TEST_F(SlowReader, ThatNeverReadsCanBeEscapedByASignal) {
    const EmbeddedMachine& machine = system_.add_machine(first_code);
    EXPECT_TRUE(apply([&] {
        wait_for(machine);
        while (!is_over_) {
            kill(getpid(), SIGINT);
            std::this_thread::yield();
        }
    }));
    (void)signals_.take(); // there may be one too many
}

} // namespace
