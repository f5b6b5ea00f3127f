// SPDX-License-Identifier: MIT
#include "Include/main.h"
#include "Include/set_device_name.h"
#include "midi_service/embedded/embedded_backend.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace {

/// Sends standard output to nowhere while it lives: the lines of a probe are part of its cost, and
/// nobody wants to read them here.
class Silence {
public:
    Silence() : saved_(dup(STDOUT_FILENO)), nowhere_(open("/dev/null", O_WRONLY | O_CLOEXEC)) {
        std::fflush(stdout);
        dup2(nowhere_, STDOUT_FILENO);
    }
    ~Silence() {
        std::fflush(stdout);
        dup2(saved_, STDOUT_FILENO);
        close(saved_);
        close(nowhere_);
    }
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;

private:
    int saved_;
    int nowhere_;
};

/// The sixteen probes of one apply press over so many sources, none of which is a machine.
void sweep(benchmark::State& state) {
    const Silence silence;
    EmbeddedBackend service;
    install_midi_backend(&service);
    for (std::int64_t i = 0; i < state.range(0); ++i)
        benchmark::DoNotOptimize(service.attach({.name = "Port " + std::to_string(i)}));
    midi_init();
    while (state.KeepRunning()) {
        for (std::uint32_t machine = 0; machine < 16; ++machine)
            judge_device_connect_state_with_id(0x4AC0F4C4U + machine * 0x10000U);
    }
    midi_exit();
    install_midi_backend(nullptr);
    state.SetComplexityN(state.range(0));
}

BENCHMARK(sweep)->Arg(1)->Arg(16)->Arg(64)->Arg(256)->Arg(1'000)->Arg(100'000)->Complexity();

} // namespace

BENCHMARK_MAIN();
