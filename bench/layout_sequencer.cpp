// SPDX-License-Identifier: MIT
// A whole layout over the ALSA sequencer, to the machines of the family that are there.

#include "bench/layout_run.h"
#include "midi_service/alsa/alsa_backend.h"
#include "midi_service/midi_backend.h"
#include "setup/waiting.h"
#include "tests/midi_service/system_calls.h"

#include <atomic>
#include <sys/eventfd.h>
#include <unistd.h>

// What setup/ itself asks of the system, beside what system_calls.h counts.
extern "C" {

int eventfd_read(int file, eventfd_t* value) {
    return read(file, value, sizeof *value) == sizeof *value ? 0 : -1;
}

int eventfd_write(int file, eventfd_t value) {
    return write(file, &value, sizeof value) == sizeof value ? 0 : -1;
}
}

namespace {

std::atomic<std::uint64_t> all_waits = 0;

/// As many machines as are asked for, by ascending code; fewer if they are not there.
std::vector<setup::Target> targets(std::int64_t wanted) {
    std::vector<setup::Target> found;
    for (const setup::Machine& machine : setup::list_machines([](auto) { return std::nullopt; })) {
        const setup::Choice choice = setup::choose_code({machine}, machine.code);
        if (machine.is_in_family() && choice.obstacle == setup::Obstacle::none &&
            static_cast<std::int64_t>(found.size()) < wanted)
            found.push_back(choice.target);
    }
    return found;
}

void ours(benchmark::State& state) {
    const auto backend = AlsaBackend::create();
    install_midi_backend(backend.get());
    const std::vector<setup::Target> machines = targets(state.range(0));
    if (static_cast<std::int64_t>(machines.size()) == state.range(0)) {
        measure_layout(state, machines, state.range(1),
                       {.now = setup::steady_now,
                        .wait =
                            [](const setup::Client& client, setup::Time until) {
                                wait_for_layout(client, until);
                                ++all_waits;
                            },
                        .counter = "calls",
                        .count = [] { return all_system_calls + all_waits; }});
    } else {
        state.SkipWithError("not so many machines are there");
    }
    install_midi_backend(nullptr);
}

BENCHMARK(ours)
    ->Name("layout/ours")
    ->ArgsProduct({{1, 4, 16}, {1, 32, most_mappings}})
    ->Iterations(1)
    ->UseRealTime();

} // namespace

BENCHMARK_MAIN();
