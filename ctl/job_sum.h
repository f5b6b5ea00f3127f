// SPDX-License-Identifier: MIT
#pragma once

#include "setup/exchange.h"

#include <cstddef>
#include <optional>

/// What has become of the mappings of one machine so far.
struct JobSum {
    std::size_t mappings = 0; ///< that were asked for
    std::size_t confirmed = 0;
    std::size_t unconfirmed = 0;
    std::size_t not_sent = 0;
    /// Of the save command; nothing when none has come to its end. It is only sent when all
    /// mappings are confirmed.
    std::optional<setup::Result> save{};
    setup::Duration took{}; ///< from the job's start to the end of the last message so far

    [[nodiscard]] std::size_t ended() const { return confirmed + unconfirmed + not_sent; }
    [[nodiscard]] bool all_confirmed() const { return confirmed == mappings; }
    bool operator==(const JobSum&) const = default;
};
