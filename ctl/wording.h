// SPDX-License-Identifier: MIT
#pragma once

#include "setup/exchange.h"
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

using setup::printable;

/// Whole milliseconds, rounded.
[[nodiscard]] std::int64_t milliseconds(setup::Duration duration);
