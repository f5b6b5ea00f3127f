// SPDX-License-Identifier: MIT
#include "tests/exploration/exploration.h"

namespace {

using Button = Scenario::Button;
using Previous = Scenario::Previous;

class SingleFaults : public Exploration, public testing::WithParamInterface<Scenario> {};

TEST_P(SingleFaults, InEveryStepOfAPress) {
    Scenario scenario = GetParam();
    const std::vector<Step> steps = steps_of(scenario);
    for (std::size_t number = 0; number < steps.size(); ++number) {
        // The sequence is repeated only if there was no echo.
        scenario.echo = steps[number].stage == Stage::repetition ? Echo::absent : Echo::normal;
        for (const Fault fault : all_faults())
            explorer_->run(scenario, {{{fault, number}}});
    }
    EXPECT_EQ(explorer_->cases, steps.size() * fault_count);
}

INSTANTIATE_TEST_SUITE_P(Presses, SingleFaults,
                         testing::Values(Scenario{}, Scenario{.previous = Previous::same},
                                         Scenario{.is_bend = true, .previous = Previous::other},
                                         Scenario{.button = Button::save},
                                         Scenario{.button = Button::save,
                                                  .previous = Previous::same}));

} // namespace
