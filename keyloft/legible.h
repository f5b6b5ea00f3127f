// SPDX-License-Identifier: MIT
#pragma once

#include <QColor>
#include <QFont>
#include <functional>

// Legible texts: colours that stand out from their background, and sizes that fit their place.

/// The contrast ratio of two opaque colours as WCAG 2 defines it: 1 (equal) to 21 (black on white).
[[nodiscard]] double contrast_ratio(const QColor& one, const QColor& other);

/// The lowest contrast that texts need (WCAG 2 AA).
inline constexpr double enough_contrast = 4.5;

/// The grey nearest to the middle one, lighter or darker, that has enough contrast with
/// `background`.
[[nodiscard]] QColor readable_gray(const QColor& background);

/// The red nearest to pure red, lighter or darker, whose contrast with `background` is at least
/// `ratio`; the one with the most contrast if none has that much. It is always a red: at least 0xA0
/// of red, green equal to blue and at most 0x70.
[[nodiscard]] QColor readable_red(const QColor& background, double ratio = enough_contrast);

/// The same font at the largest size, from its own downwards in half points, for which `fits` is
/// true; at 8 points if there is none. A font smaller than that keeps its size.
[[nodiscard]] QFont fitted_font(const QFont& font, const std::function<bool(const QFont&)>& fits);
