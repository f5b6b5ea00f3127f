// SPDX-License-Identifier: MIT
#include "tests/setup/exchange_world.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <random>

#include <gtest/gtest.h>

using protocol::Message;
using setup::Duration;
using setup::Outcome;
using setup::Pace;
using setup::Result;
using setup::Time;
using std::chrono::microseconds;
using std::chrono::milliseconds;

namespace {

/// A world with whatever can go wrong, drawn from a seed.
class RandomWorld {
public:
    explicit RandomWorld(unsigned seed)
        : random_(seed), kind(kinds_of_message.at(below(kinds_of_message.size()))) {
        if (kind != protocol::save_command) {
            kind[1] = static_cast<std::uint8_t>(below(128));
            kind[2] = static_cast<std::uint8_t>(below(128));
        }
        pace = below(4) == 0 ? Pace::gentle : Pace::brisk;
        choose_faults();
        choose_slowness();
        choose_music();
        if (below(8) == 0)
            world.stop_at = Time{} + microseconds(below(700'000));
        if (below(8) == 0) {
            world.send_status = [failing = below(10)](std::size_t n) {
                return n == failing ? -EIO : 0;
            };
            fails = true;
        }
    }

    [[nodiscard]] std::size_t below(std::size_t end) {
        return std::uniform_int_distribution<std::size_t>(0, end - 1)(random_);
    }

private:
    void choose_faults() {
        const auto count = [this] { return static_cast<unsigned>(below(3)); };
        if (below(2) == 0)
            faults.silent = count();
        if (below(2) == 0) {
            faults.slow = count();
            faults.delay_ms = static_cast<unsigned>(below(700));
        }
        if (below(3) == 0)
            faults.wrong = count();
        faults.wrong_byte = 1 + static_cast<unsigned>(below(3));
        if (below(3) == 0)
            faults.chatter = count();
        if (below(6) == 0)
            faults.vanish_after = 1 + static_cast<unsigned>(below(21));
        world.firmware = Firmware{faults};
    }

    void choose_slowness() {
        const auto some = [this](std::size_t usual, std::size_t once) {
            return [this, usual, once]() -> Duration {
                return microseconds(below(below(20) == 0 ? once : usual));
            };
        };
        world.send_takes = some(100, 5'000);
        world.is_late = some(300, 400'000);
    }

    /// Messages of a player and clocks, none of which is one of the sequence's.
    void choose_music() {
        for (std::size_t i = below(60); i > 0; --i) {
            const Time at = Time{} + microseconds(below(700'000));
            if (below(2) == 0) {
                world.arrives(at, {0xF8});
                continue;
            }
            const auto status = static_cast<std::uint8_t>(0x80 + below(0x60));
            Bytes bytes = {status, static_cast<std::uint8_t>(below(128)),
                           static_cast<std::uint8_t>(below(128))};
            if (below(3) == 0)
                bytes[1] = kind[1];
            if (bytes[1] != kind[1] || bytes[2] != kind[2])
                world.arrives(at, bytes);
        }
    }

    std::mt19937 random_;

public:
    ExchangeWorld world;
    Message kind;
    Pace pace = Pace::brisk;
    MachineFaults faults{};
    bool fails = false;
};

/// What had been sent of one attempt.
struct Attempt {
    Time message = Time::max(); ///< when the message was given
    Time closes = Time::max();  ///< 300 ms behind the end of the sequence
};

std::vector<Attempt> attempts_of(const std::vector<ExchangeWorld::Sent>& sent) {
    std::vector<Attempt> attempts;
    for (std::size_t i = 0; i < sent.size(); ++i) {
        if (i % 5 == 0)
            attempts.emplace_back();
        if (i % 5 == 3 && sent[i].status == 0)
            attempts.back().message = sent[i].at;
        if (i % 5 == 4)
            attempts.back().closes = sent[i].returns + milliseconds(302);
    }
    return attempts;
}

void expect_pauses(const std::vector<ExchangeWorld::Sent>& sent) {
    constexpr std::array<int, 5> least_ms = {304, 1, 2, 2, 2};
    for (std::size_t i = 1; i < sent.size(); ++i)
        ASSERT_GE(sent[i].at - sent[i - 1].returns, milliseconds(least_ms.at(i % 5))) << i;
}

/// Judges an outcome by what the world saw.
void expect_truth(RandomWorld& random, const Outcome& outcome) {
    const ExchangeWorld& world = random.world;
    const Bytes kind{random.kind.begin(), random.kind.end()};
    unsigned confirming = 0;
    const std::vector<Attempt> attempts = attempts_of(world.sent);
    for (const ExchangeWorld::Arrived& arrived : world.arrived) {
        for (unsigned i = 0; i < attempts.size() && confirming == 0; ++i) {
            if (arrived.bytes == kind && arrived.at > attempts[i].message &&
                arrived.at <= attempts[i].closes) {
                confirming = i + 1;
                ASSERT_TRUE(arrived.is_held) << "confirmed what the machine does not have";
            }
        }
    }
    const bool was_sent = std::ranges::any_of(
        attempts, [](const Attempt& attempt) { return attempt.message != Time::max(); });
    ASSERT_EQ(outcome.result, confirming != 0 ? Result::confirmed
                              : was_sent      ? Result::unconfirmed
                                              : Result::not_sent);
    ASSERT_EQ(outcome.attempts, confirming != 0 ? confirming : attempts.size());
    if (world.holds(random.kind) && confirming == 0) {
        const MachineFaults& faults = random.faults;
        ASSERT_TRUE(faults.silent + faults.slow + faults.wrong + faults.vanish_after > 0)
            << "held, and unconfirmed without a fault";
    }
    // Sequences are whole, unless a send failed.
    ASSERT_TRUE(world.sent.size() % 5 == 0 || world.sent.back().status != 0);
    ASSERT_EQ(outcome.took, outcome.ended - Time{});
}

} // namespace

TEST(ExchangeRandom, SaysTheTruthWhateverGoesWrong) {
    std::array<int, 3> results{};
    for (unsigned seed = 1; seed <= 20'000; ++seed) {
        SCOPED_TRACE(seed);
        RandomWorld random{seed};
        const Outcome outcome = random.world.run(random.kind, random.pace);
        expect_pauses(random.world.sent);
        expect_truth(random, outcome);
        ++results.at(static_cast<std::size_t>(outcome.result));
        if (HasFatalFailure())
            return;
    }
    // Each is tried often enough to tell something.
    for (const int count : results)
        EXPECT_GT(count, 300);
}
