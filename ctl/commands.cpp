// SPDX-License-Identifier: MIT
#include "ctl/commands.h"

#include "ctl/wording.h"
#include "setup/waiting.h"

#include <array>

void Workplace::tell(const std::string& sentence) {
    errors.line("keyloftctl: " + printable(sentence));
}

bool Workplace::is_stopped() {
    if (signals != nullptr && !stopped_by)
        stopped_by = signals->take();
    return stopped_by.has_value();
}

Woken Workplace::wait(const setup::Inbox& inbox, std::optional<setup::Time> until) {
    std::array<pollfd, 4> polled = {{
        {.fd = inbox.descriptor(), .events = POLLIN, .revents = 0},
        {.fd = system.backend().changes(), .events = POLLIN, .revents = 0},
        {.fd = signals != nullptr ? signals->descriptor() : -1, .events = POLLIN, .revents = 0},
        // Nothing is asked for: poll() says all the same when a pipe's reader has gone.
        {.fd = output.descriptor(), .events = 0, .revents = 0},
    }};
    setup::wait_readable(polled, until);
    return {.by_changes = polled[1].revents != 0,
            .is_over = is_stopped() || polled[3].revents != 0};
}

WallTime wall_time(setup::Time at) {
    const auto ago = setup::steady_now() - at;
    return std::chrono::system_clock::now() -
           std::chrono::duration_cast<std::chrono::system_clock::duration>(ago);
}
