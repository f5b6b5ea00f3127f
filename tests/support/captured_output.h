// SPDX-License-Identifier: MIT
#pragma once

#include <string>

/// Catches everything the process writes to standard output, on any thread, while it lives.
class CapturedOutput {
public:
    CapturedOutput();
    ~CapturedOutput();
    CapturedOutput(const CapturedOutput&) = delete;
    CapturedOutput& operator=(const CapturedOutput&) = delete;

    /// What was written since the start or the last call.
    [[nodiscard]] std::string take();

private:
    int saved_; ///< the real standard output
    int file_;  ///< what stands in for it, an unnamed file
};
