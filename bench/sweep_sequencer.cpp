// SPDX-License-Identifier: MIT
// The sixteen probes of one apply press over N source ports of the ALSA sequencer, none of which is
// a machine; the same straight on alsa-lib, and by RtMidi.

#include "bench/crowd.h"
#include "midi_service/alsa/alsa_backend.h"
#include "midi_service/midi_backend.h"
#include "midi_service/midi_service.h"

#include <benchmark/benchmark.h>
#include <vector>
#ifdef KEYLOFT_BENCH_RTMIDI
#include <rtmidi/RtMidi.h>
#endif

namespace {

/// Runs the sweep as often as is asked, and counts the system calls of one. What comes between two
/// sweeps is not measured.
template<typename Sweep, typename Between>
void measure(benchmark::State& state, Sweep sweep, Between between) {
    std::uint64_t calls = 0;
    while (state.KeepRunning()) {
        const std::uint64_t before = system_calls;
        sweep();
        calls += system_calls - before;
        state.PauseTiming();
        between();
        state.ResumeTiming();
    }
    state.counters["calls"] =
        benchmark::Counter(static_cast<double>(calls), benchmark::Counter::kAvgIterations);
}

void nothing() {}

/// Each sweep stands for the first of a press, long after the one before: it reads all names again.
std::chrono::milliseconds time_between{0};

void let_names_age() {
    time_between += std::chrono::milliseconds{100};
}

/// The sixteen probes written straight on alsa-lib: each asks for every source, disconnects it and
/// compares its name.
void loop_over_sources(snd_seq_t* sequencer) {
    for (std::uint32_t machine = 0; machine < machines; ++machine) {
        const std::string wanted = family_name(machine);
        query_all_sources(sequencer, [&](const snd_seq_addr_t& source, std::string_view name) {
            snd_seq_disconnect_from(sequencer, 0, source.client, source.port);
            benchmark::DoNotOptimize(name.starts_with(wanted));
        });
    }
}

void ours(benchmark::State& state) {
    const Silence silence;
    const Crowd crowd(state.range(0));
    const auto backend =
        AlsaBackend::create([] { return AlsaBackend::coarse_time() + time_between; });
    install_midi_backend(backend.get());
    midi_init();
    probe_all_machines();
    let_names_age();
    measure(state, probe_all_machines, let_names_age);
    midi_exit();
    install_midi_backend(nullptr);
}

void loop(benchmark::State& state) {
    Crowd crowd(state.range(0));
    measure(
        state, [&crowd] { loop_over_sources(crowd.any().sequencer()); }, nothing);
}

/// The kernel's table of names, which each press needs once: renamed ports are not announced.
void names(benchmark::State& state) {
    const Crowd crowd(state.range(0));
    const int file = open("/proc/asound/seq/clients", O_RDONLY | O_CLOEXEC);
    std::vector<char> room(1U << 20);
    while (state.KeepRunning()) {
        if (pread(file, room.data(), room.size(), 0) <= 0)
            state.SkipWithError("no table");
    }
    close(file);
}

/// From nothing: the program has just been started and knows no port.
void first_ours(benchmark::State& state) {
    const Silence silence;
    const Crowd crowd(state.range(0));
    while (state.KeepRunning()) {
        const auto backend = AlsaBackend::create();
        install_midi_backend(backend.get());
        midi_init();
        probe_all_machines();
        state.PauseTiming();
        midi_exit();
        install_midi_backend(nullptr);
        state.ResumeTiming();
    }
}

void first_loop(benchmark::State& state) {
    const Crowd crowd(state.range(0));
    while (state.KeepRunning()) {
        snd_seq_t* sequencer = nullptr;
        if (snd_seq_open(&sequencer, "default", SND_SEQ_OPEN_DUPLEX, 0) < 0)
            return state.SkipWithError("no sequencer");
        snd_seq_create_simple_port(sequencer, "Input port", SND_SEQ_PORT_CAP_WRITE,
                                   SND_SEQ_PORT_TYPE_APPLICATION);
        loop_over_sources(sequencer);
        state.PauseTiming();
        snd_seq_close(sequencer);
        state.ResumeTiming();
    }
}

BENCHMARK(ours)->Name("sweep/ours")->Arg(1)->Arg(16)->Arg(64)->Arg(256)->Arg(1'000);
BENCHMARK(loop)->Name("sweep/loop")->Arg(1)->Arg(16)->Arg(64)->Arg(256)->Arg(1'000);
BENCHMARK(names)->Name("sweep/names")->Arg(1)->Arg(16)->Arg(64)->Arg(256)->Arg(1'000);
BENCHMARK(first_ours)->Name("first/ours")->Arg(256)->Iterations(3);
BENCHMARK(first_loop)->Name("first/loop")->Arg(256)->Iterations(3);

#ifdef KEYLOFT_BENCH_RTMIDI
void rtmidi(benchmark::State& state) {
    const Crowd crowd(state.range(0));
    RtMidiIn input(RtMidi::LINUX_ALSA);
    const auto sweep = [&input] {
        for (std::uint32_t machine = 0; machine < machines; ++machine) {
            const std::string name = family_name(machine);
            const unsigned ports = input.getPortCount();
            for (unsigned port = 0; port < ports; ++port)
                benchmark::DoNotOptimize(input.getPortName(port).find(name));
        }
    };
    measure(state, sweep, nothing);
}

BENCHMARK(rtmidi)
    ->Name("sweep/rtmidi")
    ->Arg(1)
    ->Arg(16)
    ->Arg(64)
    ->Arg(256)
    ->Arg(1'000)
    ->Iterations(1);
#endif

} // namespace

BENCHMARK_MAIN();
