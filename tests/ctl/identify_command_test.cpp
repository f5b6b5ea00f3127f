// SPDX-License-Identifier: MIT
#include "ctl/layout_files.h"
#include "setup/identified_part.h"
#include "tests/ctl/terminal.h"
#include "tests/ctl/virtual_waiting.h"
#include "tests/ctl/workplace.h"
#include "tests/support/watchdog.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;

constexpr std::uint32_t code = 0x4AC5F4C4;

const std::string warning =
    "keyloftctl: this replaces the mappings of all 128 parts of 4AC5F4C4 (24:0), and saves "
    "nothing\n";
const std::string way_back = "keyloftctl: what was saved comes back when the machine is switched "
                             "off and on; ";
const std::string advice = way_back + "--then FILE applies a layout at the end\n";
const std::string ready = "keyloftctl: press or turn a part; Ctrl-C ends this\n";
const std::string left =
    "keyloftctl: 4AC5F4C4 keeps these mappings until it is switched off or set again\n";

/// identify in virtual time. Whenever it waits for nothing but the machine, the next thing of
/// `happening` happens, and Ctrl-C behind the last.
class IdentifyCommand : public testing::Test {
protected:
    IdentifyCommand() : folder_(make_folder()) {
        setenv("XDG_RUNTIME_DIR", folder_.c_str(), 1);
        waited_service = &system_.backend();
        before_wait = [] {};
        before_time_passes = [this] {
            if (at_time_passing)
                at_time_passing();
        };
        when_idle = [this] {
            if (happening.empty()) {
                interrupt();
                return;
            }
            const auto next = happening.front();
            happening.pop_front();
            next();
        };
    }
    ~IdentifyCommand() override {
        before_wait = before_time_passes = when_idle = nullptr;
        waited_service = nullptr;
        std::filesystem::remove_all(folder_);
    }

    static std::string make_folder() {
        std::string pattern = "/tmp/identify-XXXXXX";
        return mkdtemp(pattern.data());
    }
    static void interrupt() { kill(getpid(), SIGINT); }

    /// Makes a part of a machine move.
    static std::function<void()> move(EmbeddedMachine& machine, int part, int value) {
        return [&machine, part, value] { EXPECT_TRUE(machine.play(part, value)) << part; };
    }
    /// Makes a machine send some other bytes.
    std::function<void()> send(const EmbeddedMachine& machine,
                               const std::vector<std::uint8_t>& bytes) {
        return [this, &machine, bytes] { system_.backend().emit(machine.reference(), bytes, 0us); };
    }

    /// The path of a layout file; in what is printed, FOLDER stands for where it is.
    std::string layout(const std::string& name, const std::string& content) const {
        std::string path = folder_ + "/" + name;
        std::ofstream(path) << content;
        return path;
    }

    CommandResult identify(Request request = {}) {
        request.command = Command::identify;
        request.is_agreed = true;
        CommandResult result = run_command(request, system_, &signals_);
        for (std::string* const text : {&result.output, &result.errors}) {
            for (std::size_t at = 0; (at = text->find(folder_)) != std::string::npos;)
                text->replace(at, folder_.size(), "FOLDER");
        }
        return result;
    }

    StopSignals signals_; // before any thread
    Watchdog watchdog_{60s};
    std::string folder_;
    TestSystem system_{EmbeddedBackend::Time::manual};
    std::deque<std::function<void()>> happening;
    std::function<void()> at_time_passing;
};

TEST_F(IdentifyCommand, GivesEachPartAMappingOfItsOwnInASecondAndAHalf) {
    const EmbeddedMachine& machine = system_.add_machine(code);
    std::chrono::microseconds took{};
    happening.emplace_back([&] { took = system_.backend().now(); });
    const CommandResult result = identify();
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, warning + advice + ready + left);
    EXPECT_EQ(result.status, ExitStatus::done);
    EXPECT_EQ(result.stopped_by, std::nullopt) << "to be interrupted is its usual end";
    ASSERT_EQ(machine.table().size(), 128U);
    for (const protocol::KeyMapping& mapping : machine.table())
        EXPECT_EQ(mapping, setup::identifying_mapping(mapping.part));
    EXPECT_TRUE(machine.saved_table().empty());
    EXPECT_LE(took, 1550ms);
}

TEST_F(IdentifyCommand, TellsWhichPartMovesOnceForEachChange) {
    EmbeddedMachine& machine = system_.add_machine(code);
    happening = {move(machine, 0, 1),     move(machine, 0, 2),   move(machine, 127, 100),
                 move(machine, 127, 0),   move(machine, 0, 3),   send(machine, {0xF8}),
                 move(machine, 119, 127), move(machine, 120, 64)};
    const CommandResult result = identify();
    EXPECT_EQ(result.output, "4AC5F4C4  part 0\n4AC5F4C4  part 127\n4AC5F4C4  part 0\n"
                             "4AC5F4C4  part 119\n4AC5F4C4  part 120\n");
    EXPECT_EQ(result.errors, warning + advice + ready + left);
}

TEST_F(IdentifyCommand, TellsItInJson) {
    EmbeddedMachine& machine = system_.add_machine(code);
    happening = {move(machine, 12, 64)};
    const std::string output = identify({.json = true}).output;
    EXPECT_TRUE(output.starts_with("{\"kind\":\"part\",\"time\":\"")) << output;
    EXPECT_EQ(output.substr(std::min(output.size(), output.find(",\"machine\""))),
              ",\"machine\":\"4AC5F4C4\",\"port\":\"24:0\",\"part\":12,\"bytes\":\"BF 0C 40\","
              "\"layout\":null}\n");
}

TEST_F(IdentifyCommand, ListsUnconfirmedPartsFirstAndTakesNoLateEchoForAMovement) {
    EmbeddedMachine& machine = system_.add_machine(code, {.slow = 2, .delay_ms = 3'000});
    happening = {
        [] {}, [] {}, [] {}, [] {}, [] {}, [] {}, move(machine, 1, 1), move(machine, 0, 64)};
    const CommandResult result = identify();
    EXPECT_EQ(result.output, "4AC5F4C4  part 0: Control Change, channel 16, controller 0  "
                             "unconfirmed: sent twice, and no echo came\n"
                             "4AC5F4C4  part 1\n4AC5F4C4  part 0\n");
    EXPECT_EQ(result.status, ExitStatus::done);
}

TEST_F(IdentifyCommand, SaysOnceWhatElseTheMachineSends) {
    const EmbeddedMachine& machine = system_.add_machine(code);
    happening = {send(machine, {0x99, 36, 100}), send(machine, {0x99, 36, 90}),
                 send(machine, {0x99, 37, 90}),  send(machine, {0xE0, 1, 64}),
                 send(machine, {0xE0, 2, 65}),   send(machine, {0xFA})};
    const CommandResult result = identify();
    EXPECT_EQ(result.output, "");
    const std::string behind = ", which none of the confirmed parts sends\n";
    EXPECT_EQ(result.errors, warning + advice + ready +
                                 "keyloftctl: 4AC5F4C4 sent Note On, channel 10, note 36, velocity "
                                 "100" +
                                 behind +
                                 "keyloftctl: 4AC5F4C4 sent Note On, channel 10, note 37, velocity "
                                 "90" +
                                 behind +
                                 "keyloftctl: 4AC5F4C4 sent Bend Change, channel 1, position 1" +
                                 behind + "keyloftctl: 4AC5F4C4 sent Start" + behind + left);
}

TEST_F(IdentifyCommand, PrintsWhatThePartHasInTheLayout) {
    EmbeddedMachine& machine = system_.add_machine(code);
    const std::string file = layout("desk.toml", "[4AC0F4C4]\n"
                                                 "3 = { type = \"Note On\", channel = 1, "
                                                 "controller = 1 }\n"
                                                 "[4AC5F4C4]\n"
                                                 "2 = { type = \"Bend Change\", channel = 16, "
                                                 "controller = 0 }\n");
    happening = {move(machine, 2, 1), move(machine, 3, 1)};
    EXPECT_EQ(identify({.files = {file}}).output,
              "4AC5F4C4  part 2: Bend Change, channel 16, controller 0  FOLDER/desk.toml:4:1\n"
              "4AC5F4C4  part 3  not in FOLDER/desk.toml\n");
    happening = {move(machine, 2, 1), move(machine, 3, 1)};
    const std::string json = identify({.files = {file}, .json = true}).output;
    EXPECT_NE(json.find("\"part\":2,\"bytes\":\"BF 02 01\",\"layout\":{\"type\":\"Bend Change\","
                        "\"channel\":16,\"controller\":0,\"place\":\"FOLDER/desk.toml:4:1\"}}\n"),
              std::string::npos)
        << json;
    EXPECT_NE(json.find("\"part\":3,\"bytes\":\"BF 03 01\",\"layout\":null}\n"), std::string::npos);
}

TEST_F(IdentifyCommand, TakesTheLayoutOfAnotherMachineForTheOneThatIsNamed) {
    EmbeddedMachine& machine = system_.add_machine(code);
    const std::string file = layout(
        "desk.toml", "[4AC0F4C4]\n3 = { type = \"Note On\", channel = 1, controller = 1 }\n");
    happening = {move(machine, 3, 1)};
    EXPECT_EQ(identify({.machine = MachineChoice{.code = code}, .files = {file}}).output,
              "4AC5F4C4  part 3: Note On, channel 1, controller 1  FOLDER/desk.toml:2:1\n");
    const std::size_t received = machine.received().size();
    for (const Request& request : {Request{.files = {file}}, Request{.then = {file}}}) {
        const CommandResult result = identify(request);
        EXPECT_EQ(result.errors, "keyloftctl: FOLDER/desk.toml says nothing about 4AC5F4C4; with "
                                 "-m 4AC5F4C4 it is taken for this machine\n");
        EXPECT_EQ(result.status, ExitStatus::arguments);
    }
    const std::string entry = "3 = { type = \"Note On\", channel = 1, controller = 1 }\n";
    const std::string both = layout("both.toml", "[4AC0F4C4]\n" + entry + "[4AC1F4C4]\n" + entry);
    const CommandResult result = identify({.machine = MachineChoice{.code = code}, .then = {both}});
    EXPECT_EQ(result.errors, "keyloftctl: FOLDER/both.toml says nothing about 4AC5F4C4\n");
    EXPECT_EQ(result.status, ExitStatus::arguments);
    EXPECT_EQ(machine.received().size(), received) << "nothing is sent";
}

TEST_F(IdentifyCommand, AppliesALayoutAtItsEnd) {
    EmbeddedMachine& machine = system_.add_machine(code);
    const std::string file =
        layout("desk.toml", "[4AC5F4C4]\n3 = { type = \"Note On\", channel = 1, controller = 1 }\n"
                            "4 = { type = \"Note On\", channel = 1, controller = 2 }\n");
    happening = {move(machine, 3, 1)};
    const CommandResult result = identify({.then = {file}});
    EXPECT_EQ(result.output, "4AC5F4C4  part 3\n4AC5F4C4  2 mappings  confirmed (N s)\n");
    EXPECT_EQ(result.errors,
              warning + way_back + "FOLDER/desk.toml (2 parts) is applied at the end\n" + ready +
                  "keyloftctl: parts that are not in FOLDER/desk.toml keep the mappings of "
                  "identify until 4AC5F4C4 is switched off\n");
    EXPECT_EQ(result.status, ExitStatus::done);
    const MappingTable table = machine.table();
    EXPECT_EQ(table.find({.part = 3})->type, protocol::MessageType::note_on);
    EXPECT_EQ(table.find({.part = 4})->controller, 2);
    EXPECT_EQ(*table.find({.part = 5}), setup::identifying_mapping(5));
    EXPECT_TRUE(machine.saved_table().empty());
}

TEST_F(IdentifyCommand, SaysWhatOfTheLastLayoutWasNotSent) {
    const EmbeddedMachine& machine = system_.add_machine(code);
    const std::string file = layout(
        "desk.toml", "[4AC5F4C4]\n3 = { type = \"Note On\", channel = 1, controller = 1 }\n");
    happening.emplace_back([&] {
        system_.backend().update_object(machine.reference(),
                                        {.name = "4AC5F4C4 MIDI 1", .send_status = -EIO});
    });
    const CommandResult result = identify({.then = {file}});
    EXPECT_EQ(result.output, "4AC5F4C4  part 3: Note On, channel 1, controller 1  not sent: "
                             "Input/output error\n4AC5F4C4  1 mapping  not sent (N s)\n");
    EXPECT_EQ(result.status, ExitStatus::unconfirmed);
}

TEST_F(IdentifyCommand, AppliesNoLayoutToAMachineThatHasGone) {
    EmbeddedMachine& machine = system_.add_machine(code);
    const std::string file = layout(
        "desk.toml", "[4AC5F4C4]\n3 = { type = \"Note On\", channel = 1, controller = 1 }\n");
    happening = {[&] { machine.unplug(); }};
    const CommandResult result = identify({.then = {file}});
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors,
              warning + way_back + "FOLDER/desk.toml (1 part) is applied at the end\n" + ready +
                  "keyloftctl: 4AC5F4C4 has gone; what was saved is there when it comes back, and "
                  "FOLDER/desk.toml is not applied\n");
    EXPECT_EQ(result.status, ExitStatus::unconfirmed);
}

TEST_F(IdentifyCommand, InterruptedBeforeAllPartsAreSetItEndsByTheSignalAndAppliesTheLayout) {
    const EmbeddedMachine& machine = system_.add_machine(code);
    const std::string file = layout(
        "desk.toml", "[4AC5F4C4]\n3 = { type = \"Note On\", channel = 1, controller = 1 }\n");
    at_time_passing = [&] {
        if (machine.table().size() == 10) {
            interrupt();
            at_time_passing = nullptr;
        }
    };
    const CommandResult result = identify({.then = {file}});
    EXPECT_EQ(result.output, "4AC5F4C4  1 mapping  confirmed (N s)\n");
    EXPECT_EQ(result.errors,
              warning + way_back + "FOLDER/desk.toml (1 part) is applied at the end\n" +
                  "keyloftctl: 118 of 128 parts were not set\n"
                  "keyloftctl: parts that are not in FOLDER/desk.toml keep the mappings of "
                  "identify until 4AC5F4C4 is switched off\n");
    EXPECT_EQ(result.status, ExitStatus::unconfirmed);
    EXPECT_EQ(result.stopped_by, SIGINT);
    EXPECT_EQ(machine.table().size(), 10U);
}

TEST_F(IdentifyCommand, ASecondSignalStopsTheLastLayout) {
    const EmbeddedMachine& machine = system_.add_machine(code);
    std::string content = "[4AC5F4C4]\n";
    for (int part = 0; part < 128; ++part)
        content += std::to_string(part) +
                   " = { type = \"Note On\", channel = 1, controller = " + std::to_string(part) +
                   " }\n";
    const std::string file = layout("desk.toml", content);
    at_time_passing = [&] {
        const MappingTable table = machine.table();
        if (table.contains({.part = 9}) &&
            table.find({.part = 9})->type == protocol::MessageType::note_on) {
            interrupt();
            at_time_passing = nullptr;
        }
    };
    const CommandResult result = identify({.then = {file}});
    EXPECT_NE(result.output.find("128 mappings  10 confirmed, 118 not sent (N s)\n"),
              std::string::npos)
        << result.output;
    EXPECT_EQ(result.status, ExitStatus::unconfirmed);
    EXPECT_EQ(result.stopped_by, SIGINT);
}

TEST_F(IdentifyCommand, EndsWhenTheMachineGoesBeforeAllPartsAreSet) {
    system_.add_machine(code, {.vanish_after = 99});
    const CommandResult result = identify();
    EXPECT_EQ(result.output, "4AC5F4C4  part 9: Control Change, channel 16, controller 9  "
                             "unconfirmed: sent, and no echo came; then the machine is gone\n");
    EXPECT_EQ(result.errors,
              warning + advice +
                  "keyloftctl: 118 of 128 parts were not set\n"
                  "keyloftctl: 4AC5F4C4 has gone; what was saved is there when it comes back\n");
    EXPECT_EQ(result.status, ExitStatus::unconfirmed);
}

TEST_F(IdentifyCommand, EndsWhereNoPartCouldBeSet) {
    system_.attach({.name = "4AC5F4C4 MIDI 1", .send_status = -EIO});
    const CommandResult result = identify();
    EXPECT_EQ(std::ranges::count(result.output, '\n'), 128);
    EXPECT_TRUE(result.output.starts_with("4AC5F4C4  part 0: Control Change, channel 16, "
                                          "controller 0  not sent: Input/output error\n"))
        << result.output;
    EXPECT_EQ(result.errors, warning + advice + "keyloftctl: 128 of 128 parts were not set\n");
    EXPECT_EQ(result.status, ExitStatus::unconfirmed);
}

TEST_F(IdentifyCommand, ListensThroughThePortThatIsNamed) {
    const MIDIObjectRef box = system_.attach({.name = "Merge Box"});
    Request request{.machine = MachineChoice{.code = code, .port = setup::PortAddress{24, 0}}};
    happening = {[&] {
                     system_.backend().emit(box, std::vector<std::uint8_t>{0xBF, 5, 1}, 0us);
                 },
                 [&] { system_.attach({.name = "Another"}); },
                 [&] { system_.backend().detach(box); }};
    const CommandResult result = identify(request);
    EXPECT_TRUE(result.output.ends_with("4AC5F4C4  part 5\n")) << result.output;
    EXPECT_TRUE(result.errors.ends_with(
        ready + "keyloftctl: 4AC5F4C4 has gone; what was saved is there when it comes back\n"))
        << result.errors;
    EXPECT_EQ(result.status, ExitStatus::unconfirmed);
}

TEST_F(IdentifyCommand, NeedsATerminalOrLeave) {
    const EmbeddedMachine& machine = system_.add_machine(code);
    const CommandResult result = run_command({.command = Command::identify}, system_, &signals_);
    EXPECT_EQ(result.errors, "keyloftctl: identify replaces all mappings of a machine; without a "
                             "terminal to ask on, allow it with --yes\n");
    EXPECT_EQ(result.status, ExitStatus::arguments);
    EXPECT_TRUE(machine.received().empty());
}

TEST_F(IdentifyCommand, SendsNothingWhereItCannot) {
    EXPECT_EQ(identify().status, ExitStatus::no_machine);
    const EmbeddedMachine& machine = system_.add_machine(code);
    {
        const LockHolder holder(folder_, "24:0");
        const CommandResult result = identify();
        EXPECT_EQ(result.errors, "keyloftctl: 24:0 is in use by another keyloftctl (process " +
                                     std::to_string(holder.process()) + ")\n");
        EXPECT_EQ(result.status, ExitStatus::no_machine);
    }
    const std::string wrong = layout("wrong.toml", "[4AC5F4C4\n");
    for (const Request& request : {Request{.files = {wrong}}, Request{.then = {wrong}}}) {
        const CommandResult result = identify(request);
        EXPECT_TRUE(result.errors.starts_with("FOLDER/wrong.toml:1:")) << result.errors;
        EXPECT_EQ(result.status, ExitStatus::arguments);
    }
    system_.trouble_ = {.sentence = "there is none", .remedy = "get one"};
    EXPECT_EQ(identify().status, ExitStatus::no_sequencer);
    EXPECT_TRUE(machine.received().empty());
}

TEST_F(IdentifyCommand, HoldsTheLockToItsEnd) {
    system_.add_machine(code);
    happening.emplace_back([&] { EXPECT_ANY_THROW(LockHolder(folder_, "24:0")); });
    EXPECT_EQ(identify().status, ExitStatus::done);
    EXPECT_NO_THROW(LockHolder(folder_, "24:0"));
}

/// The same in front of a terminal.
class AskedIdentifyCommand : public IdentifyCommand {
protected:
    /// What it ends with. Standard output is no terminal.
    ExitStatus identify_here() {
        Output output(STDOUT_FILENO);
        Output errors(terminal.program_end());
        const auto report = text_report(output, false);
        Workplace place{.system = system_,
                        .report = *report,
                        .output = output,
                        .errors = errors,
                        .signals = &signals_,
                        .input = terminal.program_end()};
        const ExitStatus status = run_identify({.command = Command::identify}, place);
        stopped_by = place.stopped_by;
        return status;
    }

    Terminal terminal;
    std::optional<int> stopped_by{};
    const EmbeddedMachine& machine = system_.add_machine(code);
    const std::string question = warning + advice + "keyloftctl: go on? [y/n] ";
};

TEST_F(AskedIdentifyCommand, GoesOnAfterAYes) {
    terminal.type("y\n");
    EXPECT_EQ(identify_here(), ExitStatus::done);
    const std::string shown = question + ready + left;
    EXPECT_EQ(terminal.shown(shown.size()), shown);
    EXPECT_EQ(machine.table().size(), 128U);
}

TEST_F(AskedIdentifyCommand, SendsNothingAfterANo) {
    terminal.type("n\n");
    EXPECT_EQ(identify_here(), ExitStatus::unconfirmed);
    const std::string shown = question + "keyloftctl: nothing was sent\n";
    EXPECT_EQ(terminal.shown(shown.size()), shown);
    EXPECT_TRUE(machine.received().empty());
    EXPECT_EQ(stopped_by, std::nullopt);
}

TEST_F(AskedIdentifyCommand, SendsNothingWhenItIsInterruptedInstead) {
    EXPECT_EQ(identify_here(), ExitStatus::unconfirmed); // Ctrl-C, because nothing else happens
    const std::string shown = question + "\nkeyloftctl: nothing was sent\n";
    EXPECT_EQ(terminal.shown(shown.size()), shown);
    EXPECT_TRUE(machine.received().empty());
    EXPECT_EQ(stopped_by, SIGINT);
}

} // namespace
