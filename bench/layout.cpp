// SPDX-License-Identifier: MIT
// A whole layout to simulated machines inside the process: in real time, and what one mapping asks
// of the memory, in a time and with a service of the benchmark's own.

#include "bench/allocations.h"
#include "bench/layout_run.h"
#include "midi_service/midi_backend.h"
#include "protocol/device_code.h"
#include "setup/waiting.h"
#include "simulation/embedded_connection.h"

#include <algorithm>
#include <deque>

namespace {

setup::Target target_of(MIDIObjectRef machine) {
    return {.source = {.reference = machine}, .destination = {.reference = machine}};
}

void ours(benchmark::State& state) {
    EmbeddedBackend service;
    install_midi_backend(&service);
    {
        std::deque<EmbeddedMachine> machines;
        std::vector<setup::Target> targets;
        for (std::uint32_t i = 0; i < state.range(0); ++i)
            targets.push_back(
                target_of(machines.emplace_back(service, protocol::family_code(i)).reference()));
        measure_layout(state, targets, state.range(1), {.now = setup::steady_now});
    }
    install_midi_backend(nullptr);
}

/// A service that allocates nothing, in a time that passes when somebody waits. An object sends
/// each control change back, a millisecond later.
class EchoingBackend final : public MidiBackend {
public:
    EchoingBackend() { echoes_.reserve(protocol::family_size); }

    [[nodiscard]] setup::Time now() const { return now_; }
    void wait(setup::Time until) {
        now_ = echoes_.empty() ? until : std::min(until, echoes_.front().due);
        std::size_t count = 0;
        for (; count < echoes_.size() && echoes_[count].due <= now_; ++count)
            deliver(input_, echoes_[count].from, 0, echoes_[count].message);
        echoes_.erase(echoes_.begin(), echoes_.begin() + static_cast<std::ptrdiff_t>(count));
    }

    [[nodiscard]] OSStatus open_client(MIDIClientRef, std::string_view) override { return 0; }
    void close_client(MIDIClientRef) override {}
    [[nodiscard]] OSStatus open_port(MIDIPortRef port, MIDIClientRef, std::string_view,
                                     bool is_input) override {
        if (is_input)
            input_ = port;
        return 0;
    }
    void close_port(MIDIPortRef) override {}
    [[nodiscard]] OSStatus connect(MIDIPortRef, MIDIEndpointRef) override { return 0; }
    [[nodiscard]] OSStatus disconnect(MIDIPortRef, MIDIEndpointRef) override { return 0; }
    [[nodiscard]] std::span<const MIDIObjectRef> update(ObjectList) override { return {}; }
    [[nodiscard]] OSStatus text(MIDIObjectRef, TextProperty, CFStringRef&) override { return -1; }
    [[nodiscard]] OSStatus offline(MIDIObjectRef, std::int32_t&) override { return -1; }
    [[nodiscard]] OSStatus send(MIDIPortRef, MIDIEndpointRef destination,
                                std::span<const std::uint8_t> messages) override {
        if ((messages[0] & 0xF0) == 0xB0)
            echoes_.push_back({.due = now_ + std::chrono::milliseconds(1),
                               .from = destination,
                               .message = {messages[0], messages[1], messages[2]}});
        return 0;
    }
    [[nodiscard]] int changes() const override { return -1; }

private:
    struct Echo {
        setup::Time due;
        MIDIEndpointRef from;
        protocol::Message message;
    };

    setup::Time now_{};
    MIDIPortRef input_ = 0;
    std::vector<Echo> echoes_{};
};

void counts(benchmark::State& state) {
    EchoingBackend service;
    install_midi_backend(&service);
    std::vector<setup::Target> targets;
    for (std::int64_t i = 0; i < state.range(0); ++i)
        targets.push_back(target_of(new_reference()));
    measure_layout(
        state, targets, state.range(1),
        {.now = [&service] { return service.now(); },
         .wait = [&service](const setup::Client&, setup::Time until) { service.wait(until); },
         .counter = "allocations",
         .count = [] { return allocations; }});
    install_midi_backend(nullptr);
}

BENCHMARK(ours)
    ->Name("layout/ours")
    ->ArgsProduct({{1, 16}, {1, 8, 32, most_mappings}})
    ->Args({4, most_mappings})
    ->Args({64, most_mappings})
    ->Iterations(1)
    ->UseRealTime();
BENCHMARK(counts)
    ->Name("layout/counts")
    ->Args({1, most_mappings})
    ->Args({16, most_mappings})
    ->Iterations(1);

} // namespace

BENCHMARK_MAIN();
