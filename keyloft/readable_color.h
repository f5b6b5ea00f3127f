// SPDX-License-Identifier: MIT
#pragma once

#include <QColor>

/// The contrast ratio of two opaque colours as WCAG 2 defines it: 1 (equal) to 21 (black on white).
[[nodiscard]] double contrast_ratio(const QColor& one, const QColor& other);

/// The lowest contrast that texts need (WCAG 2 AA).
inline constexpr double enough_contrast = 4.5;

/// The colour nearest to `wanted`, lighter or darker, whose contrast with `background` is at least
/// `ratio`; black or white where no shade of it has as much.
[[nodiscard]] QColor readable_color(const QColor& wanted, const QColor& background,
                                    double ratio = enough_contrast);
