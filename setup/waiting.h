// SPDX-License-Identifier: MIT
#pragma once

#include "setup/clock.h"

#include <optional>
#include <poll.h>
#include <span>

namespace setup {

/// The computer's monotonic clock.
[[nodiscard]] Time steady_now();

/// Waits until one of the descriptors is ready (as poll() says it, in `revents`) or steady_now()
/// has reached `until`; for ever without it. Returns early, with no descriptor ready, when a signal
/// was handled. Entries with a negative descriptor are skipped.
void wait_readable(std::span<pollfd> descriptors, std::optional<Time> until);

} // namespace setup
