// SPDX-License-Identifier: MIT
#include "bench/layout_run.h"

#include "protocol/sequence.h"
#include "setup/runner.h"
#include "setup/waiting.h"

#include <array>
#include <ctime>
#include <deque>

namespace {

double cpu_time() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) / 1e3;
}

protocol::Message message_for(std::int64_t part) {
    return *protocol::message_of({.part = static_cast<int>(part),
                                  .type = protocol::MessageType::control_change,
                                  .channel = 1 + static_cast<int>(part % 16),
                                  .controller = static_cast<int>(127 - part)});
}

void rest(unsigned microseconds) {
    setup::wait_readable({}, setup::steady_now() + std::chrono::microseconds(microseconds));
}

constexpr unsigned all_pauses = [] {
    unsigned sum = protocol::pause_behind;
    for (const protocol::SequenceEvent& event : protocol::confirmed_sequence({}))
        sum += event.pause_before;
    return sum;
}();

/// The pauses of 128 mappings: each mapping's in one sleep.
void floor(benchmark::State& state) {
    while (state.KeepRunning()) {
        for (std::int64_t mapping = 0; mapping < most_mappings; ++mapping)
            rest(all_pauses);
    }
}

/// The same with a sleep for each pause, as it has to be to send something in between.
void pauses(benchmark::State& state) {
    while (state.KeepRunning()) {
        for (std::int64_t mapping = 0; mapping < most_mappings; ++mapping) {
            for (const protocol::SequenceEvent& event : protocol::confirmed_sequence({})) {
                if (event.pause_before != 0)
                    rest(event.pause_before);
            }
            rest(protocol::pause_behind);
        }
    }
}

BENCHMARK(floor)->Name("layout/floor")->Iterations(1)->UseRealTime();
BENCHMARK(pauses)->Name("layout/pauses")->Iterations(1)->UseRealTime();

} // namespace

void wait_for_layout(const setup::Client& client, setup::Time until) {
    std::array<pollfd, 1> inbox = {
        {{.fd = client.inbox().descriptor(), .events = POLLIN, .revents = 0}}};
    setup::wait_readable(inbox, until);
}

void measure_layout(benchmark::State& state, const std::vector<setup::Target>& targets,
                    std::int64_t mappings, const LayoutPlace& place) {
    setup::Client client{CFSTR("keyloft bench"), place.now};
    std::deque<setup::MachineLine> lines;
    for (const setup::Target& target : targets)
        lines.emplace_back(client, target);
    std::int64_t confirmed = 0;
    std::int64_t waits = 0;
    setup::Runner runner{client,
                         [&](setup::Time until) {
                             place.wait(client, until);
                             ++waits;
                         },
                         [&confirmed](const setup::Report& report) {
                             confirmed += report.outcome.result == setup::Result::confirmed ? 1 : 0;
                         }};
    double cpu = 0;
    std::uint64_t counted = 0;
    while (state.KeepRunning()) {
        cpu -= cpu_time();
        counted -= place.count ? place.count() : 0;
        for (std::int64_t part = 0; part < mappings; ++part) {
            for (setup::MachineLine& line : lines)
                runner.add(line, message_for(part));
        }
        runner.run();
        counted += place.count ? place.count() : 0;
        cpu += cpu_time();
    }
    const auto all = static_cast<std::int64_t>(state.iterations()) * mappings *
                     static_cast<std::int64_t>(targets.size());
    if (confirmed != all)
        state.SkipWithError("not all mappings were confirmed");
    const auto sent = static_cast<double>(all);
    state.counters["cpu_us"] = cpu / sent;
    state.counters["waits"] = static_cast<double>(waits) / sent;
    if (place.count)
        state.counters[place.counter] = static_cast<double>(counted) / sent;
}
