// SPDX-License-Identifier: MIT
// `keyloftctl list` from its start to its end, and the most memory that it holds, with sixteen
// machines among 256 ports; beside `aconnect -l`, which prints all ports, and beside a program that
// loads the same libraries and ends.

#include "bench/command_run.h"
#include "bench/crowd.h"

#include <benchmark/benchmark.h>
#include <filesystem>
#include <fstream>

namespace {

constexpr std::int64_t all_ports = 256;

/// The other programs, and the machines among them.
class Surroundings {
public:
    Surroundings() {
        for (std::uint32_t machine = 0; machine < machines; ++machine)
            machines_.emplace_back(family_name(machine));
    }

private:
    Crowd others_{all_ports - std::int64_t{machines}};
    std::deque<AlsaPeer> machines_{};
};

/// Whether the output names each machine in a line.
bool names_all_machines(const std::filesystem::path& output) {
    std::ifstream lines(output);
    std::uint32_t named = 0;
    for (std::string line; std::getline(lines, line);) {
        for (std::uint32_t machine = 0; machine < machines; ++machine)
            named += line.find(family_name(machine)) != std::string::npos ? 1 : 0;
    }
    return named >= machines;
}

void measure(benchmark::State& state, const CommandLine& command, bool lists_machines) {
    const Surroundings surroundings;
    const auto output =
        std::filesystem::temp_directory_path() / ("list_bench." + std::to_string(getpid()));
    const bool runs = run_command(command, output.c_str()).has_value();
    const bool right = runs && (!lists_machines || names_all_machines(output));
    std::filesystem::remove(output);
    const double peak = peak_kilobytes(command);
    if (!right || peak <= 0) {
        state.SkipWithError(right ? "its memory cannot be read" : "it fails or lists too little");
        return;
    }
    while (state.KeepRunning()) {
        const auto seconds = run_command(command, "/dev/null");
        if (!seconds)
            state.SkipWithError("it fails");
        state.SetIterationTime(seconds.value_or(0));
    }
    state.counters["peak_kb"] = peak;
}

void ours(benchmark::State& state) {
    measure(state, {KEYLOFT_CTL, "list"}, true);
}

void aconnect(benchmark::State& state) {
    measure(state, {"/usr/bin/aconnect", "-l"}, true);
}

void empty(benchmark::State& state) {
    measure(state, {KEYLOFT_EMPTY_COMMAND}, false);
}

BENCHMARK(ours)->Name("list/ours")->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(aconnect)->Name("list/aconnect")->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(empty)->Name("list/empty")->UseManualTime()->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
