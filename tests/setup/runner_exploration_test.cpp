// SPDX-License-Identifier: MIT
#include "tests/setup/explored_run.h"

#include <cstdlib>

#include <gtest/gtest.h>

namespace {

/// All faults, and at the end that the runner is stopped.
std::vector<std::optional<Fault>> all_happenings() {
    std::vector<std::optional<Fault>> all;
    for (unsigned i = 0; i < fault_count; ++i)
        all.emplace_back(static_cast<Fault>(i));
    all.emplace_back(std::nullopt);
    return all;
}

std::string words(const Happening& happening) {
    return std::string(happening.fault ? to_string(*happening.fault) : "stopped") + " in step " +
           std::to_string(happening.step);
}

std::size_t steps_of(Echo echo) {
    ExploredRun run{echo, {}};
    EXPECT_EQ(run.run(), "");
    return run.steps();
}

constexpr unsigned shares = 4;

class RunnerFaultPairs : public testing::TestWithParam<unsigned> {};

} // namespace

TEST(RunnerSingleFaults, InEveryStep) {
    std::size_t cases = 0;
    for (const Echo echo : {Echo::normal, Echo::absent}) {
        const std::size_t steps = steps_of(echo);
        for (std::size_t step = 0; step < steps; ++step) {
            for (const auto& what : all_happenings()) {
                const Happening happening{what, step};
                ExploredRun run{echo, {happening}};
                ASSERT_EQ(run.run(), "") << words(happening);
                ++cases;
            }
        }
    }
    std::printf("%zu cases\n", cases);
}

// With KEYLOFT_EXPLORE=all every pair in every two steps, else some thousands of them.
TEST_P(RunnerFaultPairs, InEveryTwoSteps) {
    const char* const wanted = std::getenv("KEYLOFT_EXPLORE");
    const std::size_t distance = wanted && std::string(wanted) == "all" ? 1 : 197;
    const std::size_t steps = steps_of(Echo::normal);
    std::size_t turn = 0;
    std::size_t cases = 0;
    for (std::size_t later = 0; later < steps; ++later) {
        for (std::size_t earlier = 0; earlier <= later; ++earlier) {
            for (const auto& first : all_happenings()) {
                for (const auto& second : all_happenings()) {
                    if (turn++ % (shares * distance) != GetParam())
                        continue;
                    const Happening one{first, earlier};
                    const Happening other{second, later};
                    ExploredRun run{Echo::normal, {one, other}};
                    ASSERT_EQ(run.run(), "") << words(one) << ", " << words(other);
                    ++cases;
                }
            }
        }
    }
    std::printf("%zu cases\n", cases);
}

INSTANTIATE_TEST_SUITE_P(Shares, RunnerFaultPairs, testing::Range(0U, shares));
