// SPDX-License-Identifier: MIT
#include "ctl/keep_pacing.h"

#include <algorithm>

void Settling::changed(setup::Time now) {
    if (!first_)
        first_ = now;
    last_ = now;
}

std::optional<setup::Time> Settling::due() const {
    if (!first_)
        return std::nullopt;
    return std::min(last_ + moment, *first_ + while_at_most);
}

bool Settling::take(setup::Time now) {
    const bool is_due = due() && *due() <= now;
    if (is_due)
        first_.reset();
    return is_due;
}

bool SaidLately::is_news(const std::string& what, setup::Time now) {
    std::erase_if(said_, [now](const auto& entry) { return now - entry.second >= memory; });
    return said_.emplace(what, now).second;
}
