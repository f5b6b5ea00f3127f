// SPDX-License-Identifier: MIT
#pragma once

#include "ctl/job_sum.h"
#include "setup/exchange.h"
#include "setup/layout.h"
#include "setup/machine_list.h"
#include "setup/plain_text.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// The sentences of keyloftctl's answers. They start in lower case and have no full stop.

/// "confirmed (13 ms)", "unconfirmed: sent twice, and no echo came", "not sent: the machine is
/// gone".
[[nodiscard]] std::string outcome_text(const protocol::Message& message,
                                       const setup::Outcome& outcome);

/// Why a machine cannot be set up, about a machine called "it"; empty for none.
[[nodiscard]] std::string obstacle_text(setup::Obstacle obstacle);

/// The addresses of ports, "?" for one that is not known; in order.
[[nodiscard]] std::vector<std::string> addresses(const std::vector<setup::Endpoint>& endpoints);
/// "24:0", or "?".
[[nodiscard]] std::string address_or_mark(const setup::Endpoint& endpoint);

/// The texts with commas between them.
[[nodiscard]] std::string joined(const std::vector<std::string>& texts);

/// "1 mapping", "128 mappings".
[[nodiscard]] std::string count_text(std::size_t count, std::string_view what);

/// The parts of a layout: "part 12", "parts 0-11, 36".
[[nodiscard]] std::string parts_text(const std::vector<setup::LayoutEntry>& entries);

/// What became of a machine's mappings: "128 mappings  confirmed and saved (1.42 s)",
/// "3 mappings  2 confirmed, 1 unconfirmed; not saved (0.65 s)".
[[nodiscard]] std::string sum_text(const JobSum& sum, bool saves);

/// "1.42 s"
[[nodiscard]] std::string seconds_text(setup::Duration duration);

using setup::printable;

/// Whole milliseconds, rounded.
[[nodiscard]] std::int64_t milliseconds(setup::Duration duration);
