// SPDX-License-Identifier: MIT
#include "tests/setup/exchange_world.h"

#include <optional>

#include <gtest/gtest.h>

using protocol::Message;
using setup::Exchange;
using setup::Outcome;
using setup::Result;
using setup::Time;
using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;

namespace {

// Of a machine that is silent otherwise the windows are, in milliseconds, (7, 311] and (318, 622].
const MachineFaults silent = {.silent = MachineFaults::always};

Bytes bytes_of(const Message& message) {
    return {message.begin(), message.end()};
}

/// What has to come of an exact echo at a time, which is not on its way in either window.
void expect_by_moment(const Message& message, Time echo) {
    ExchangeWorld world{silent};
    world.arrives(echo, bytes_of(message));
    const Outcome outcome = world.run(message);
    const bool in_first = echo > ms(7) && echo <= ms(311);
    const bool in_second = echo > ms(318) && echo <= ms(622);
    ASSERT_EQ(outcome.result, in_first || in_second ? Result::confirmed : Result::unconfirmed)
        << hex(message) << " at " << echo.time_since_epoch().count();
    ASSERT_EQ(outcome.attempts, in_first ? 1U : 2U);
    const Time ended = in_first    ? std::max(echo, ms(11))
                       : in_second ? std::max(echo, ms(322))
                                   : ms(622);
    ASSERT_EQ(outcome.ended, ended);
    if (in_first || in_second) {
        ASSERT_EQ(outcome.echo_after, echo - ms(in_first ? 7 : 318));
    }
}

} // namespace

TEST(ExchangeEcho, CountsInsideTheWindowsOfBothAttemptsAndNowhereElse) {
    for (const Message& message : kinds_of_message) {
        for (int step = 0; step <= 2 * 630; ++step)
            expect_by_moment(message, ms(step / 2.0));
    }
}

TEST(ExchangeEcho, WindowsAreExactToTheNanosecond) {
    for (const Message& message : kinds_of_message) {
        for (const double edge : {2.0, 7.0, 9.0, 11.0, 311.0, 313.0, 318.0, 320.0, 322.0, 622.0}) {
            for (const int after : {-1, 0, 1})
                expect_by_moment(message, ms(edge) + nanoseconds(after));
        }
    }
}

// Bytes are judged by when they arrived, not by when somebody looked.
TEST(ExchangeEcho, InTimeCountsHoweverLateItIsLookedAt) {
    ExchangeWorld world{silent};
    world.is_late = [] { return milliseconds(900); };
    world.run({0x90, 1, 1});
    const Time message_sent = world.sent[3].at;
    const Time closes = world.sent[4].returns + milliseconds(302);
    for (const auto& [at, is_in] :
         {std::pair{message_sent, false}, std::pair{message_sent + nanoseconds(1), true},
          std::pair{closes, true}, std::pair{closes + nanoseconds(1), false}}) {
        ExchangeWorld late{silent};
        late.is_late = world.is_late;
        late.arrives(at, {0xB0, 7, 12});
        const Outcome outcome = late.run({0xB0, 7, 12});
        EXPECT_EQ(outcome.result == Result::confirmed && outcome.attempts == 1, is_in);
    }
}

TEST(ExchangeEcho, ArrivingDuringTheSendCounts) {
    ExchangeWorld world{silent};
    world.send_takes = [] { return milliseconds(5); };
    // The message is given at 22 ms, and its send returns at 27.
    world.arrives(ms(23), {0xB0, 7, 12});
    const Outcome outcome = world.run({0xB0, 7, 12});
    EXPECT_EQ(world.sent[3].at, ms(22));
    EXPECT_EQ(outcome.result, Result::confirmed);
    EXPECT_EQ(outcome.echo_after, milliseconds(1));
    EXPECT_EQ(outcome.ended, world.sent[4].returns + milliseconds(2));
}

TEST(ExchangeEcho, LooksAtAllThreeBytesOfEveryKind) {
    for (const Message& message : kinds_of_message) {
        for (std::size_t byte = 0; byte < 3; ++byte) {
            for (unsigned bit = 0; bit < 7; ++bit) {
                Message other = message;
                other[byte] = static_cast<std::uint8_t>(other[byte] ^ (1U << bit));
                ExchangeWorld world{silent};
                world.arrives(ms(8), bytes_of(other));
                ASSERT_EQ(world.run(message).result, Result::unconfirmed) << hex(other);
            }
        }
    }
}

TEST(ExchangeEcho, MessagesOfOtherLengthsAreNone) {
    for (const Bytes& other : {Bytes{}, Bytes{0xB0}, Bytes{0xB0, 7}, Bytes{0xB0, 7, 12, 0xF7},
                               Bytes{0xF8}, Bytes{0xFE}}) {
        ExchangeWorld world{silent};
        world.arrives(ms(8), other);
        const Outcome outcome = world.run({0xB0, 7, 12});
        EXPECT_EQ(outcome.result, Result::unconfirmed);
        EXPECT_FALSE(outcome.instead);
    }
}

TEST(ExchangeEcho, OfTheFirstAttemptInTheSecondWindowConfirmsTheSecond) {
    ExchangeWorld world{{.silent = 1}};
    world.arrives(ms(318.5), {0xB0, 7, 12});
    const Outcome outcome = world.run({0xB0, 7, 12});
    EXPECT_EQ(outcome.result, Result::confirmed);
    EXPECT_EQ(outcome.attempts, 2U);
    EXPECT_EQ(outcome.echo_after, microseconds(500));
}

TEST(ExchangeEcho, AtTheVeryMomentOfTheSendIsFromBefore) {
    const Message message = {0xB0, 7, 12};
    for (const int after : {0, 1}) {
        Exchange exchange{message, ms(0)};
        while (!exchange.is_over()) {
            const Time now = exchange.due();
            if (exchange.advance(now).empty())
                continue;
            if (now == ms(7))
                exchange.heard(now + nanoseconds(after), message);
            exchange.sent(0, now);
        }
        EXPECT_EQ(exchange.outcome().result, after == 0 ? Result::unconfirmed : Result::confirmed);
    }
}

// A caller that was late to hand it over: the sequence that runs ends before the exchange does.
TEST(ExchangeEcho, OfTheFirstWindowHeardInTheMiddleOfTheSecondSequence) {
    const Message message = {0xB0, 7, 12};
    Exchange exchange{message, ms(0)};
    std::vector<Time> sends;
    while (!exchange.is_over()) {
        const Time now = exchange.due();
        if (!exchange.advance(now).empty()) {
            sends.push_back(now);
            exchange.sent(0, now);
        }
        if (sends.size() == 7)
            exchange.heard(ms(310), message);
    }
    EXPECT_EQ(sends.size(), 10U);
    EXPECT_EQ(exchange.outcome().result, Result::confirmed);
    EXPECT_EQ(exchange.outcome().attempts, 1U);
    EXPECT_EQ(exchange.outcome().echo_after, milliseconds(303));
    EXPECT_EQ(exchange.outcome().ended, ms(322));
}

TEST(ExchangeEcho, BendThatComesBackWithAnotherPositionIsShown) {
    ExchangeWorld world{silent};
    world.arrives(ms(8), {0xE3, 0, 64});
    const Outcome outcome = world.run({0xE3, 99, 1});
    EXPECT_EQ(outcome.result, Result::unconfirmed);
    EXPECT_EQ(outcome.instead, (Message{0xE3, 0, 64}));
    EXPECT_EQ(outcome.echo_after, milliseconds(1));
}

TEST(ExchangeEcho, WhatCameMostLikeAnEchoIsShown) {
    ExchangeWorld world{silent};
    world.arrives(ms(6), {0xB0, 7, 13});  // before the message was sent
    world.arrives(ms(8), {0xB1, 1, 2});   // on another channel: music
    world.arrives(ms(9), {0xB0, 1, 2});   // another controller
    world.arrives(ms(10), {0xB0, 7, 14}); // two bytes agree
    world.arrives(ms(12), {0xB2, 7, 12}); // no better
    EXPECT_EQ(world.run({0xB0, 7, 12}).instead, (Message{0xB0, 7, 14}));
    world.arrives(world.now + milliseconds(8), {0xB1, 7, 12});
    EXPECT_EQ(world.run({0xB0, 7, 12}).instead, (Message{0xB1, 7, 12}));
}

TEST(ExchangeEcho, EchoBetweenTheWindowsIsShownAsTooLate) {
    for (const Message& message : kinds_of_message) {
        ExchangeWorld world{silent};
        world.arrives(ms(315), bytes_of(message));
        const Outcome outcome = world.run(message);
        EXPECT_EQ(outcome.result, Result::unconfirmed) << hex(message);
        EXPECT_EQ(outcome.instead, message) << hex(message);
        EXPECT_EQ(outcome.echo_after, milliseconds(308)) << hex(message);
    }
}

TEST(ExchangeEcho, NothingIsShownInsteadOfAnEchoThatCame) {
    ExchangeWorld world{silent};
    world.arrives(ms(8), {0xB0, 7, 13});
    world.arrives(ms(9), {0xB0, 7, 12});
    const Outcome outcome = world.run({0xB0, 7, 12});
    EXPECT_EQ(outcome.result, Result::confirmed);
    EXPECT_FALSE(outcome.instead);
    EXPECT_EQ(outcome.echo_after, milliseconds(2));
}
