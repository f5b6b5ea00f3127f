// SPDX-License-Identifier: MIT
#include "tests/setup/exchange_world.h"

#include <algorithm>
#include <optional>

#include <gtest/gtest.h>

using protocol::Message;
using setup::Outcome;
using setup::Result;
using std::chrono::milliseconds;

namespace {

/// When the echoes of the two attempts arrive, in milliseconds; nothing for one that never does.
using Echoes = std::array<std::optional<double>, 2>;

struct Expected {
    Result result;
    unsigned attempts;
    double took;
};

/// Of a machine that takes every message. The attempts' messages are sent at 7 and 318 ms.
Expected expected_of(const Echoes& echoes) {
    if (echoes[0] && *echoes[0] <= 311)
        return {Result::confirmed, 1, std::max(*echoes[0], 11.0)};
    std::optional<double> second;
    for (const auto& echo : echoes) {
        if (echo && *echo > 318 && *echo <= 622)
            second = std::min(second.value_or(*echo), *echo);
    }
    if (second)
        return {Result::confirmed, 2, std::max(*second, 322.0)};
    return {Result::unconfirmed, 2, 622};
}

void expect_outcome(const MachineFaults& faults, const Echoes& echoes) {
    for (const Message& message : kinds_of_message) {
        ExchangeWorld world{faults};
        const Outcome outcome = world.run(message);
        const Expected expected = expected_of(echoes);
        ASSERT_EQ(outcome.result, expected.result) << hex(message);
        ASSERT_EQ(outcome.attempts, expected.attempts) << hex(message);
        ASSERT_EQ(outcome.ended, ms(expected.took)) << hex(message);
        ASSERT_EQ(outcome.status, 0) << hex(message);
        ASSERT_FALSE(outcome.everything_came_back) << hex(message);
        ASSERT_TRUE(world.holds(message)) << hex(message);
        // What does not get through in the end is held all the same, and a later try is confirmed.
        if (faults.silent <= 2 && faults.slow == 0) {
            ASSERT_EQ(world.run(message).result, Result::confirmed) << hex(message);
        }
    }
}

} // namespace

TEST(ExchangeFaults, SilentMachine) {
    expect_outcome({}, {8, {}});
    expect_outcome({.silent = 1}, {std::nullopt, 319});
    expect_outcome({.silent = 2}, {});
}

TEST(ExchangeFaults, SlowMachine) {
    for (unsigned delay = 0; delay < 640; ++delay) {
        SCOPED_TRACE(delay);
        expect_outcome({.slow = 1, .delay_ms = delay}, {8.0 + delay, 319});
        expect_outcome({.slow = 2, .delay_ms = delay}, {8.0 + delay, 319.0 + delay});
        expect_outcome({.silent = 1, .slow = 1, .delay_ms = delay}, {std::nullopt, 319.0 + delay});
    }
}

TEST(ExchangeFaults, MachineThatAnswersWrongly) {
    for (unsigned byte = 1; byte <= 3; ++byte) {
        SCOPED_TRACE(byte);
        expect_outcome({.wrong = 1, .wrong_byte = byte}, {std::nullopt, 319});
        expect_outcome({.wrong = 2, .wrong_byte = byte}, {});
        expect_outcome({.silent = 1, .wrong = 1, .wrong_byte = byte}, {});
        for (const Message& message : kinds_of_message) {
            ExchangeWorld world{{.wrong = 2, .wrong_byte = byte}};
            Message changed = message;
            changed[byte - 1] ^= 1;
            EXPECT_EQ(world.run(message).instead, changed) << hex(message);
        }
    }
}

TEST(ExchangeFaults, MachineThatChatters) {
    expect_outcome({.chatter = MachineFaults::always}, {8, {}});
    expect_outcome({.silent = 1, .chatter = MachineFaults::always}, {std::nullopt, 319});
    for (unsigned delay = 0; delay < 640; delay += 5) {
        SCOPED_TRACE(delay);
        expect_outcome({.slow = 2, .delay_ms = delay, .chatter = MachineFaults::always},
                       {8.0 + delay, 319.0 + delay});
    }
}

// The sequence has ten messages. One that the machine goes with is not read any more, and the next
// send fails.
TEST(ExchangeFaults, MachineThatVanishes) {
    for (const Message& message : kinds_of_message) {
        for (const unsigned silent : {0U, 2U}) {
            for (unsigned n = 1; n <= 20; ++n) {
                ExchangeWorld world{{.silent = silent, .vanish_after = n}};
                const Outcome outcome = world.run(message);
                const std::string trace = hex(message) + " " + std::to_string(n);
                const bool is_read = n > 9; // the ninth is the message
                const bool is_repeated = silent != 0 && n > 10;
                ASSERT_EQ(world.holds(message), is_read) << trace;
                if (n < 9) {
                    ASSERT_EQ(outcome.result, Result::not_sent) << trace;
                    ASSERT_EQ(outcome.status, -ENODEV) << trace;
                    ASSERT_EQ(outcome.attempts, 1U) << trace;
                } else if (silent == 0 && is_read) {
                    // Its echo was there before the closing clock, 2 ms behind the message.
                    ASSERT_EQ(outcome.result, Result::confirmed) << trace;
                    ASSERT_EQ(outcome.attempts, 1U) << trace;
                    ASSERT_EQ(outcome.took, milliseconds(11)) << trace;
                } else {
                    ASSERT_EQ(outcome.result, Result::unconfirmed) << trace;
                    ASSERT_EQ(outcome.attempts, 2U) << trace;
                    ASSERT_EQ(outcome.status, n < 20 ? -ENODEV : 0) << trace;
                    ASSERT_EQ(world.sent.back().at >= ms(320), is_repeated && n > 18) << trace;
                }
            }
        }
    }
}

// A mapping that an earlier exchange replaced is not confirmed by that one's late echo.
TEST(ExchangeFaults, LateEchoOfAnotherMappingOfThePartConfirmsNothing) {
    for (unsigned delay = 0; delay < 700; delay += 3) {
        ExchangeWorld world{{.slow = 2, .delay_ms = delay}};
        world.run({0xB0, 7, 12});
        const Outcome outcome = world.run({0xB0, 8, 12});
        EXPECT_TRUE(world.holds({0xB0, 8, 12}));
        EXPECT_EQ(outcome.result, Result::confirmed);
        EXPECT_EQ(outcome.echo_after, milliseconds(1 + (delay <= 303 ? delay : 0))) << delay;
    }
}
