// SPDX-License-Identifier: MIT
#pragma once

#include "ctl/output.h"
#include "setup/clock.h"

#include <cstddef>
#include <string>

/// How far the work on many machines has come.
struct Progress {
    std::size_t machines = 0;
    std::size_t machines_over = 0;
    std::size_t mappings = 0; ///< of all machines
    std::size_t mappings_over = 0;
    std::size_t failures = 0; ///< mappings that are not confirmed
    setup::Duration left{};   ///< estimated
};

/// The progress as one line of at most `width` characters: a bar, and behind it as much in words as
/// there is room for.
[[nodiscard]] std::string progress_text(const Progress& progress, std::size_t width);

/// A line at the bottom of a terminal that is drawn again and again in the same place. Does nothing
/// where the output is no terminal, or a dumb one. It never waits for the terminal.
class ProgressLine {
public:
    /// Nothing is drawn in the first tenth of a second behind `start`: short work needs no bar.
    ProgressLine(Output& output, setup::Time start);
    /// Clears the line.
    ~ProgressLine();
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    /// Whether it is time to draw again.
    [[nodiscard]] bool is_due(setup::Time now) const { return is_on_ && now >= due_; }
    void draw(const Progress& progress, setup::Time now);
    /// Makes room for another line.
    void clear();

private:
    Output& output_;
    const bool is_on_;
    bool is_drawn_ = false;
    setup::Time due_; ///< when to draw next
};
