// SPDX-License-Identifier: MIT
#pragma once

#include "tests/exploration/explorer.h"

#include <optional>

#include <gtest/gtest.h>

/// Prints the number of cases, and fails for each unexpected outcome and for threads and files left
/// behind.
class Exploration : public testing::Test {
protected:
    Exploration();
    void TearDown() override;

    /// The steps of a press without an echo: these are all the steps there are.
    [[nodiscard]] std::vector<Step> steps_of(Scenario scenario);
    static std::vector<Fault> all_faults();

    std::optional<Explorer> explorer_{std::in_place};

private:
    std::ptrdiff_t threads_ = 0;
    std::ptrdiff_t files_ = 0;
};
