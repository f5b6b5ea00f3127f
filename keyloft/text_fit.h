// SPDX-License-Identifier: MIT
#pragma once

#include <QFont>
#include <functional>

/// The same font at the largest size, from its own downwards in half points, for which `fits`
/// holds; at 8 points when none does. A font smaller than that stays as it is.
[[nodiscard]] QFont fitted_font(const QFont& font, const std::function<bool(const QFont&)>& fits);
