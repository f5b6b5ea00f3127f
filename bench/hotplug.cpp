// SPDX-License-Identifier: MIT
// One port among N starts and goes: what it costs until the list of sources is right again. A
// program without announcements reads everything anew.

#include "bench/crowd.h"
#include "midi_service/alsa/alsa_backend.h"
#include "midi_service/midi_backend.h"
#include "midi_service/midi_service.h"

#include <benchmark/benchmark.h>
#include <chrono>

namespace {

/// More changes than the sequencer keeps announcements for.
constexpr int too_many = 300;

/// Measures `look` after each `change`, in time and in system calls.
template<typename Change, typename Look>
void measure(benchmark::State& state, Change change, Look look) {
    std::uint64_t calls = 0;
    while (state.KeepRunning()) {
        change();
        const std::uint64_t before = system_calls;
        const auto start = std::chrono::steady_clock::now();
        if (!look())
            state.SkipWithError("the list of sources is wrong");
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        calls += system_calls - before;
        state.SetIterationTime(took.count());
    }
    state.counters["calls"] =
        benchmark::Counter(static_cast<double>(calls), benchmark::Counter::kAvgIterations);
}

/// Starts a port, and takes it away the next time.
class Changing {
public:
    explicit Changing(AlsaPeer& peer) : peer_(peer) {}

    void operator()() {
        if (port_ < 0) {
            port_ = peer_.add_port("one more");
        } else {
            peer_.remove_port(port_);
            port_ = -1;
        }
    }

    [[nodiscard]] ItemCount ports() const { return port_ < 0 ? 0 : 1; }

private:
    AlsaPeer& peer_;
    int port_ = -1;
};

void ours(benchmark::State& state, int changes) {
    const Silence silence;
    Crowd crowd(state.range(0));
    const auto backend = AlsaBackend::create();
    install_midi_backend(backend.get());
    midi_init();
    const ItemCount before = MIDIGetNumberOfSources();
    Changing changing(crowd.any());
    const auto change = [&changing, changes] {
        for (int i = 0; i < changes; ++i)
            changing();
    };
    measure(state, change, [&] { return MIDIGetNumberOfSources() == before + changing.ports(); });
    midi_exit();
    install_midi_backend(nullptr);
}

void one(benchmark::State& state) {
    ours(state, 1);
}

void lost(benchmark::State& state) {
    ours(state, too_many + 1);
}

void loop(benchmark::State& state) {
    Crowd crowd(state.range(0));
    Changing changing(crowd.any());
    const auto look = [&] {
        bool found = false;
        query_all_sources(crowd.any().sequencer(),
                          [&found](auto /*source*/, std::string_view name) {
                              found = found || name == "one more";
                          });
        return found == (changing.ports() == 1);
    };
    measure(
        state, [&changing] { changing(); }, look);
}

BENCHMARK(one)->Name("hotplug/ours")->Arg(16)->Arg(64)->Arg(256)->Arg(1'000)->UseManualTime();
BENCHMARK(loop)->Name("hotplug/loop")->Arg(16)->Arg(64)->Arg(256)->Arg(1'000)->UseManualTime();
BENCHMARK(lost)
    ->Name("hotplug/lost")
    ->Arg(16)
    ->Arg(256)
    ->Arg(1'000)
    ->Iterations(2)
    ->UseManualTime();

} // namespace

BENCHMARK_MAIN();
