// SPDX-License-Identifier: MIT
#pragma once

#include "setup/machine_line.h"

#include <benchmark/benchmark.h>
#include <cstdint>
#include <functional>
#include <vector>

// A whole layout, sent as keyloftctl apply sends it, and the least time that it can take. Linking
// layout_run.cpp adds the benchmarks layout/floor and layout/pauses to a program.

/// Each layout has so many mappings for each machine at the most.
constexpr std::int64_t most_mappings = 128;

/// Waits until the client has heard something or that time has come.
void wait_for_layout(const setup::Client& client, setup::Time until);

/// What a layout is sent with, and what is counted meanwhile.
struct LayoutPlace {
    setup::Now now;
    std::function<void(const setup::Client&, setup::Time)> wait = wait_for_layout;
    const char* counter = nullptr; ///< the name of what `count` counts
    std::function<std::uint64_t()> count{};
};

/// Sends each machine the mappings of the parts 0 to `mappings` - 1, all machines side by side, as
/// often as is asked. Says what one mapping costs: the microseconds of the whole process on the
/// processor, waits, and what `count` counts.
void measure_layout(benchmark::State& state, const std::vector<setup::Target>& targets,
                    std::int64_t mappings, const LayoutPlace& place);
