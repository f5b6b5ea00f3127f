// SPDX-License-Identifier: MIT
#pragma once

#include <optional>

#include <termios.h>

/// Single keys from a terminal, without Enter and without an echo. The terminal is as it was when
/// the object ends. One thread.
class Keyboard {
public:
    /// `descriptor` may also be no terminal, or closed: there are no keys then.
    explicit Keyboard(int descriptor);
    ~Keyboard();
    Keyboard(const Keyboard&) = delete;
    Keyboard& operator=(const Keyboard&) = delete;

    /// Looks anew whether there are keys to be had: a program in the background must leave the
    /// terminal alone. To be called when the program was continued.
    void look();

    /// What to poll for keys; -1 while there are none to be had.
    [[nodiscard]] int descriptor() const { return active_ ? descriptor_ : -1; }
    /// The key that was pressed. Nothing: the terminal is gone, and there are no keys any more.
    [[nodiscard]] std::optional<char> read();

private:
    const int descriptor_;
    bool active_ = false;
    std::optional<termios> before_{}; ///< the terminal's settings as they were found
};
