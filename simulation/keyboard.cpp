// SPDX-License-Identifier: MIT
#include "simulation/keyboard.h"

#include <unistd.h>

Keyboard::Keyboard(int descriptor) : descriptor_(descriptor) {
    look();
}

Keyboard::~Keyboard() {
    if (active_ && before_)
        tcsetattr(descriptor_, TCSANOW, &*before_);
}

void Keyboard::look() {
    // The kernel stops a background program that reads or changes its terminal.
    active_ = isatty(descriptor_) != 0 && tcgetpgrp(descriptor_) == getpgrp();
    if (!active_)
        return;
    termios settings{};
    if (tcgetattr(descriptor_, &settings) != 0) {
        active_ = false;
        return;
    }
    if (!before_)
        before_ = settings;
    settings.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    tcsetattr(descriptor_, TCSANOW, &settings);
}

std::optional<char> Keyboard::read() {
    char key = 0;
    if (::read(descriptor_, &key, 1) == 1)
        return key;
    active_ = false;
    return std::nullopt;
}
