// SPDX-License-Identifier: MIT
// One confirmed command to a simulated machine inside the process, in real time: how long it takes
// over the pauses that it has to keep, and what it costs. Then its two paths alone: a message out,
// and a message in.

#include "bench/allocations.h"
#include "bench/probes.h"
#include "simulation/embedded_connection.h"

#include <algorithm>
#include <array>
#include <benchmark/benchmark.h>
#include <chrono>
#include <ctime>
#include <dlfcn.h>
#include <sys/resource.h>

// Behind the others: it declares globals that they name parameters after.
#include "Include/usb_midi.h"

namespace {

using std::chrono::steady_clock;
using microseconds = std::chrono::duration<double, std::micro>;

constexpr std::uint32_t machine_code = protocol::family_code(5);
constexpr double all_pauses = 311'000; // microseconds

double shortest_excess = 1e9; ///< microseconds by which a pause was longer than asked, at least
double longest_excess = 0;    ///< and at most

double cpu_time() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) / 1e3;
}

double voluntary_switches() {
    rusage usage{};
    getrusage(RUSAGE_THREAD, &usage);
    return static_cast<double>(usage.ru_nvcsw);
}

} // namespace

/// The C library's, with a watch.
extern "C" int usleep(useconds_t pause) {
    static auto* const real = reinterpret_cast<int (*)(useconds_t)>(dlsym(RTLD_NEXT, "usleep"));
    const auto start = steady_clock::now();
    const int result = real(pause);
    const double excess = microseconds(steady_clock::now() - start).count() - pause;
    shortest_excess = std::min(shortest_excess, excess);
    longest_excess = std::max(longest_excess, excess);
    return result;
}

namespace {

void command(benchmark::State& state) {
    const Silence silence;
    EmbeddedBackend service;
    install_midi_backend(&service);
    {
        const EmbeddedMachine machine(service, machine_code);
        midi_init();
        set_device_name(machine_code);
        shortest_excess = 1e9;
        longest_excess = 0;
        const double cpu = cpu_time();
        const double switches = voluntary_switches();
        const std::uint64_t requests = all_allocations;
        while (state.KeepRunning()) {
            const auto start = steady_clock::now();
            if (usb_midi_main(5, 0xB0, 7, 7) != 0 || set_up_ok_flag != 185)
                state.SkipWithError("the command was not confirmed");
            const microseconds took = steady_clock::now() - start;
            state.SetIterationTime((took.count() - all_pauses) / 1e6);
        }
        using benchmark::Counter;
        const auto mean = Counter::kAvgIterations;
        state.counters["cpu_us"] = Counter(cpu_time() - cpu, mean);
        state.counters["switches"] = Counter(voluntary_switches() - switches, mean);
        state.counters["allocations"] =
            Counter(static_cast<double>(all_allocations - requests), mean);
        state.counters["shortest_excess_us"] = shortest_excess;
        state.counters["longest_excess_us"] = longest_excess;
        midi_exit();
    }
    install_midi_backend(nullptr);
}

void count_allocations(benchmark::State& state, std::uint64_t before) {
    state.counters["allocations"] = static_cast<double>(allocations - before);
}

/// One message through the service to an endpoint that does nothing with it.
void send(benchmark::State& state) {
    const Silence silence;
    EmbeddedBackend service;
    install_midi_backend(&service);
    const MIDIEndpointRef endpoint = service.attach({}, [](auto /*messages*/) {});
    midi_init();
    alignas(MIDIPacketList) std::array<std::uint8_t, 1024> room{};
    auto* list = reinterpret_cast<MIDIPacketList*>(room.data());
    const std::array<std::uint8_t, 3> message{0xB0, 7, 5};
    const std::uint64_t before = allocations;
    while (state.KeepRunning()) {
        MIDIPacket* position = MIDIPacketListInit(list);
        MIDIPacketListAdd(list, room.size(), position, 0, message.size(), message.data());
        if (MIDISend(gOutPort, endpoint, list) != 0)
            state.SkipWithError("the message was not sent");
    }
    count_allocations(state, before);
    midi_exit();
    install_midi_backend(nullptr);
}

/// One message that a connected source sent, through the service into the read callback.
void receive(benchmark::State& state) {
    const Silence silence;
    EmbeddedBackend service;
    install_midi_backend(&service);
    const MIDIEndpointRef source = service.attach({});
    midi_init();
    if (MIDIPortConnectSource(inPort, source, nullptr) != 0)
        state.SkipWithError("the source was not connected");
    std::array<std::uint8_t, 3> message{0xB0, 7, 5};
    deliver(inPort, source, 0, message); // the first line allocates the output's buffer
    const std::uint64_t before = allocations;
    while (state.KeepRunning()) {
        message[1] = static_cast<std::uint8_t>((message[1] + 1) & 0x7F);
        deliver(inPort, source, 0, message);
    }
    count_allocations(state, before);
    if (midi_pack_setup_data[1] != message[1])
        state.SkipWithError("the message did not arrive");
    midi_exit();
    install_midi_backend(nullptr);
}

BENCHMARK(command)
    ->Name("command/ours")
    ->Iterations(3)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(send)->Name("command/send");
BENCHMARK(receive)->Name("command/receive");

} // namespace

BENCHMARK_MAIN();
