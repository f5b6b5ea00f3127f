// SPDX-License-Identifier: MIT
#pragma once

#include "tests/exploration/explorer.h"

#include <optional>

#include <gtest/gtest.h>

/// Explores, says how many cases there were, and fails for each end that was not as it has to be,
/// and for threads and files left behind.
class Exploration : public testing::Test {
protected:
    Exploration();
    void TearDown() override;

    /// The steps of a press that gets no echo, so that all of them are there.
    [[nodiscard]] std::vector<Step> steps_of(Scenario scenario);
    static std::vector<Fault> all_faults();

    std::optional<Explorer> explorer_{std::in_place};

private:
    std::ptrdiff_t threads_ = 0;
    std::ptrdiff_t files_ = 0;
};
