// SPDX-License-Identifier: MIT
#pragma once

#include <optional>

#include <termios.h>

/// Reads single keys from a terminal, without Enter and without echo. The destructor restores the
/// terminal's settings. One thread.
class Keyboard {
public:
    /// Without a terminal behind `descriptor`, which may also be -1, there are no keys.
    explicit Keyboard(int descriptor);
    ~Keyboard();
    Keyboard(const Keyboard&) = delete;
    Keyboard& operator=(const Keyboard&) = delete;

    /// Checks whether the program is in the foreground: in the background it must leave the
    /// terminal alone. To be called after SIGCONT.
    void look();

    /// To poll for keys; -1 while there are none.
    [[nodiscard]] int descriptor() const { return active_ ? descriptor_ : -1; }
    /// The key that was pressed. Nothing if the terminal has gone; there are no more keys then.
    [[nodiscard]] std::optional<char> read();

private:
    const int descriptor_;
    bool active_ = false;
    std::optional<termios> before_{}; ///< settings to restore
};
