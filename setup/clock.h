// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>

namespace setup {

/// The time that setup/ reckons in. It has no now(): whoever runs the program, or the test, hands
/// one in.
struct Clock {
    using rep = std::int64_t;
    using period = std::nano;
    using duration = std::chrono::duration<rep, period>;
    using time_point = std::chrono::time_point<Clock>;
    static constexpr bool is_steady = true;
};

using Duration = Clock::duration;
using Time = Clock::time_point;

/// Says what time it is, never less than before. Called on the calling thread and on the receive
/// thread, there with a lock held.
using Now = std::function<Time()>;

} // namespace setup
