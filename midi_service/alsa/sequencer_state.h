// SPDX-License-Identifier: MIT
#pragma once

#include <string>

/// What a person is told about a sequencer that cannot be used, and what helps, by negative errno.
/// `group` owns the sequencer's device node. One line.
[[nodiscard]] std::string sequencer_advice(int error, const std::string& group);

/// Tells on standard error why there is no sequencer: a line each time the reason changes. Screen
/// thread.
class SequencerState {
public:
    /// 0: it can be used, about which nothing is said; else a negative errno.
    void report(int error);

private:
    int known_ = 0;
};
