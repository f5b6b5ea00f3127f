// SPDX-License-Identifier: MIT
#include "ctl/output.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <poll.h>
#include <string>
#include <unistd.h>

namespace {

/// Whether a write would not wait: there is room, or it would fail.
bool is_ready(int descriptor) {
    pollfd room{.fd = descriptor, .events = POLLOUT, .revents = 0};
    return poll(&room, 1, 0) > 0;
}

/// The whole lines in front, as many as a pipe or terminal that is ready takes without waiting; of
/// a longer line a part.
std::string_view whole_lines(std::string_view text) {
    const std::string_view piece = text.substr(0, PIPE_BUF);
    const std::size_t last = piece.rfind('\n');
    return piece.substr(0, last == std::string_view::npos ? last : last + 1);
}

} // namespace

void Output::line(std::string_view text) {
    this->text(std::string(text) + "\n");
}

void Output::text(std::string_view rest) {
    if (is_patient_) {
        kept_ += rest;
        write_kept();
        return;
    }
    while (!rest.empty() && error_ == 0)
        rest.remove_prefix(write_some(rest));
}

void Output::write_kept() {
    std::size_t written = 0;
    while (written < kept_.size() && error_ == 0 && is_ready(descriptor_))
        written += write_some(whole_lines(std::string_view(kept_).substr(written)));
    kept_.erase(0, error_ == 0 ? written : kept_.size());
}

/// How much of it was written; 0 also when it has to be tried again.
std::size_t Output::write_some(std::string_view text) {
    const ssize_t written = write(descriptor_, text.data(), text.size());
    if (written >= 0)
        return static_cast<std::size_t>(written);
    if (errno == EAGAIN) {
        // The descriptor was made non-blocking by whoever shares it.
        pollfd room{.fd = descriptor_, .events = POLLOUT, .revents = 0};
        (void)poll(&room, 1, -1);
    } else if (errno != EINTR) {
        error_ = errno;
    }
    return 0;
}

bool is_able_terminal(int descriptor) {
    const char* const terminal = secure_getenv("TERM");
    return isatty(descriptor) != 0 && terminal != nullptr && std::string_view(terminal) != "dumb";
}

bool wants_colour(int descriptor) {
    const char* const no_colour = secure_getenv("NO_COLOR");
    return is_able_terminal(descriptor) && (no_colour == nullptr || *no_colour == '\0');
}
