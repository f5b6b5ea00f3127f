// SPDX-License-Identifier: MIT
#include "tests/setup/exchange_world.h"

#include <cerrno>

#include <gtest/gtest.h>

using protocol::Message;
using setup::Exchange;
using setup::Outcome;
using setup::Pace;
using setup::Result;
using setup::Time;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;

namespace {

const Message message = {0xB0, 7, 12};

/// The five sends of one sequence that begins, pauses included, at a time.
std::vector<ExchangeWorld::Sent> sends(double begin) {
    const auto at = [begin](double after, Bytes bytes) {
        return ExchangeWorld::Sent{ms(begin + after), ms(begin + after), std::move(bytes), 0};
    };
    return {at(2, {0xF8, 0xF8, 0xF8, 0xF8, 0xF8, 0xF8}), at(3, {0x90, 7, 12}), at(5, {0x80, 7, 12}),
            at(7, {0xB0, 7, 12}), at(9, {0xF8})};
}

std::vector<ExchangeWorld::Sent> operator+(std::vector<ExchangeWorld::Sent> one,
                                           const std::vector<ExchangeWorld::Sent>& other) {
    one.insert(one.end(), other.begin(), other.end());
    return one;
}

Bytes all_bytes(const std::vector<ExchangeWorld::Sent>& sent) {
    Bytes bytes;
    for (const auto& send : sent)
        bytes.insert(bytes.end(), send.bytes.begin(), send.bytes.end());
    return bytes;
}

} // namespace

TEST(ExchangeSending, SequenceHasItsPausesAndEndsWithTheLastOfThem) {
    ExchangeWorld world;
    const Outcome outcome = world.run(message);
    EXPECT_EQ(world.sent, sends(0));
    EXPECT_EQ(outcome.result, Result::confirmed);
    EXPECT_EQ(outcome.attempts, 1U);
    EXPECT_EQ(outcome.took, milliseconds(11));
    EXPECT_EQ(outcome.ended, ms(11));
    EXPECT_EQ(outcome.echo_after, milliseconds(1));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_FALSE(outcome.instead);
    EXPECT_FALSE(outcome.stopped);
    EXPECT_FALSE(outcome.everything_came_back);
}

TEST(ExchangeSending, BytesAreThoseOfTheSequenceForEachKind) {
    for (const Message& kind : kinds_of_message) {
        ExchangeWorld world;
        EXPECT_EQ(world.run(kind).result, Result::confirmed) << hex(kind);
        EXPECT_EQ(all_bytes(world.sent), sequence(kind[0], kind[1], kind[2])) << hex(kind);
        EXPECT_TRUE(world.holds(kind)) << hex(kind);
    }
}

TEST(ExchangeSending, GentleWaitsTheWholeTimeBehindAConfirmedSequence) {
    ExchangeWorld world;
    const Outcome outcome = world.run(message, Pace::gentle);
    EXPECT_EQ(world.sent, sends(0));
    EXPECT_EQ(outcome.result, Result::confirmed);
    EXPECT_EQ(outcome.took, milliseconds(311));
    EXPECT_EQ(outcome.echo_after, milliseconds(1));
}

TEST(ExchangeSending, WithoutAnEchoTheSequenceGoesOnceMoreAndIsWaitedForAsLong) {
    for (const Pace pace : {Pace::brisk, Pace::gentle}) {
        ExchangeWorld world{{.silent = MachineFaults::always}};
        const Outcome outcome = world.run(message, pace);
        EXPECT_EQ(world.sent, sends(0) + sends(311));
        EXPECT_EQ(outcome.result, Result::unconfirmed);
        EXPECT_EQ(outcome.attempts, 2U);
        EXPECT_EQ(outcome.took, milliseconds(622));
        EXPECT_EQ(outcome.echo_after, milliseconds(0));
        EXPECT_FALSE(outcome.instead);
        EXPECT_TRUE(world.holds(message));
    }
}

TEST(ExchangeSending, NextExchangeBeginsWhereTheLastOneEnded) {
    ExchangeWorld world;
    Time start{};
    for (int i = 1; i <= 128; ++i) {
        world.now = start;
        const Outcome outcome = world.run(message);
        EXPECT_EQ(world.sent.front().at, start + milliseconds(2));
        EXPECT_EQ(outcome.ended, ms(11 * i));
        start = outcome.ended;
    }
}

// Pauses count from the end of a send, and a late call makes none of them shorter.
TEST(ExchangeSending, PausesAreNotShortenedBySlowSendsOrLateCalls) {
    ExchangeWorld world{{.silent = 1}};
    world.send_takes = [] { return nanoseconds(1'700'003); };
    world.is_late = [] { return nanoseconds(613'007); };
    const Outcome outcome = world.run(message);
    ASSERT_EQ(world.sent.size(), 10U);
    std::vector<nanoseconds> pauses;
    for (std::size_t i = 1; i < world.sent.size(); ++i)
        pauses.push_back(world.sent[i].at - world.sent[i - 1].returns);
    const auto late = nanoseconds(613'007);
    const std::vector<nanoseconds> expected = {milliseconds(1) + late, milliseconds(2) + late,
                                               milliseconds(2) + late, milliseconds(2) + late,
                                               milliseconds(304) + late};
    EXPECT_EQ((std::vector<nanoseconds>{pauses.begin(), pauses.begin() + 5}), expected);
    EXPECT_EQ(outcome.result, Result::confirmed);
    EXPECT_EQ(outcome.attempts, 2U);
    EXPECT_EQ(outcome.ended, world.sent.back().returns + milliseconds(2));
}

TEST(ExchangeSending, GivesNothingBeforeItIsDueNorUntilTheSendReturned) {
    Exchange exchange{message, ms(5)};
    EXPECT_EQ(exchange.due(), ms(7));
    EXPECT_TRUE(exchange.advance(ms(7) - nanoseconds(1)).empty());
    EXPECT_EQ(exchange.advance(ms(7)).size(), 6U);
    EXPECT_TRUE(exchange.advance(ms(100)).empty());
    exchange.sent(0, ms(101));
    EXPECT_EQ(exchange.due(), ms(102));
    EXPECT_TRUE(exchange.advance(ms(102) - nanoseconds(1)).empty());
    EXPECT_EQ(exchange.advance(ms(102)).size(), 3U);
}

// Up to the message a send that fails ends the exchange: nothing was set, and nothing follows.
TEST(ExchangeSending, SendThatFailsUpToTheMessageEndsItAsNotSent) {
    for (std::size_t failing = 0; failing < 4; ++failing) {
        ExchangeWorld world;
        world.send_status = [failing](std::size_t n) { return n == failing ? -EIO : 0; };
        const Outcome outcome = world.run(message);
        EXPECT_EQ(outcome.result, Result::not_sent) << failing;
        EXPECT_EQ(outcome.status, -EIO) << failing;
        EXPECT_EQ(outcome.attempts, 1U) << failing;
        EXPECT_EQ(outcome.ended, world.sent.back().returns) << failing;
        EXPECT_EQ(world.sent.size(), failing + 1);
        EXPECT_FALSE(world.holds(message)) << failing;
    }
}

TEST(ExchangeSending, IfTheClosingClockAloneFailsTheEchoDecides) {
    for (const bool is_silent : {false, true}) {
        ExchangeWorld world{{.silent = is_silent ? MachineFaults::always : 0}};
        world.send_status = [](std::size_t n) { return n % 5 == 4 ? -EAGAIN : 0; };
        const Outcome outcome = world.run(message);
        EXPECT_EQ(outcome.result, is_silent ? Result::unconfirmed : Result::confirmed);
        EXPECT_EQ(outcome.attempts, is_silent ? 2U : 1U);
        EXPECT_EQ(outcome.status, -EAGAIN);
        EXPECT_EQ(outcome.took, milliseconds(is_silent ? 622 : 11));
    }
}

// The message went out in the first attempt: it is not "not sent".
TEST(ExchangeSending, SendThatFailsInTheSecondAttemptLeavesItUnconfirmed) {
    for (std::size_t failing = 5; failing < 9; ++failing) {
        ExchangeWorld world{{.silent = MachineFaults::always}};
        world.send_status = [failing](std::size_t n) { return n == failing ? -EIO : 0; };
        const Outcome outcome = world.run(message);
        EXPECT_EQ(outcome.result, Result::unconfirmed) << failing;
        EXPECT_EQ(outcome.status, -EIO) << failing;
        EXPECT_EQ(outcome.attempts, 2U) << failing;
        EXPECT_EQ(world.sent.size(), failing + 1);
        EXPECT_FALSE(outcome.stopped) << failing;
    }
}

TEST(ExchangeSending, FirstFailureIsTheOneThatIsReported) {
    ExchangeWorld world{{.silent = MachineFaults::always}};
    world.send_status = [](std::size_t n) { return n == 4 ? -EAGAIN : n == 6 ? -ENODEV : 0; };
    EXPECT_EQ(world.run(message).status, -EAGAIN);
}

// At every moment: a sequence that has begun ends, its echo is waited for, nothing follows.
TEST(ExchangeSending, StopLetsTheSequenceEndAndItsEchoBeWaitedFor) {
    for (const bool is_silent : {false, true}) {
        for (int half_ms = 0; half_ms <= 2 * 640; ++half_ms) {
            const double at = half_ms / 2.0;
            ExchangeWorld world{{.silent = is_silent ? MachineFaults::always : 0}};
            world.stop_at = ms(at);
            const Outcome outcome = world.run(message);
            const bool is_begun = at > 2;
            const bool is_repeated = is_silent && at > 313;
            ASSERT_EQ(outcome.result, !is_begun   ? Result::not_sent
                                      : is_silent ? Result::unconfirmed
                                                  : Result::confirmed)
                << at;
            ASSERT_EQ(world.sent, !is_begun     ? std::vector<ExchangeWorld::Sent>{}
                                  : is_repeated ? sends(0) + sends(311)
                                                : sends(0))
                << at;
            ASSERT_EQ(outcome.status, is_begun ? 0 : -ECANCELED) << at;
            ASSERT_EQ(outcome.stopped, is_begun && is_silent && !is_repeated) << at;
            ASSERT_EQ(outcome.attempts, !is_begun ? 0U : is_repeated ? 2U : 1U) << at;
            ASSERT_EQ(outcome.took, milliseconds(!is_begun     ? 0
                                                 : is_repeated ? 622
                                                 : is_silent   ? 311
                                                               : 11))
                << at;
        }
    }
}

TEST(ExchangeSending, StopTwiceOrAtTheEndIsNoMatter) {
    Exchange exchange{message, ms(0)};
    exchange.stop();
    ASSERT_TRUE(exchange.is_over());
    const Time ended = exchange.outcome().ended;
    exchange.stop();
    EXPECT_EQ(exchange.outcome().ended, ended);
    EXPECT_TRUE(exchange.advance(ms(10)).empty());
}
