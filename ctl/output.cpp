// SPDX-License-Identifier: MIT
#include "ctl/output.h"

#include <cerrno>
#include <cstdlib>
#include <poll.h>
#include <string>
#include <unistd.h>

void Output::line(std::string_view text) {
    this->text(std::string(text) + "\n");
}

void Output::text(std::string_view rest) {
    while (!rest.empty() && error_ == 0) {
        const ssize_t written = write(descriptor_, rest.data(), rest.size());
        if (written >= 0) {
            rest.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno == EAGAIN) {
            // The descriptor was made non-blocking by whoever shares it.
            pollfd room{.fd = descriptor_, .events = POLLOUT, .revents = 0};
            (void)poll(&room, 1, -1);
        } else if (errno != EINTR) {
            error_ = errno;
        }
    }
}

bool wants_colour(int descriptor) {
    const char* const no_colour = secure_getenv("NO_COLOR");
    const char* const terminal = secure_getenv("TERM");
    return isatty(descriptor) != 0 && (no_colour == nullptr || *no_colour == '\0') &&
           terminal != nullptr && std::string_view(terminal) != "dumb";
}
