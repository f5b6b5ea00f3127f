// SPDX-License-Identifier: MIT
#include "tests/setup/exchange_world.h"

#include <gtest/gtest.h>

using protocol::Message;
using setup::Outcome;
using setup::Pace;
using setup::Result;
using std::chrono::microseconds;
using std::chrono::milliseconds;

namespace {

ExchangeWorld looped(microseconds delay) {
    ExchangeWorld world;
    world.loop = delay;
    return world;
}

} // namespace

TEST(ExchangeLoop, ThatBringsEverythingBackAtOnceConfirmsNothing) {
    for (const Message& message : kinds_of_message) {
        ExchangeWorld world = looped(microseconds(30));
        const Outcome outcome = world.run(message);
        EXPECT_EQ(outcome.result, Result::unconfirmed) << hex(message);
        EXPECT_TRUE(outcome.everything_came_back) << hex(message);
        EXPECT_FALSE(outcome.instead) << hex(message);
        EXPECT_FALSE(outcome.stopped) << hex(message);
        EXPECT_EQ(outcome.attempts, 1U) << hex(message);
        EXPECT_EQ(outcome.took, milliseconds(11)) << hex(message);
    }
}

TEST(ExchangeLoop, IsNeverTakenForAMachineHoweverSlowItIs) {
    for (const Message& message : kinds_of_message) {
        for (int step = 1; step < 4 * 650; ++step) {
            const auto delay = microseconds(250 * step);
            ExchangeWorld world = looped(delay);
            const Outcome outcome = world.run(message);
            ASSERT_EQ(outcome.result, Result::unconfirmed) << hex(message) << " " << delay.count();
            // So late that the message comes back when the first window is over.
            if (delay <= milliseconds(300)) {
                ASSERT_TRUE(outcome.everything_came_back) << hex(message) << " " << delay.count();
                ASSERT_EQ(outcome.attempts, 1U) << hex(message) << " " << delay.count();
            }
        }
    }
}

// Nor does what is still on its way from the exchange before confirm the same message.
TEST(ExchangeLoop, IsNotTakenForAMachineInALaterExchangeEither) {
    for (const Message& message : kinds_of_message) {
        for (int step = 1; step < 2 * 1300; ++step) {
            ExchangeWorld world = looped(microseconds(500 * step));
            for (int i = 0; i < 3; ++i)
                ASSERT_EQ(world.run(message).result, Result::unconfirmed)
                    << hex(message) << " " << step << " " << i;
        }
    }
}

// Interfaces filter clocks. Only of a note on nothing but the clocks in front would then tell the
// slow loop from the machine.
TEST(ExchangeLoop, ThatSwallowsTheClocksConfirmsNothing) {
    for (const Message& message : kinds_of_message) {
        const bool is_note_on = (message[0] & 0xF0) == 0x90;
        for (int step = 1; step <= (is_note_on ? 6 : 650) * 4; ++step) {
            ExchangeWorld world = looped(microseconds(250 * step));
            world.loop_passes_clocks = false;
            ASSERT_EQ(world.run(message).result, Result::unconfirmed)
                << hex(message) << " " << step;
        }
    }
}

TEST(ExchangeLoop, WaitsItsWholeTimeWhenGentle) {
    ExchangeWorld world = looped(milliseconds(1));
    const Outcome outcome = world.run({0xB0, 7, 12}, Pace::gentle);
    EXPECT_TRUE(outcome.everything_came_back);
    EXPECT_EQ(outcome.took, milliseconds(311));
}

// Six clocks, more than a machine sends in such a time, make the echo of a note on doubtful: then
// the note off of the pair is waited for.
TEST(ExchangeLoop, NoteOnBehindClocksIsConfirmedWhenNoNoteOffFollows) {
    const Message note_on = {0x90, 7, 12};
    for (const bool is_followed : {false, true}) {
        ExchangeWorld world;
        for (int i = 0; i < 6; ++i)
            world.arrives(ms(3), {0xF8});
        if (is_followed)
            world.arrives(ms(311), {0x80, 7, 12});
        const Outcome outcome = world.run(note_on);
        EXPECT_EQ(outcome.result, is_followed ? Result::unconfirmed : Result::confirmed);
        EXPECT_EQ(outcome.everything_came_back, is_followed);
        EXPECT_EQ(outcome.took, milliseconds(311));
    }
    ExchangeWorld slow{{.slow = 1, .delay_ms = 300}};
    for (int i = 0; i < 6; ++i)
        slow.arrives(ms(200), {0xF8});
    EXPECT_EQ(slow.run(note_on).took, milliseconds(608));
    ExchangeWorld world;
    for (int i = 0; i < 5; ++i)
        world.arrives(ms(3), {0xF8});
    const Outcome outcome = world.run(note_on);
    EXPECT_EQ(outcome.result, Result::confirmed);
    EXPECT_EQ(outcome.took, milliseconds(11));
}

TEST(ExchangeLoop, ClocksOfTheMachineDelayNothingElse) {
    for (const Message& message : kinds_of_message) {
        if ((message[0] & 0xF0) == 0x90)
            continue;
        ExchangeWorld world;
        for (int i = 0; i < 20; ++i)
            world.arrives(ms(3), {0xF8});
        EXPECT_EQ(world.run(message).took, milliseconds(11)) << hex(message);
    }
}

// The pair alone is not everything: a machine may pass notes on and not answer.
TEST(ExchangeLoop, PairWithoutTheMessageIsNoLoop) {
    ExchangeWorld world{{.silent = MachineFaults::always}};
    world.arrives(ms(4), {0x90, 7, 12});
    world.arrives(ms(6), {0x80, 7, 12});
    const Outcome outcome = world.run({0xB0, 7, 12});
    EXPECT_EQ(outcome.result, Result::unconfirmed);
    EXPECT_FALSE(outcome.everything_came_back);
    EXPECT_FALSE(outcome.instead);
    EXPECT_EQ(outcome.attempts, 2U);
}

TEST(ExchangeLoop, HalfAPairOrAnotherOneIsNone) {
    const std::vector<std::vector<Bytes>> heard = {{{0x90, 7, 12}},
                                                   {{0x80, 7, 12}},
                                                   {{0x80, 7, 12}, {0x90, 7, 12}},
                                                   {{0x91, 7, 12}, {0x81, 7, 12}},
                                                   {{0x90, 7, 13}, {0x80, 7, 13}}};
    for (const auto& messages : heard) {
        ExchangeWorld world;
        for (const Bytes& bytes : messages)
            world.arrives(ms(6), bytes);
        EXPECT_EQ(world.run({0xB0, 7, 12}).result, Result::confirmed);
    }
}

// What the exchange before caused, say.
TEST(ExchangeLoop, WhatCameBeforeTheStartIsNoPartOfIt) {
    ExchangeWorld world;
    for (int i = 0; i < 6; ++i)
        world.arrives(ms(1), {0xF8});
    world.arrives(ms(1), {0x90, 7, 12});
    world.arrives(ms(1), {0x80, 7, 12});
    EXPECT_EQ(world.run({0x90, 7, 12}).result, Result::confirmed);
    EXPECT_EQ(world.now, ms(11));
}
