// SPDX-License-Identifier: MIT
// `keyloftctl apply` with a layout of 128 mappings for each of the sixteen machines, which are
// there: from its start to its end, and the most memory that it holds; beside the memory of
// `aconnect -l` and of a program that loads the same libraries and ends.

#include "bench/command_run.h"
#include "protocol/device_code.h"
#include "protocol/mapping.h"

#include <benchmark/benchmark.h>
#include <filesystem>
#include <fstream>

namespace {

const std::string layout = std::filesystem::temp_directory_path() / "layout_command_bench.toml";

void write_layout() {
    std::ofstream file(layout);
    for (std::uint32_t machine = 0; machine < protocol::family_size; ++machine) {
        file << '[' << protocol::code_text(protocol::family_code(machine)) << "]\n";
        for (int part = 0; part <= protocol::highest_number; ++part)
            file << part << " = { type = \"Control Change\", channel = " << 1 + part % 16
                 << ", controller = " << part << " }\n";
    }
}

void measure(benchmark::State& state, const CommandLine& command) {
    const double peak = peak_kilobytes(command);
    if (peak <= 0)
        state.SkipWithError("it fails, or its memory cannot be read");
    while (state.KeepRunning()) {
        const auto seconds = run_command(command, "/dev/null");
        if (!seconds)
            state.SkipWithError("it fails");
        state.SetIterationTime(seconds.value_or(0));
    }
    state.counters["peak_kb"] = peak;
}

void ours(benchmark::State& state) {
    write_layout();
    measure(state, {KEYLOFT_CTL, "apply", layout.c_str()});
    std::filesystem::remove(layout);
}

void aconnect(benchmark::State& state) {
    measure(state, {"/usr/bin/aconnect", "-l"});
}

void empty(benchmark::State& state) {
    measure(state, {KEYLOFT_EMPTY_COMMAND});
}

BENCHMARK(ours)->Name("apply/ours")->Iterations(1)->UseManualTime();
BENCHMARK(aconnect)->Name("apply/aconnect")->Iterations(1)->UseManualTime();
BENCHMARK(empty)->Name("apply/empty")->Iterations(1)->UseManualTime();

} // namespace

BENCHMARK_MAIN();
