// SPDX-License-Identifier: MIT
#include "tests/ctl/virtual_waiting.h"

#include "setup/waiting.h"

#include <algorithm>

using std::chrono::microseconds;

EmbeddedBackend* waited_service = nullptr;
std::function<void()> before_wait;
std::function<void()> when_idle;
std::function<void()> before_time_passes;

namespace {

constexpr microseconds piece{25'000};
constexpr microseconds idle_time{500'000};

bool is_ready(std::span<pollfd> descriptors) {
    return poll(descriptors.data(), descriptors.size(), 0) > 0;
}

} // namespace

namespace setup {

Time steady_now() {
    return Time{waited_service->now()};
}

void wait_readable(std::span<pollfd> descriptors, std::optional<Time> until) {
    before_wait();
    if (is_ready(descriptors))
        return;
    if (!until)
        when_idle();
    const Time end = until.value_or(steady_now() + idle_time);
    while (!is_ready(descriptors) && steady_now() < end) {
        before_time_passes();
        waited_service->advance(
            std::min(piece, std::chrono::ceil<microseconds>(end - steady_now())));
    }
}

} // namespace setup
