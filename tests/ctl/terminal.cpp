// SPDX-License-Identifier: MIT
#include "tests/ctl/terminal.h"

#include <array>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <termios.h>
#include <unistd.h>

Terminal::Terminal() : own_end_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    std::array<char, 64> name{};
    if (grantpt(own_end_) != 0 || unlockpt(own_end_) != 0 ||
        ptsname_r(own_end_, name.data(), name.size()) != 0)
        throw std::runtime_error("no terminal");
    program_end_ = open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    termios settings{};
    if (program_end_ < 0 || tcgetattr(program_end_, &settings) != 0)
        throw std::runtime_error("no other end of the terminal");
    settings.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    settings.c_oflag &= ~static_cast<tcflag_t>(OPOST);
    tcsetattr(program_end_, TCSANOW, &settings);
}

Terminal::~Terminal() {
    hang_up();
    close(program_end_);
}

void Terminal::type(const std::string& text) const {
    if (write(own_end_, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
        throw std::runtime_error("the terminal takes no more");
    pollfd arrived{.fd = program_end_, .events = POLLIN, .revents = 0};
    (void)poll(&arrived, 1, -1);
}

std::string Terminal::shown(std::size_t length) const {
    std::string text;
    for (char letter = 0; text.size() < length && read(own_end_, &letter, 1) == 1;)
        text += letter;
    return text;
}

void Terminal::hang_up() {
    if (own_end_ >= 0)
        close(own_end_);
    own_end_ = -1;
}
