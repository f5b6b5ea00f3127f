// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>

/// A terminal without a screen, and somebody in front of it. It reads whole lines, shows nothing of
/// what is typed, and leaves the ends of lines as they are.
class Terminal {
public:
    /// What Ctrl-D sends.
    static inline const std::string end_of_input = "\x04";

    Terminal();
    ~Terminal();
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    /// The end that a program reads and writes.
    [[nodiscard]] int program_end() const { return program_end_; }

    /// Types whole lines, or the end of the input; returns when a program can read them.
    void type(const std::string& text) const;
    /// The next so many bytes that a program writes; waits for them.
    [[nodiscard]] std::string shown(std::size_t length) const;
    void hang_up();

private:
    int own_end_;
    int program_end_;
};
