// SPDX-License-Identifier: MIT
#pragma once

#include "ctl/commands.h"
#include "setup/layout.h"

/// Says on standard error what is wrong in a layout, and what is worth a look. Whether it may be
/// used: nothing is wrong.
[[nodiscard]] bool accept_layout(const setup::Layout& layout, Workplace& place);

/// The layout of the request's files, for the machine that -m names if it does. What is wrong with
/// it is said; then there is none.
[[nodiscard]] std::optional<setup::Layout> accepted_layout(const Request& request,
                                                           Workplace& place);
