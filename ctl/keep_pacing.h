// SPDX-License-Identifier: MIT
#pragma once

#include "setup/clock.h"

#include <chrono>
#include <map>
#include <optional>
#include <string>

/// Files that are changing: says when to read them, since editors and version control take several
/// steps and leave none or half of a file in between.
class Settling {
public:
    /// Something has changed.
    void changed(setup::Time now);
    /// When to read: after a moment without a change, or after a while at the latest.
    [[nodiscard]] std::optional<setup::Time> due() const;
    /// Whether it is time to read; then the next change begins anew.
    [[nodiscard]] bool take(setup::Time now);

    static constexpr setup::Duration moment = std::chrono::milliseconds(200);
    static constexpr setup::Duration while_at_most = std::chrono::seconds(2);

private:
    std::optional<setup::Time> first_{};
    setup::Time last_{};
};

/// What has been said lately, so that a machine that comes and goes is not reported each time.
class SaidLately {
public:
    /// Whether this was not said within the last minute; it counts as said now.
    [[nodiscard]] bool is_news(const std::string& what, setup::Time now);

    static constexpr setup::Duration memory = std::chrono::minutes(1);

private:
    std::map<std::string, setup::Time> said_{};
};
