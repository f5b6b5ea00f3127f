// SPDX-License-Identifier: MIT
#pragma once

#include "ctl/output.h"
#include "ctl/stop_signals.h"

#include <cstdint>
#include <string>

enum class Answer : std::uint8_t {
    yes,
    no,     ///< also when there is nothing to read any more
    stopped ///< a signal has come, which is still to be taken
};

/// Whether somebody can be asked: questions go to the one descriptor and answers come from the
/// other.
[[nodiscard]] bool can_ask(int input, const Output& questions);

/// Asks "TEXT [y/n] " until the answer is y, yes, n or no in upper or lower case. `signals` may be
/// null.
[[nodiscard]] Answer ask(const std::string& text, int input, Output& questions,
                         const StopSignals* signals);
