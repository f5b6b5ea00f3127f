// SPDX-License-Identifier: MIT
#include "tests/exploration/exploration.h"

#include <algorithm>
#include <cstdlib>

// Every fault in every step, and every pair of faults. The second happens in each kind of step, the
// first in a step before it, a different one each time. With KEYLOFT_EXPLORE=all each stage counts
// by itself, and the first fault happens in each kind of step before.

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

/// A button, and which share of the first faults is tried.
struct Share {
    Button button;
    unsigned number;
};
constexpr unsigned shares = 4;

/// One step of each kind, in the order of a press. A kind may occur in several stages.
using Steps = std::vector<Step>;

Steps without_repeats(const Steps& steps) {
    Steps kinds;
    for (const Step& step : steps) {
        if (std::ranges::find(kinds, step) == kinds.end())
            kinds.push_back(step);
    }
    return kinds;
}

/// The places in `steps` of each kind. The first step is left out: nothing comes before it.
std::vector<std::vector<std::size_t>> places_by_kind(const Steps& steps) {
    std::vector<std::vector<std::size_t>> places(static_cast<std::size_t>(StepKind::wait) + 1);
    for (std::size_t i = 1; i < steps.size(); ++i)
        places[static_cast<std::size_t>(steps[i].kind)].push_back(i);
    std::erase_if(places, [](const auto& kind) { return kind.empty(); });
    return places;
}

class FaultPairs : public Exploration, public testing::WithParamInterface<Share> {
protected:
    FaultPairs()
        : scenario_{.button = GetParam().button, .previous = Previous::other},
          steps_(without_repeats(steps_of(scenario_))) {}

    void run(Fault first, std::size_t in, Fault second, std::size_t later) {
        // The sequence is repeated only if there was no echo.
        scenario_.echo = steps_[later].stage == Stage::repetition ? Echo::absent : Echo::normal;
        explorer_->run(scenario_, {{{first, 0, steps_[in]}, {second, 0, steps_[later]}}});
    }

    void run_everywhere(Fault first, Fault second) {
        for (std::size_t later = 0; later < steps_.size(); ++later) {
            for (std::size_t in = 0; in <= later; ++in)
                run(first, in, second, later);
        }
    }

    void run_in_each_kind(Fault first, Fault second) {
        for (const auto& places : places_by_kind(steps_)) {
            const std::size_t later = places[turn_++ % places.size()];
            run(first, turn_ * 7 % later, second, later);
        }
    }

private:
    Scenario scenario_;
    Steps steps_;
    std::size_t turn_ = 0;
};

TEST_P(FaultPairs, SecondInEachKindOfStepBehindTheFirst) {
    const char* const wanted = std::getenv("KEYLOFT_EXPLORE");
    const bool all = wanted && std::string(wanted) == "all";
    for (unsigned first = GetParam().number; first < fault_count; first += shares) {
        for (const Fault second : all_faults()) {
            if (all)
                run_everywhere(static_cast<Fault>(first), second);
            else
                run_in_each_kind(static_cast<Fault>(first), second);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Presses, FaultPairs,
                         testing::Values(Share{Button::apply, 0}, Share{Button::apply, 1},
                                         Share{Button::apply, 2}, Share{Button::apply, 3},
                                         Share{Button::save, 0}, Share{Button::save, 1},
                                         Share{Button::save, 2}, Share{Button::save, 3}));

} // namespace
