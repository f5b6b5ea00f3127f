// SPDX-License-Identifier: MIT
#include "setup/waiting.h"

#include <algorithm>
#include <ctime>

namespace setup {

Time steady_now() {
    return Time{std::chrono::steady_clock::now().time_since_epoch()};
}

void wait_readable(std::span<pollfd> descriptors, std::optional<Time> until) {
    for (pollfd& entry : descriptors)
        entry.revents = 0;
    timespec rest{};
    if (until) {
        const Duration left = std::max(*until - steady_now(), Duration::zero());
        const auto seconds = std::chrono::floor<std::chrono::seconds>(left);
        rest.tv_sec = static_cast<std::time_t>(seconds.count());
        rest.tv_nsec = static_cast<long>((left - seconds).count());
    }
    if (ppoll(descriptors.data(), descriptors.size(), until ? &rest : nullptr, nullptr) < 0) {
        for (pollfd& entry : descriptors)
            entry.revents = 0;
    }
}

} // namespace setup
