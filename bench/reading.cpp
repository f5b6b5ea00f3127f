// SPDX-License-Identifier: MIT
// A layout read from a text in memory: as many machines with 128 parts as the mappings need.

#include "bench/allocations.h"
#include "protocol/device_code.h"
#include "setup/layout.h"

#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <string>

namespace {

/// As people write it, with a comment in each line.
std::string layout_of(std::int64_t mappings) {
    std::string text;
    for (std::int64_t i = 0; i < mappings; ++i) {
        const std::int64_t part = i % 128;
        if (part == 0)
            text += "\n[" + protocol::code_text(static_cast<std::uint32_t>(i / 128)) + "]\n";
        text += std::to_string(part) +
                " = { type = \"Control Change\", channel = " + std::to_string(part / 120 + 1) +
                ", controller = " + std::to_string(part % 120) + " } # fader\n";
    }
    return text;
}

void reading(benchmark::State& state) {
    const std::array<setup::LayoutFile, 1> files = {{{"bench.toml", layout_of(state.range(0))}}};
    const std::uint64_t before = allocations;
    while (state.KeepRunning()) {
        const setup::Layout layout = read_layout(files);
        if (!layout.mistakes.empty() || !layout.warnings.empty())
            state.SkipWithError("a layout without mistakes has one");
    }
    state.counters["allocations"] =
        static_cast<double>(allocations - before) /
        static_cast<double>(state.iterations() * state.range(0)); // for each mapping
}

BENCHMARK(reading)->Arg(128)->Arg(1'000)->Arg(10'000);

} // namespace

BENCHMARK_MAIN();
