// SPDX-License-Identifier: MIT
#include "tests/ctl/workplace.h"

#include "tests/support/watchdog.h"

#include <gtest/gtest.h>

#include <csignal>
#include <thread>
#include <unistd.h>
#include <utility>

namespace {

constexpr std::uint32_t code = 0x4AC5F4C4;

class ListCommand : public testing::Test {
protected:
    TestSystem system_;
};

TEST_F(ListCommand, NamesTheMachinesOfTheFamilyInTheirOrder) {
    system_.add_machine(0x4ACFF4C4);
    system_.add_machine(0x12345678);
    system_.add_machine(0x4AC0F4C4);
    const CommandResult result = run_command({}, system_);
    EXPECT_EQ(result.output, "4AC0F4C4  26:0  4AC0F4C4 MIDI 1\n4ACFF4C4  24:0  4ACFF4C4 MIDI 1\n");
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.status, ExitStatus::done);
}

TEST_F(ListCommand, SaysThatNobodyIsThereAndIsContent) {
    const CommandResult result = run_command({}, system_);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "keyloftctl: no machine of the family is there; \"keyloftctl doctor\" "
                             "says what is\n");
    EXPECT_EQ(result.status, ExitStatus::done);
}

TEST_F(ListCommand, TakesACodeOfNoFamilyWhenItIsNamed) {
    system_.add_machine(0x12345678);
    system_.add_machine(code);
    EXPECT_EQ(run_command({.machine = MachineChoice{.code = 0x12345678}}, system_).output,
              "12345678  24:0  12345678 MIDI 1\n");
}

TEST_F(ListCommand, SaysWhyAMachineCannotBeSetUp) {
    system_.attach({.name = "4AC5F4C4 in", .is_destination = false});
    system_.attach({.name = "4AC5F4C4 out", .is_source = false});
    system_.attach({.name = "4AC5F4C4 too", .is_source = false});
    EXPECT_EQ(run_command({}, system_).output,
              "4AC5F4C4  25:0, 26:0, 24:0  4AC5F4C4 out  cannot be set up: several ports with its "
              "name can be sent to: two machines have one code\n");
}

TEST_F(ListCommand, LetsNoNameSteerTheTerminal) {
    system_.attach({.name = "4AC5F4C4\x1b[2J\x7f\xc2\x9b\n\xc3\xa9"});
    EXPECT_EQ(run_command({}, system_).output, "4AC5F4C4  24:0  4AC5F4C4?[2J???\xc3\xa9\n");
    EXPECT_EQ(run_command({.json = true}, system_).output,
              "{\"kind\":\"machine\",\"machine\":\"4AC5F4C4\",\"name\":\"4AC5F4C4\\u001b[2J\x7f"
              "\xc2\x9b\\n\xc3\xa9\",\"sources\":[\"24:0\"],\"destinations\":[\"24:0\"],"
              "\"obstacle\":null}\n");
}

TEST_F(ListCommand, ShowsAPortThatIsNamedWhateverItIsCalled) {
    system_.attach({.name = "Merge Box"});
    system_.attach({.name = "Deaf", .is_source = false});
    Request request{.machine = MachineChoice{.code = code, .port = setup::PortAddress{24, 0}}};
    EXPECT_EQ(run_command(request, system_).output, "4AC5F4C4  24:0  Merge Box\n");
    request.machine->port = setup::PortAddress{25, 0};
    EXPECT_EQ(
        run_command(request, system_).output,
        "4AC5F4C4  25:0  Deaf  cannot be set up: the port cannot be heard, and its client has "
        "no other port, or several, that can\n");
    request.machine->port = setup::PortAddress{26, 0};
    const CommandResult result = run_command(request, system_);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "keyloftctl: 26:0: there is no such port that can be sent to\n");
    EXPECT_EQ(result.status, ExitStatus::done);
}

/// watch in a thread of its own, which is told to end at last; the report's lines come through a
/// pipe, so that a test waits for each.
class WatchCommand : public testing::Test {
protected:
    WatchCommand() { EXPECT_EQ(pipe(ends_.data()), 0); }
    ~WatchCommand() override {
        end();
        close_reader();
    }

    void start(Request request = {}) {
        request.command = Command::watch;
        thread_ = std::thread([this, request] {
            Output output(ends_[1]);
            Output errors(errors_);
            const auto report = text_report(output, false);
            Workplace place{.system = system_,
                            .report = *report,
                            .output = output,
                            .errors = errors,
                            .signals = &signals_};
            status_ = run_watch(request, place);
        });
    }

    void end() {
        if (!thread_.joinable())
            return;
        kill(getpid(), SIGINT);
        thread_.join();
        close(ends_[1]);
        EXPECT_EQ(status_, ExitStatus::done);
    }

    void close_reader() {
        if (ends_[0] >= 0)
            close(ends_[0]);
        ends_[0] = -1;
    }

    /// A port comes when an address is asked for the `question`th time, and its news is used up.
    void let_come_when_asked(std::string name, unsigned question) {
        system_.when_asked = [this, name = std::move(name), question]() mutable {
            if (question == 0 || --question != 0)
                return;
            system_.attach({.name = name});
            (void)system_.backend().update(ObjectList::devices);
        };
    }

    static std::string read_line(int descriptor) {
        std::string text;
        for (char letter = 0; read(descriptor, &letter, 1) == 1 && letter != '\n';)
            text += letter;
        return text;
    }

    /// The report's next line, without the time in front.
    std::string line() {
        const std::string text = read_line(ends_[0]);
        return text.size() > 14 ? text.substr(14) : text;
    }

    StopSignals signals_; // before any thread
    Watchdog watchdog_{std::chrono::seconds(60)};
    TestSystem system_;
    std::array<int, 2> ends_{};
    int errors_ = STDERR_FILENO;
    ExitStatus status_ = ExitStatus::unconfirmed;
    std::thread thread_;
};

TEST_F(WatchCommand, ShowsWhatAMachineSendsAndLeavesOutClocks) {
    const MIDIObjectRef machine = system_.attach({.name = "4AC5F4C4 MIDI 1"});
    const MIDIObjectRef stranger = system_.attach({.name = "Synth"});
    start();
    EXPECT_EQ(line(), "4AC5F4C4  is there, 24:0");
    using std::chrono::microseconds;
    system_.backend().emit(stranger, std::vector<std::uint8_t>{0x90, 1, 2}, microseconds(0));
    system_.backend().emit(machine, std::vector<std::uint8_t>{0xF8, 0xFE, 0xB0, 7, 64},
                           microseconds(0));
    EXPECT_EQ(line(), "4AC5F4C4  Control Change, channel 1, controller 7, value 64");
    system_.backend().emit(machine, std::vector<std::uint8_t>{0x90, 60, 1, 61, 2}, microseconds(0));
    EXPECT_EQ(line(), "4AC5F4C4  Note On, channel 1, note 60, velocity 1");
    EXPECT_EQ(line(), "4AC5F4C4  Note On, channel 1, note 61, velocity 2");
    end();
    EXPECT_EQ(line(), "");
}

TEST_F(WatchCommand, SaysWhoComesAndGoes) {
    EmbeddedMachine& machine = system_.add_machine(code);
    start();
    EXPECT_EQ(line(), "4AC5F4C4  is there, 24:0");
    machine.unplug();
    EXPECT_EQ(line(), "4AC5F4C4  has gone, 24:0");
    machine.plug();
    EXPECT_EQ(line(), "4AC5F4C4  is there, ?");
    end();
}

TEST_F(WatchCommand, FindsAMachineWhoseNewsItsOwnQuestionsUseUp) {
    system_.attach({.name = "12345678 MIDI 1"}); // not of the family: nobody listens to it
    // The first list asks for both ends, too; the watch asks for the source after its last count.
    let_come_when_asked("4AC5F4C4 MIDI 1", 4);
    start();
    EXPECT_EQ(line(), "4AC5F4C4  is there, 25:0");
    end();
}

TEST_F(WatchCommand, FindsANamedPortWhoseNewsItsOwnQuestionsUseUp) {
    system_.attach({.name = "Other Box"}); // only the search for a port asks for its address
    let_come_when_asked("Merge Box", 1);
    start({.machine = MachineChoice{.code = code, .port = setup::PortAddress{25, 0}}});
    EXPECT_EQ(line(), "4AC5F4C4  is there, 25:0");
    end();
}

TEST_F(WatchCommand, WaitsWhereNoMachineIsThereYet) {
    EmbeddedMachine& machine = system_.add_machine(code);
    machine.unplug();
    std::array<int, 2> errors{};
    ASSERT_EQ(pipe(errors.data()), 0);
    errors_ = errors[1];
    start();
    EXPECT_EQ(read_line(errors[0]), "keyloftctl: no machine is there yet; waiting for one");
    machine.plug();
    EXPECT_EQ(line(), "4AC5F4C4  is there, ?");
    end();
    for (const int each : errors)
        close(each);
}

TEST_F(WatchCommand, ListensToTheOthersWhenOneGoes) {
    const MIDIObjectRef first = system_.attach({.name = "4AC0F4C4 MIDI 1"});
    EmbeddedMachine& second = system_.add_machine(code);
    start();
    EXPECT_EQ(line(), "4AC0F4C4  is there, 24:0");
    EXPECT_EQ(line(), "4AC5F4C4  is there, 25:0");
    second.unplug();
    EXPECT_EQ(line(), "4AC5F4C4  has gone, 25:0");
    system_.backend().emit(first, std::vector<std::uint8_t>{0xC0, 5}, std::chrono::microseconds(0));
    EXPECT_EQ(line(), "4AC0F4C4  Program Change, channel 1, program 5");
    end();
    EXPECT_EQ(line(), "");
}

TEST_F(WatchCommand, ListensToTheNamedPortWhateverItIsCalled) {
    const MIDIObjectRef other = system_.attach({.name = "4AC5F4C4 MIDI 1"});
    const MIDIObjectRef named = system_.attach({.name = "Merge Box"});
    start({.machine = MachineChoice{.code = code, .port = setup::PortAddress{25, 0}}});
    EXPECT_EQ(line(), "4AC5F4C4  is there, 25:0");
    for (const MIDIObjectRef source : {other, named})
        system_.backend().emit(source, std::vector<std::uint8_t>{0xC0, 5},
                               std::chrono::microseconds(0));
    EXPECT_EQ(line(), "4AC5F4C4  Program Change, channel 1, program 5");
    end();
    EXPECT_EQ(line(), "");
}

TEST_F(WatchCommand, ListensToTheNamedMachineAlone) {
    const MIDIObjectRef other = system_.attach({.name = "4AC0F4C4 MIDI 1"});
    const MIDIObjectRef named = system_.attach({.name = "12345678"});
    start({.machine = MachineChoice{.code = 0x12345678}});
    EXPECT_EQ(line(), "12345678  is there, 25:0");
    for (const MIDIObjectRef source : {other, named})
        system_.backend().emit(source, std::vector<std::uint8_t>{0xC0, 5},
                               std::chrono::microseconds(0));
    EXPECT_EQ(line(), "12345678  Program Change, channel 1, program 5");
    end();
    EXPECT_EQ(line(), "");
}

TEST_F(WatchCommand, EndsWhenItsReaderGoesThoughNothingIsSent) {
    system_.attach({.name = "4AC5F4C4 MIDI 1"});
    (void)signal(SIGPIPE, SIG_IGN);
    start();
    EXPECT_EQ(line(), "4AC5F4C4  is there, 24:0");
    close_reader();
    thread_.join(); // by itself
    close(ends_[1]);
    EXPECT_EQ(status_, ExitStatus::done);
}

} // namespace
