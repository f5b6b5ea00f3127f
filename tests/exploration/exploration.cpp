// SPDX-License-Identifier: MIT
#include "tests/exploration/exploration.h"

#include "tests/exploration/live_allocations.h"

#include <cstdio>

Exploration::Exploration() {
    explorer_->run({}, {}); // what is made once and kept is no loss
    explorer_->failures.clear();
    threads_ = entries("/proc/self/task");
    files_ = entries("/proc/self/fd");
}

void Exploration::TearDown() {
    EXPECT_EQ(entries("/proc/self/task"), threads_);
    EXPECT_EQ(entries("/proc/self/fd"), files_);
    const std::size_t cases = explorer_->cases;
    const std::vector<std::string> failures = explorer_->failures;
    explorer_.reset(); // from here on the test may speak
    for (const std::string& failure : failures)
        ADD_FAILURE() << failure;
    EXPECT_GT(cases, 0U);
    std::printf("%zu cases\n", cases);
}

std::vector<Step> Exploration::steps_of(Scenario scenario) {
    scenario.echo = Echo::absent;
    std::vector<Step> steps = explorer_->run(scenario, {});
    explorer_->cases = 0;
    return steps;
}

std::vector<Fault> Exploration::all_faults() {
    std::vector<Fault> faults;
    for (unsigned i = 0; i < fault_count; ++i)
        faults.push_back(static_cast<Fault>(i));
    return faults;
}
