// SPDX-License-Identifier: MIT
#include "ctl/progress.h"

#include "ctl/wording.h"

#include <algorithm>
#include <array>
#include <poll.h>
#include <sys/ioctl.h>

namespace {

constexpr auto redraw_pace = std::chrono::milliseconds(100);

/// Columns of a terminal; of one that does not say it, what most have.
std::size_t width_of(int terminal) {
    winsize size{};
    const bool is_known = ioctl(terminal, TIOCGWINSZ, &size) == 0 && size.ws_col != 0;
    return is_known ? size.ws_col : 80;
}

std::string time_left_text(setup::Duration left) {
    const auto seconds = std::chrono::ceil<std::chrono::seconds>(left).count();
    const std::string digits = std::to_string(100 + seconds % 60);
    return std::to_string(seconds / 60) + ":" + digits.substr(1) + " left";
}

std::string bar_text(const Progress& progress, std::size_t width) {
    const std::size_t room = width - 2;
    const std::size_t full =
        progress.mappings == 0 ? room : room * progress.mappings_over / progress.mappings;
    return std::string("[").append(full, '#').append(room - full, '.') + "]";
}

} // namespace

std::string progress_text(const Progress& progress, std::size_t width) {
    constexpr std::size_t narrowest_bar = 12;
    constexpr std::size_t widest_bar = 42;
    const std::array<std::string, 4> words = {
        std::to_string(progress.mappings_over) + "/" + count_text(progress.mappings, "mapping"),
        count_text(progress.failures, "failure"),
        time_left_text(progress.left),
        std::to_string(progress.machines_over) + "/" + count_text(progress.machines, "machine"),
    };
    std::string text;
    for (const std::string& word : words) {
        const std::string next = (text.empty() ? " " : ", ") + word;
        if (narrowest_bar + text.size() + next.size() > width)
            break;
        text += next;
    }
    if (width < narrowest_bar)
        return {};
    return bar_text(progress, std::min(width - text.size(), widest_bar)) + text;
}

ProgressLine::ProgressLine(Output& output, setup::Time start)
    : output_(output), is_on_(is_able_terminal(output.descriptor())), due_(start + redraw_pace) {}

ProgressLine::~ProgressLine() {
    clear();
}

void ProgressLine::draw(const Progress& progress, setup::Time now) {
    due_ = now + redraw_pace;
    pollfd room{.fd = output_.descriptor(), .events = POLLOUT, .revents = 0};
    if (poll(&room, 1, 0) <= 0)
        return;
    // The last column stays free: many terminals start a new line behind it.
    output_.text(
        std::string("\r").append(progress_text(progress, width_of(output_.descriptor()) - 1)) +
        "\x1b[K");
    is_drawn_ = true;
}

void ProgressLine::clear() {
    if (is_drawn_)
        output_.text("\r\x1b[K");
    is_drawn_ = false;
}
