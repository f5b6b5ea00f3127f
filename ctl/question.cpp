// SPDX-License-Identifier: MIT
#include "ctl/question.h"

#include "setup/waiting.h"

#include <array>
#include <cerrno>
#include <optional>
#include <unistd.h>

namespace {

/// The next line, with its end. Nothing when a signal comes first.
std::optional<std::string> read_line(int input, const StopSignals* signals) {
    std::string line;
    while (!line.ends_with('\n')) {
        std::array<pollfd, 2> polled = {{
            {.fd = input, .events = POLLIN, .revents = 0},
            {.fd = signals != nullptr ? signals->descriptor() : -1, .events = POLLIN, .revents = 0},
        }};
        setup::wait_readable(polled, std::nullopt);
        if (polled[1].revents != 0)
            return std::nullopt;
        if (polled[0].revents == 0)
            continue;
        // One byte at a time: what follows the line is for the next reader.
        char letter = 0;
        const ssize_t length = read(input, &letter, 1);
        if (length == 1)
            line += letter;
        else if (length == 0 || errno != EINTR)
            break;
    }
    return line;
}

std::optional<Answer> answer_in(std::string_view line) {
    if (line == "y\n" || line == "Y\n" || line == "yes\n" || line == "Yes\n" || line == "YES\n")
        return Answer::yes;
    if (line == "n\n" || line == "N\n" || line == "no\n" || line == "No\n" || line == "NO\n")
        return Answer::no;
    return std::nullopt;
}

} // namespace

bool can_ask(int input, const Output& questions) {
    return isatty(input) != 0 && isatty(questions.descriptor()) != 0;
}

Answer ask(const std::string& text, int input, Output& questions, const StopSignals* signals) {
    for (;;) {
        questions.text(text + " [y/n] ");
        const auto line = read_line(input, signals);
        if (line && line->ends_with('\n') && !answer_in(*line))
            continue;
        if (line && line->ends_with('\n'))
            return *answer_in(*line);
        // The terminal's cursor is still behind the question.
        questions.text("\n");
        return line ? Answer::no : Answer::stopped;
    }
}
