// SPDX-License-Identifier: MIT
// The sixteen probes of one apply press over N sources, none of which is a machine, on the service
// inside the process.

#include "bench/allocations.h"
#include "bench/probes.h"
#include "midi_service/embedded/embedded_backend.h"

#include <benchmark/benchmark.h>

namespace {

void sweep(benchmark::State& state) {
    const Silence silence;
    EmbeddedBackend service;
    install_midi_backend(&service);
    for (std::int64_t i = 0; i < state.range(0); ++i)
        benchmark::DoNotOptimize(service.attach({.name = port_name(i)}));
    midi_init();
    probe_all_machines();
    const std::uint64_t before = allocations;
    while (state.KeepRunning())
        probe_all_machines();
    state.counters["allocations"] = static_cast<double>(allocations - before);
    midi_exit();
    install_midi_backend(nullptr);
}

BENCHMARK(sweep)
    ->Name("embedded/ours")
    ->Arg(1)
    ->Arg(16)
    ->Arg(64)
    ->Arg(256)
    ->Arg(1'000)
    ->Arg(10'000)
    ->Arg(100'000);

} // namespace

BENCHMARK_MAIN();
