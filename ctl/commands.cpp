// SPDX-License-Identifier: MIT
#include "ctl/commands.h"

#include "ctl/wording.h"

void Workplace::tell(const std::string& sentence) {
    errors.line("keyloftctl: " + printable(sentence));
}

bool Workplace::is_stopped() {
    if (signals != nullptr && !stopped_by)
        stopped_by = signals->take();
    return stopped_by.has_value();
}
