// SPDX-License-Identifier: MIT
#include "tests/setup/faulty_machine.h"
#include "tests/setup/virtual_place.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include <set>

#include <gtest/gtest.h>

using protocol::Message;
using setup::MachineLine;
using setup::Outcome;
using setup::Report;
using setup::Result;
using setup::Runner;
using setup::Time;
using std::chrono::microseconds;

namespace {

constexpr unsigned machine_count = 16;
constexpr std::size_t mapping_count = 128;

/// Parts in a random order, one message for each.
std::vector<Message> random_messages(std::mt19937& random) {
    constexpr std::array<unsigned, 4> types = {0x80, 0x90, 0xB0, 0xE0};
    std::vector<Message> messages(mapping_count);
    for (std::size_t i = 0; i < messages.size(); ++i)
        messages[i] = {static_cast<std::uint8_t>(types.at(random() % 4) | (random() % 16)),
                       static_cast<std::uint8_t>(random() % 128), static_cast<std::uint8_t>(i)};
    std::ranges::shuffle(messages, random);
    return messages;
}

/// From a machine without any fault to one that never answers.
FaultRates random_rates(std::mt19937& random) {
    constexpr std::array<unsigned, 4> rates = {0, 2, 5, 15};
    return {.spoiled = rates.at(random() % 4),
            .vanishing = random() % 4 == 0 ? 50U : 0U,
            .silent = random() % 64 == 0};
}

/// One machine, what is sent to it, and what is to become of that.
struct Side {
    Side(EmbeddedBackend& service, std::mt19937& random,
         std::function<void(microseconds)> on_emission)
        : messages(random_messages(random)),
          plan(static_cast<unsigned>(random()), random_rates(random)),
          machine(service, plan, std::move(on_emission)), expected(plan, messages) {}

    const std::vector<Message> messages;
    const FaultPlan plan;
    const FaultyMachine machine;
    const ExpectedCourse expected;
    std::vector<Outcome> outcomes{};
};

void expect_same(const Outcome& found, const Outcome& expected) {
    ASSERT_EQ(found.result, expected.result);
    ASSERT_EQ(found.attempts, expected.attempts);
    ASSERT_EQ(found.status, expected.status);
    ASSERT_EQ(found.ended, expected.ended);
    ASSERT_EQ(found.took, expected.took);
    if (found.result == Result::confirmed) {
        ASSERT_EQ(found.echo_after, expected.echo_after);
    }
    ASSERT_FALSE(found.everything_came_back);
    ASSERT_FALSE(found.stopped);
}

/// Sixteen machines that are set up at once, all drawn from a seed.
class SixteenMachines {
public:
    explicit SixteenMachines(unsigned seed);
    void run();
    /// Fails if something is not as expected.
    void judge() const;
    /// How many messages had this result.
    [[nodiscard]] std::size_t count(Result result) const;

private:
    void wait(Time until);
    void take(const Report& report);
    static void judge(const Side& side);

    VirtualPlace place_;
    setup::Client client_ = place_.open_client();
    std::multiset<microseconds> arrivals_;
    std::vector<std::unique_ptr<Side>> sides_;
    std::vector<std::unique_ptr<MachineLine>> lines_;
    Time last_end_{};
};

SixteenMachines::SixteenMachines(unsigned seed) {
    std::mt19937 random{seed};
    for (std::uint32_t i = 0; i < machine_count; ++i) {
        sides_.push_back(std::make_unique<Side>(place_.service, random,
                                                [this](microseconds at) { arrivals_.insert(at); }));
        lines_.push_back(std::make_unique<MachineLine>(
            client_, VirtualPlace::target(sides_[i]->machine.reference(), i)));
    }
}

void SixteenMachines::run() {
    Runner runner{client_, [this](Time until) { wait(until); },
                  [this](const Report& report) { take(report); }};
    for (std::size_t number = 0; number < mapping_count; ++number) {
        for (std::size_t i = 0; i < machine_count; ++i)
            runner.add(*lines_[i], sides_[i]->messages[number]);
    }
    runner.run();
}

/// Lets time pass up to the moment when something is heard.
void SixteenMachines::wait(Time until) {
    while (place_.now() < until && !VirtualPlace::has_heard(client_)) {
        const microseconds now = place_.service.now();
        arrivals_.erase(arrivals_.begin(), arrivals_.upper_bound(now));
        const microseconds left = std::chrono::ceil<microseconds>(until - place_.now());
        place_.service.advance(arrivals_.empty() ? left : std::min(left, *arrivals_.begin() - now));
    }
}

void SixteenMachines::take(const Report& report) {
    Side& side = *sides_.at(report.line.target().code);
    EXPECT_EQ(report.number, side.outcomes.size());
    EXPECT_EQ(report.message, side.messages.at(report.number));
    EXPECT_GE(report.outcome.ended, last_end_);
    last_end_ = report.outcome.ended;
    side.outcomes.push_back(report.outcome);
}

void SixteenMachines::judge() const {
    for (const auto& side : sides_) {
        SCOPED_TRACE(side->machine.reference());
        judge(*side);
        if (testing::Test::HasFailure())
            return;
    }
    // No machine has made another wait: the last one to end alone is the last one here.
    Time last{};
    for (const auto& side : sides_)
        last = std::max(last, side->expected.outcomes.back().ended);
    EXPECT_EQ(place_.now(), last);
}

void SixteenMachines::judge(const Side& side) {
    ASSERT_EQ(side.outcomes.size(), mapping_count);
    for (std::size_t i = 0; i < mapping_count; ++i) {
        SCOPED_TRACE(i);
        const Outcome& outcome = side.outcomes[i];
        expect_same(outcome, side.expected.outcomes[i]);
        if (testing::Test::HasFatalFailure())
            return;
        // Once more by the machine's table: each message has a part of its own.
        const auto mapping = *protocol::mapping_of(side.messages[i]);
        const auto held = side.machine.table().find(mapping);
        const bool is_held = held != side.machine.table().end() && *held == mapping;
        ASSERT_TRUE(outcome.result != Result::confirmed || is_held);
        ASSERT_TRUE(outcome.result != Result::not_sent || !is_held);
    }
    ASSERT_EQ(side.machine.table(), side.expected.table);
    ASSERT_EQ(side.machine.received(), side.expected.received);
}

std::size_t SixteenMachines::count(Result result) const {
    std::size_t count = 0;
    for (const auto& side : sides_)
        count +=
            static_cast<std::size_t>(std::ranges::count(side->outcomes, result, &Outcome::result));
    return count;
}

/// How many runs there are: KEYLOFT_RUNS, or 300.
unsigned wanted_runs() {
    const char* const wanted = std::getenv("KEYLOFT_RUNS");
    return wanted ? static_cast<unsigned>(std::stoul(wanted)) : 300;
}

constexpr unsigned shares = 4;

class SideBySide : public testing::TestWithParam<unsigned> {};

} // namespace

TEST_P(SideBySide, EachMachineIsSetUpAsIfItWereAlone) {
    std::array<std::size_t, 3> counts{};
    for (unsigned seed = 1 + GetParam(); seed <= wanted_runs(); seed += shares) {
        SCOPED_TRACE(seed);
        SixteenMachines machines{seed};
        machines.run();
        machines.judge();
        if (HasFailure())
            return;
        std::size_t sum = 0;
        for (const Result result : {Result::confirmed, Result::unconfirmed, Result::not_sent}) {
            counts.at(static_cast<std::size_t>(result)) += machines.count(result);
            sum += machines.count(result);
        }
        ASSERT_EQ(sum, machine_count * mapping_count);
    }
    std::printf("%zu confirmed, %zu unconfirmed, %zu not sent\n", counts[0], counts[1], counts[2]);
    // Each has come often enough to tell something.
    for (const std::size_t count : counts)
        EXPECT_GT(count, 2 * wanted_runs());
}

INSTANTIATE_TEST_SUITE_P(Shares, SideBySide, testing::Range(0U, shares));
