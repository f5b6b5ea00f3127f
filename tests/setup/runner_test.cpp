// SPDX-License-Identifier: MIT
#include "setup/runner.h"
#include "simulation/embedded_connection.h"
#include "tests/setup/exchange_world.h"
#include "tests/setup/virtual_place.h"

#include "protocol/device_code.h"

#include <algorithm>
#include <cerrno>
#include <map>
#include <memory>
#include <random>

#include <gtest/gtest.h>

using protocol::Message;
using setup::Client;
using setup::MachineLine;
using setup::Outcome;
using setup::Pace;
using setup::Report;
using setup::Result;
using setup::Runner;
using setup::Time;
using std::chrono::microseconds;
using std::chrono::milliseconds;

namespace {

constexpr Time start{};

/// A message of its own for each number and machine.
Message message_of(std::size_t machine, std::size_t number) {
    constexpr std::array<unsigned, 4> types = {0x90, 0x80, 0xB0, 0xE0};
    return {static_cast<std::uint8_t>(types.at(number % 4) | machine),
            static_cast<std::uint8_t>((number + machine) % 128), static_cast<std::uint8_t>(number)};
}

protocol::KeyMapping mapping_of(std::size_t machine, std::size_t number) {
    return *protocol::mapping_of(message_of(machine, number));
}

struct Done {
    std::size_t machine;
    std::size_t number;
    Message message;
    Outcome outcome;
};

/// Machines on the embedded service, a line to each, and a runner over virtual time.
class RunnerTest : public testing::Test {
protected:
    void add_machine(MachineFaults faults = {}) {
        const auto number = static_cast<std::uint32_t>(machines.size());
        machines.push_back(std::make_unique<EmbeddedMachine>(
            place.service, protocol::family_code(number), faults));
        lines.push_back(std::make_unique<MachineLine>(
            client, VirtualPlace::target(machines.back()->reference(), number)));
    }

    void add_messages(std::size_t machine, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i)
            runner.add(*lines.at(machine), message_of(machine, i));
    }

    [[nodiscard]] std::vector<Done> of_machine(std::size_t machine) const {
        std::vector<Done> own;
        std::ranges::copy_if(done, std::back_inserter(own),
                             [machine](const Done& one) { return one.machine == machine; });
        return own;
    }

    void expect_table(std::size_t machine, std::size_t count) const {
        MappingTable expected;
        for (std::size_t i = 0; i < count; ++i)
            expected.insert(mapping_of(machine, i));
        EXPECT_EQ(machines.at(machine)->table(), expected) << machine;
    }

    void wait(Time until) {
        if (at_wait)
            at_wait(until);
        place.wait(client, until);
    }

    void take(const Report& report) {
        done.push_back({report.line.target().code, report.number, report.message, report.outcome});
        if (at_result)
            at_result(report);
    }

    VirtualPlace place;
    Client client = place.open_client();
    std::vector<std::unique_ptr<EmbeddedMachine>> machines;
    std::vector<std::unique_ptr<MachineLine>> lines;
    std::vector<Done> done;
    std::function<void(Time)> at_wait;
    std::function<void(const Report&)> at_result;
    Pace pace = Pace::brisk;
    Runner runner{client, [this](Time until) { wait(until); },
                  [this](const Report& report) { take(report); }};
};

} // namespace

TEST_F(RunnerTest, WithoutMessagesThereIsNothingToDo) {
    runner.run();
    add_machine();
    runner.run();
    EXPECT_TRUE(done.empty());
    EXPECT_FALSE(runner.step());
    EXPECT_EQ(place.now(), start);
}

TEST_F(RunnerTest, OneMachineTakesThePausesOfItsSequencesAndNoMore) {
    add_machine();
    add_messages(0, 128);
    runner.run();
    EXPECT_EQ(place.now(), start + milliseconds(128 * 11));
    ASSERT_EQ(done.size(), 128U);
    Bytes expected;
    for (std::size_t i = 0; i < done.size(); ++i) {
        EXPECT_EQ(done[i].number, i);
        EXPECT_EQ(done[i].message, message_of(0, i));
        EXPECT_EQ(done[i].outcome.result, Result::confirmed);
        EXPECT_EQ(done[i].outcome.took, milliseconds(11));
        EXPECT_EQ(done[i].outcome.echo_after, milliseconds(1));
        const Message message = message_of(0, i);
        const Bytes bytes = sequence(message[0], message[1], message[2]);
        expected.insert(expected.end(), bytes.begin(), bytes.end());
    }
    EXPECT_EQ(machines[0]->received(), expected);
    expect_table(0, 128);
}

// Of the six waits of a message the last one's lateness falls into the pause in front of the next.
TEST_F(RunnerTest, LateWaitAtTheEndOfAMessageIsNotAddedToTheNext) {
    add_machine();
    const auto late = microseconds(300);
    Runner late_runner{client,
                       [&](Time until) {
                           wait(until);
                           place.service.advance(late);
                       },
                       [this](const Report& report) { take(report); }};
    for (std::size_t i = 0; i < 10; ++i)
        late_runner.add(*lines[0], message_of(0, i));
    late_runner.run();
    EXPECT_EQ(place.now(), start + 10 * (milliseconds(11) + 5 * late) + late);
    expect_table(0, 10);
}

TEST_F(RunnerTest, SixteenMachinesTakeNoLongerThanOne) {
    for (std::size_t machine = 0; machine < 16; ++machine) {
        add_machine();
        add_messages(machine, 128);
    }
    runner.run();
    EXPECT_EQ(place.now(), start + milliseconds(128 * 11));
    EXPECT_EQ(done.size(), 16U * 128U);
    for (std::size_t machine = 0; machine < 16; ++machine)
        expect_table(machine, 128);
}

TEST_F(RunnerTest, NoMachineWaitsForTheSilenceOfAnother) {
    add_machine({.silent = MachineFaults::always});
    add_machine();
    add_machine({.silent = 1});
    for (std::size_t machine = 0; machine < 3; ++machine)
        add_messages(machine, 10);
    runner.run();
    for (std::size_t i = 0; i < 10; ++i) {
        const auto count = static_cast<int>(i + 1);
        EXPECT_EQ(of_machine(0)[i].outcome.ended, start + milliseconds(622 * count));
        EXPECT_EQ(of_machine(0)[i].outcome.result, Result::unconfirmed);
        EXPECT_EQ(of_machine(1)[i].outcome.ended, start + milliseconds(11 * count));
        EXPECT_EQ(of_machine(1)[i].outcome.result, Result::confirmed);
        EXPECT_EQ(of_machine(2)[i].outcome.ended, start + milliseconds(311 + 11 * count));
        EXPECT_EQ(of_machine(2)[i].outcome.attempts, i == 0 ? 2U : 1U);
    }
    EXPECT_TRUE(
        std::ranges::is_sorted(done, {}, [](const Done& one) { return one.outcome.ended; }));
}

TEST_F(RunnerTest, EchoOfAnotherMachineConfirmsNothing) {
    add_machine({.silent = MachineFaults::always});
    add_machine();
    runner.add(*lines[0], {0xB0, 7, 12});
    runner.add(*lines[1], {0xB0, 7, 12});
    runner.run();
    EXPECT_EQ(of_machine(0).at(0).outcome.result, Result::unconfirmed);
    EXPECT_FALSE(of_machine(0).at(0).outcome.instead);
    EXPECT_EQ(of_machine(1).at(0).outcome.result, Result::confirmed);
}

// An echo that comes behind the end of its exchange is not taken for one of the next.
TEST_F(RunnerTest, EchoOfTheMessageBeforeConfirmsNothing) {
    add_machine({.slow = MachineFaults::always, .delay_ms = 620});
    runner.add(*lines[0], {0xB0, 7, 12});
    runner.add(*lines[0], {0xB0, 8, 12});
    runner.run();
    ASSERT_EQ(done.size(), 2U);
    for (const Done& one : done)
        EXPECT_EQ(one.outcome.result, Result::unconfirmed);
    EXPECT_EQ(place.now(), start + milliseconds(2 * 622));
}

TEST_F(RunnerTest, RestOfAMachineThatGoesIsNotSentAndTheOthersGoOn) {
    for (std::size_t machine = 0; machine < 3; ++machine) {
        add_machine();
        add_messages(machine, 20);
    }
    // In the middle of the fifth sequence, between note on and note off.
    at_wait = [this](Time) {
        if (place.now() >= start + milliseconds(4 * 11 + 3))
            machines[1]->unplug();
    };
    runner.run();
    EXPECT_EQ(place.now(), start + milliseconds(20 * 11));
    for (const std::size_t machine : {0U, 2U}) {
        expect_table(machine, 20);
        EXPECT_EQ(of_machine(machine).size(), 20U);
    }
    const std::vector<Done> gone = of_machine(1);
    ASSERT_EQ(gone.size(), 20U);
    for (std::size_t i = 0; i < gone.size(); ++i) {
        EXPECT_EQ(gone[i].number, i);
        EXPECT_EQ(gone[i].outcome.result, i < 4 ? Result::confirmed : Result::not_sent) << i;
        EXPECT_EQ(gone[i].outcome.status, i < 4 ? 0 : -ENODEV) << i;
        // Found out at the next send, and then for all at once.
        EXPECT_EQ(gone[i].outcome.ended,
                  start + milliseconds(i < 4 ? 11 * static_cast<int>(i + 1) : 4 * 11 + 5));
    }
}

TEST_F(RunnerTest, LineThatDidNotOpenSendsNothing) {
    add_machine();
    const MIDIObjectRef gone = machines[0]->reference();
    machines[0]->unplug();
    MachineLine line{client, VirtualPlace::target(gone)};
    runner.add(line, {0xB0, 7, 12});
    runner.add(line, {0xB0, 7, 13});
    runner.run();
    ASSERT_EQ(done.size(), 2U);
    for (const Done& one : done) {
        EXPECT_EQ(one.outcome.result, Result::not_sent);
        EXPECT_EQ(one.outcome.status, -ENODEV);
        EXPECT_EQ(one.outcome.attempts, 0U);
    }
}

TEST_F(RunnerTest, GentleWaitsBehindEachMessage) {
    add_machine();
    Runner gentle{client, [this](Time until) { wait(until); },
                  [this](const Report& report) { take(report); }, Pace::gentle};
    for (std::size_t i = 0; i < 3; ++i)
        gentle.add(*lines[0], message_of(0, i));
    gentle.run();
    EXPECT_EQ(place.now(), start + milliseconds(3 * 311));
    expect_table(0, 3);
}

// As a program does it that saves when all is confirmed, or finds another machine meanwhile.
TEST_F(RunnerTest, ResultMayAddMessagesAndLines) {
    add_machine();
    add_messages(0, 2);
    at_result = [this](const Report& report) {
        if (report.message == message_of(0, 1))
            runner.add(report.line, protocol::save_command);
        if (report.message != protocol::save_command || machines.size() > 1)
            return;
        for (int i = 0; i < 8; ++i) {
            add_machine();
            add_messages(machines.size() - 1, 1);
        }
    };
    runner.run();
    EXPECT_EQ(done.size(), 11U);
    EXPECT_EQ(of_machine(0).at(2).message, protocol::save_command);
    EXPECT_EQ(of_machine(0).at(2).outcome.result, Result::confirmed);
    EXPECT_EQ(machines[0]->saved_table(), machines[0]->table());
    EXPECT_EQ(place.now(), start + milliseconds(4 * 11));
    for (std::size_t machine = 1; machine <= 8; ++machine)
        expect_table(machine, 1);
}

TEST_F(RunnerTest, LaterRunBeginsWithItsOwnTime) {
    add_machine();
    add_messages(0, 1);
    runner.run();
    place.service.advance(std::chrono::seconds(5));
    const Time begun = place.now();
    runner.add(*lines[0], message_of(0, 1));
    runner.run();
    EXPECT_EQ(done.at(1).number, 1U);
    EXPECT_EQ(done.at(1).outcome.took, milliseconds(11));
    EXPECT_EQ(place.now(), begun + milliseconds(11));
}

TEST_F(RunnerTest, StepsOfALoopOfTheCallersOwn) {
    add_machine();
    add_messages(0, 2);
    int steps = 0;
    while (const auto until = runner.step()) {
        EXPECT_GT(*until, place.now());
        place.wait(client, *until);
        ++steps;
    }
    EXPECT_EQ(done.size(), 2U);
    EXPECT_LE(steps, 14); // five sends, an echo and an end each
}

// At every moment: what has begun ends, nothing new begins, and all is reported.
TEST_F(RunnerTest, StopEndsWhatHasBegun) {
    for (int half_ms = 0; half_ms < 100; ++half_ms) {
        SCOPED_TRACE(half_ms / 2.0);
        const Time begun = place.now();
        const Time stop_at = begun + microseconds(500 * half_ms);
        const std::size_t first = machines.size();
        add_machine();
        add_machine({.silent = MachineFaults::always});
        Runner stopped{client,
                       [&](Time until) {
                           if (place.now() >= stop_at)
                               stopped.stop();
                           wait(std::min(until, std::max(stop_at, place.now())));
                           if (place.now() >= stop_at)
                               wait(until);
                       },
                       [this](const Report& report) { take(report); }};
        done.clear();
        for (std::size_t i = 0; i < 5; ++i) {
            stopped.add(*lines[first], message_of(first % 16, i));
            stopped.add(*lines[first + 1], message_of(first % 16, i));
        }
        stopped.run();
        ASSERT_EQ(done.size(), 10U);
        for (const std::size_t machine : {first, first + 1}) {
            const std::vector<Done> own = of_machine(machine);
            const auto sent = std::ranges::count_if(
                own, [](const Done& one) { return one.outcome.result != Result::not_sent; });
            // Whole sequences only, one for each message that was sent.
            EXPECT_EQ(machines[machine]->received().size(), 16U * static_cast<std::size_t>(sent));
            for (std::size_t i = 0; i < own.size(); ++i) {
                EXPECT_EQ(own[i].number, i);
                EXPECT_EQ(own[i].outcome.status,
                          i < static_cast<std::size_t>(sent) ? 0 : -ECANCELED);
            }
            EXPECT_EQ(own[0].outcome.stopped, machine != first && sent == 1);
        }
        EXPECT_LE(place.now(), std::max(stop_at, begun) + milliseconds(311));
        if (HasFailure())
            return;
    }
}

namespace {

MachineFaults random_faults(std::mt19937& random) {
    const auto below = [&random](unsigned end) {
        return std::uniform_int_distribution<unsigned>(0, end - 1)(random);
    };
    return {.silent = below(3),
            .slow = below(5),
            .delay_ms = below(700),
            .wrong = below(3),
            .wrong_byte = 1 + below(3),
            .chatter = below(5),
            .vanish_after = below(4) == 0 ? 1 + below(80) : 0};
}

/// Judges a result by whether the machine has the mapping in the end.
void expect_truth(Result result, bool is_held, const MachineFaults& faults) {
    const bool is_faulty = faults.silent + faults.slow + faults.wrong + faults.vanish_after > 0;
    if (is_held) {
        EXPECT_NE(result, Result::not_sent);
        EXPECT_TRUE(result == Result::confirmed || is_faulty);
    } else {
        EXPECT_NE(result, Result::confirmed);
    }
}

} // namespace

// Every message has a part of its own, so that the tables tell in the end what was taken.
TEST_F(RunnerTest, SaysTheTruthOfEachMessageWhateverItsMachineDoes) {
    std::array<int, 3> results{};
    for (unsigned seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random{seed};
        const std::size_t first = machines.size();
        std::vector<MachineFaults> faults;
        for (std::size_t i = 0; i < 4; ++i) {
            faults.push_back(random_faults(random));
            add_machine(faults.back());
            for (std::size_t number = 0; number < 6; ++number)
                runner.add(*lines[first + i], message_of(i, number));
        }
        done.clear();
        runner.run();
        for (std::size_t i = 0; i < 4; ++i) {
            const MappingTable table = machines[first + i]->table();
            const std::vector<Done> own = of_machine(first + i);
            ASSERT_EQ(own.size(), 6U);
            for (std::size_t number = 0; number < own.size(); ++number) {
                EXPECT_EQ(own[number].number, number);
                expect_truth(own[number].outcome.result, table.contains(mapping_of(i, number)),
                             faults[i]);
                ++results.at(static_cast<std::size_t>(own[number].outcome.result));
            }
        }
        if (HasFailure())
            return;
    }
    for (const int count : results)
        EXPECT_GT(count, 20);
}

TEST_F(RunnerTest, ALineInThePlaceOfARemovedOneStartsAnew) {
    EmbeddedMachine machine(place.service, protocol::family_code(0));
    std::optional<MachineLine> line;
    line.emplace(client, VirtualPlace::target(machine.reference()));
    machine.unplug();
    runner.add(*line, message_of(0, 0));
    runner.run();
    runner.remove(*line);
    machine.plug();
    line.emplace(client, VirtualPlace::target(machine.reference()));
    runner.add(*line, message_of(0, 1));
    runner.run();
    ASSERT_EQ(done.size(), 2U);
    EXPECT_EQ(done[0].outcome.status, -ENODEV);
    EXPECT_EQ(done[1].outcome.result, Result::confirmed);
    EXPECT_EQ(done[1].number, 0U);
    runner.remove(*line); // it goes before the runner
}
