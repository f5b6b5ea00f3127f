// SPDX-License-Identifier: MIT
#include "tests/ctl/workplace.h"

#include "tests/support/sequence.h"
#include "tests/support/watchdog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <unistd.h>

namespace {

using protocol::MessageType;
using testing::HasSubstr;

constexpr std::uint32_t code = 0x4AC5F4C4;
const protocol::KeyMapping mapping{.part = 12, .channel = 1, .controller = 7};
const std::string words = "4AC5F4C4  part 12: Control Change, channel 1, controller 7  ";

/// Commands to machines on the embedded service, in real time. There is a folder for locks.
class SetCommand : public testing::Test {
protected:
    SetCommand() {
        std::string pattern = "/tmp/set-command-XXXXXX";
        folder_ = mkdtemp(pattern.data());
        setenv("XDG_RUNTIME_DIR", folder_.c_str(), 1);
    }
    ~SetCommand() override {
        for (const int client : {24, 25, 26})
            unlink((folder_ + "/keyloftctl-" + std::to_string(client) + ":0.lock").c_str());
        EXPECT_EQ(rmdir(folder_.c_str()), 0) << errno;
    }

    static Request set_request() { return {.command = Command::set, .mapping = mapping}; }

    StopSignals signals_; // before any thread
    Watchdog watchdog_{std::chrono::seconds(60)};
    std::string folder_;
    TestSystem system_;
};

TEST_F(SetCommand, SaysThatTheMachineHasConfirmed) {
    const EmbeddedMachine& machine = system_.add_machine(code);
    const CommandResult result = run_command(set_request(), system_);
    EXPECT_EQ(result.output, words + "confirmed (N ms)\n");
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.status, ExitStatus::done);
    EXPECT_EQ(machine.table().size(), 1U);
    EXPECT_TRUE(machine.saved_table().empty());
}

TEST_F(SetCommand, SavesOnceTheMappingIsConfirmed) {
    const EmbeddedMachine& machine = system_.add_machine(code);
    Request request = set_request();
    request.save = true;
    const CommandResult result = run_command(request, system_);
    EXPECT_EQ(result.output, words + "confirmed (N ms)\n4AC5F4C4  save  confirmed (N ms)\n");
    EXPECT_EQ(result.status, ExitStatus::done);
    EXPECT_EQ(machine.saved_table().size(), 1U);
}

TEST_F(SetCommand, SavesNothingWhenTheMappingIsNotConfirmed) {
    const EmbeddedMachine& machine = system_.add_machine(code, {.silent = MachineFaults::always});
    Request request = set_request();
    request.save = true;
    const CommandResult result = run_command(request, system_);
    EXPECT_EQ(result.output, words + "unconfirmed: sent twice, and no echo came\n");
    EXPECT_EQ(result.errors,
              "keyloftctl: nothing is saved, because the mapping is not confirmed\n");
    EXPECT_EQ(result.status, ExitStatus::unconfirmed);
    EXPECT_TRUE(machine.saved_table().empty());
}

TEST_F(SetCommand, SaysWhichAttemptWasConfirmed) {
    system_.add_machine(code, {.silent = 1});
    const CommandResult result = run_command(set_request(), system_);
    EXPECT_EQ(result.output, words + "confirmed (second attempt, N ms)\n");
    EXPECT_EQ(result.status, ExitStatus::done);
}

TEST_F(SetCommand, ShowsWhatCameInsteadOfTheEcho) {
    system_.add_machine(code, {.wrong = MachineFaults::always, .wrong_byte = 3});
    const CommandResult result = run_command(set_request(), system_);
    EXPECT_EQ(result.output,
              words + "unconfirmed: sent twice, and B0 07 0D came back instead of B0 07 0C\n");
    EXPECT_EQ(result.status, ExitStatus::unconfirmed);
}

TEST_F(SetCommand, IsNotFooledByALoop) {
    MIDIObjectRef loop = 0;
    loop = system_.attach({.name = "4AC5F4C4 MIDI 1"}, [&](std::span<const std::uint8_t> bytes) {
        system_.backend().emit(loop, bytes, std::chrono::milliseconds(1));
    });
    const CommandResult result = run_command(set_request(), system_);
    EXPECT_EQ(result.output, words + "unconfirmed: sent, and everything came back; something "
                                     "returns whatever it is sent, such as a loop-back cable or a "
                                     "through port\n");
    EXPECT_EQ(result.status, ExitStatus::unconfirmed);
    Request request = set_request();
    request.json = true;
    EXPECT_THAT(run_command(request, system_).output,
                HasSubstr("\"result\":\"unconfirmed\",\"reason\":\"everything_came_back\""));
}

TEST_F(SetCommand, SaysWhyNothingWasSent) {
    system_.attach({.name = "4AC5F4C4 MIDI 1", .send_status = -EBUSY});
    const CommandResult result = run_command(set_request(), system_);
    EXPECT_EQ(result.output, words + "not sent: Device or resource busy\n");
    EXPECT_EQ(result.status, ExitStatus::unconfirmed);
    Request request = set_request();
    request.json = true;
    EXPECT_THAT(run_command(request, system_).output,
                HasSubstr("\"result\":\"not_sent\",\"reason\":\"failed\",\"error\":" +
                          std::to_string(EBUSY)));
}

TEST_F(SetCommand, SaysThatTheMachineHasGone) {
    system_.add_machine(code, {.vanish_after = 3});
    EXPECT_EQ(run_command(set_request(), system_).output,
              words + "not sent: the machine is gone\n");
}

TEST_F(SetCommand, SaysThatTheMachineWentBehindTheMessage) {
    system_.add_machine(code, {.vanish_after = 9});
    EXPECT_EQ(run_command(set_request(), system_).output,
              words + "unconfirmed: sent, and no echo came; then the machine is gone\n");
}

TEST_F(SetCommand, RefusesToGuessAMachine) {
    CommandResult result = run_command(set_request(), system_);
    EXPECT_EQ(result.errors, "keyloftctl: no machine of the family is there; \"keyloftctl doctor\" "
                             "says what is\n");
    EXPECT_EQ(result.status, ExitStatus::no_machine);
    system_.add_machine(code);
    system_.add_machine(0x4ACFF4C4);
    result = run_command(set_request(), system_);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "keyloftctl: several machines are there, name one with -m: 4AC5F4C4 "
                             "(24:0), 4ACFF4C4 (25:0)\n");
    EXPECT_EQ(result.status, ExitStatus::no_machine);
}

TEST_F(SetCommand, TakesTheMachineThatIsNamed) {
    const EmbeddedMachine& other = system_.add_machine(0x4ACFF4C4);
    const EmbeddedMachine& named = system_.add_machine(code);
    Request request = set_request();
    request.machine = MachineChoice{.code = code};
    EXPECT_EQ(run_command(request, system_).status, ExitStatus::done);
    EXPECT_EQ(named.table().size(), 1U);
    EXPECT_TRUE(other.received().empty());
    request.machine = MachineChoice{.code = 0x4AC0F4C4};
    const CommandResult result = run_command(request, system_);
    EXPECT_EQ(result.errors,
              "keyloftctl: 4AC0F4C4 is not there; \"keyloftctl doctor\" says what is\n");
    EXPECT_EQ(result.status, ExitStatus::no_machine);
}

TEST_F(SetCommand, NamesBothPortsOfTwins) {
    system_.add_machine(code);
    const EmbeddedMachine& second = system_.add_machine(code);
    const CommandResult result = run_command(set_request(), system_);
    EXPECT_EQ(result.errors,
              "keyloftctl: 4AC5F4C4 cannot be set up: several ports with its name can be sent to: "
              "two machines have one code (24:0, 25:0); name the one to send to, such as -m "
              "4AC5F4C4@24:0\n");
    EXPECT_EQ(result.status, ExitStatus::no_machine);
    Request request = set_request();
    request.machine = MachineChoice{.code = code, .port = setup::PortAddress{25, 0}};
    EXPECT_EQ(run_command(request, system_).output, words + "confirmed (N ms)\n");
    EXPECT_EQ(second.table().size(), 1U);
}

TEST_F(SetCommand, SaysThatTheNamedPortIsNotThere) {
    system_.add_machine(code);
    Request request = set_request();
    request.machine = MachineChoice{.code = code, .port = setup::PortAddress{99, 0}};
    const CommandResult result = run_command(request, system_);
    EXPECT_EQ(result.errors, "keyloftctl: 99:0: there is no such port that can be sent to\n");
    EXPECT_EQ(result.status, ExitStatus::no_machine);
}

TEST_F(SetCommand, SaysWhatElseStandsInTheWay) {
    system_.attach({.name = "4AC5F4C4 in", .is_destination = false});
    CommandResult result = run_command(set_request(), system_);
    EXPECT_EQ(result.errors, "keyloftctl: 4AC5F4C4 cannot be set up: it can be heard, but has no "
                             "port to send to\n");
    system_.attach({.name = "4AC5F4C4 out", .offline = 1, .is_source = false});
    result = run_command(set_request(), system_);
    EXPECT_EQ(result.errors, "keyloftctl: 4AC5F4C4 cannot be set up: it is offline\n");
    EXPECT_EQ(result.status, ExitStatus::no_machine);
}

TEST_F(SetCommand, SaysWhatIsWrongWithTheSequencer) {
    system_.trouble_ = SystemTrouble{"there is none", "get one"};
    for (const Command command : {Command::set, Command::save, Command::list, Command::watch}) {
        const CommandResult result = run_command({.command = command, .mapping = mapping}, system_);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors, "keyloftctl: there is none; get one\n");
        EXPECT_EQ(result.status, ExitStatus::no_sequencer);
    }
}

TEST_F(SetCommand, NamesTheWindowAndWhoHearsTheEcho) {
    system_.add_machine(code);
    system_.clients_ = {{.name = "MIDI Client", .program = "keyloft", .pid = 12},
                        {.name = "MIDI Client", .program = "synth", .pid = 13},
                        {.name = "MIDI Client"}};
    system_.connections_.readers = {{.name = "aseqdump", .pid = 14}};
    const CommandResult result = run_command(set_request(), system_);
    EXPECT_EQ(result.errors,
              "keyloftctl: keyloft is open (process 12): what is set there at the same moment may "
              "get mixed up with this\n"
              "keyloftctl: \"aseqdump\" (process 14) is connected to 4AC5F4C4 and hears its echo, "
              "too\n");
    EXPECT_EQ(result.status, ExitStatus::done);
}

TEST_F(SetCommand, SendsNothingWhileAnotherProcessHasTheLock) {
    const EmbeddedMachine& machine = system_.add_machine(code);
    {
        const LockHolder other(folder_, "24:0");
        const CommandResult result = run_command(set_request(), system_);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors, "keyloftctl: 24:0 is in use by another keyloftctl (process " +
                                     std::to_string(other.process()) + ")\n");
        EXPECT_EQ(result.status, ExitStatus::no_machine);
        EXPECT_TRUE(machine.received().empty());
    }
    EXPECT_EQ(run_command(set_request(), system_).status, ExitStatus::done);
}

TEST_F(SetCommand, WarnsWhereThereCanBeNoLock) {
    system_.add_machine(code);
    unsetenv("XDG_RUNTIME_DIR");
    EXPECT_EQ(run_command(set_request(), system_).errors,
              "keyloftctl: XDG_RUNTIME_DIR is not set, so nothing keeps a second keyloftctl from "
              "sending meanwhile\n");
    setenv("XDG_RUNTIME_DIR", (folder_ + "/missing").c_str(), 1);
    const CommandResult result = run_command(set_request(), system_);
    EXPECT_EQ(result.errors, "keyloftctl: no lock can be made in " + folder_ +
                                 "/missing (No such file or directory), so nothing keeps a second "
                                 "keyloftctl from sending meanwhile\n");
    EXPECT_EQ(result.status, ExitStatus::done);
}

TEST_F(SetCommand, NeedsNoLockForSimulatedMachines) {
    system_.add_machine(code);
    system_.demo = true;
    unsetenv("XDG_RUNTIME_DIR");
    EXPECT_EQ(run_command(set_request(), system_).errors, "");
}

/// Lets a machine tell the program to end while it gets a message.
class StoppedSetCommand : public SetCommand {
protected:
    /// The `count`-th call of this sends the signal.
    void signal_at(unsigned count) {
        system_.attach({.name = "4AC5F4C4 MIDI 1"},
                       [this, count](std::span<const std::uint8_t> bytes) {
                           received_.insert(received_.end(), bytes.begin(), bytes.end());
                           if (++calls_ == count)
                               kill(getpid(), SIGTERM);
                       });
    }

    unsigned calls_ = 0;
    std::vector<std::uint8_t> received_;
};

TEST_F(StoppedSetCommand, EndsTheSequenceAndMakesNoSecondAttempt) {
    signal_at(1);
    const CommandResult result = run_command(set_request(), system_, &signals_);
    EXPECT_EQ(result.output,
              words + "unconfirmed: sent once because it was stopped, and no echo came\n");
    EXPECT_EQ(result.stopped_by, SIGTERM);
    EXPECT_EQ(received_, sequence(0xB0, 7, 12));
}

TEST_F(StoppedSetCommand, SendsNothingWhenTheSignalComesFirst) {
    signal_at(0);
    kill(getpid(), SIGINT);
    const CommandResult result = run_command(set_request(), system_, &signals_);
    EXPECT_EQ(result.output, words + "not sent: stopped before\n");
    EXPECT_EQ(result.stopped_by, SIGINT);
    kill(getpid(), SIGINT);
    Request request = set_request();
    request.json = true;
    EXPECT_THAT(run_command(request, system_, &signals_).output,
                HasSubstr("\"result\":\"not_sent\",\"reason\":\"stopped\""));
    EXPECT_TRUE(received_.empty());
}

TEST_F(StoppedSetCommand, SavesNothingBehindAConfirmedMapping) {
    MIDIObjectRef machine = 0;
    machine = system_.attach({.name = "4AC5F4C4 MIDI 1"}, [&](std::span<const std::uint8_t> bytes) {
        ++calls_;
        if (bytes[0] == 0xB0) {
            system_.backend().emit(machine, bytes, std::chrono::milliseconds(1));
            kill(getpid(), SIGTERM);
        }
    });
    Request request = set_request();
    request.save = true;
    const CommandResult result = run_command(request, system_, &signals_);
    EXPECT_EQ(result.output,
              words + "confirmed (N ms)\n4AC5F4C4  save  not sent: stopped before\n");
    EXPECT_EQ(result.status, ExitStatus::unconfirmed);
    EXPECT_EQ(result.stopped_by, SIGTERM);
    EXPECT_EQ(calls_, 5U);
}

} // namespace
