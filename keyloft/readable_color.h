// SPDX-License-Identifier: MIT
#pragma once

#include <QColor>

/// The contrast ratio of two opaque colours as WCAG 2 defines it: 1 (equal) to 21 (black on white).
[[nodiscard]] double contrast_ratio(const QColor& one, const QColor& other);

/// The colour nearest to `wanted`, lighter or darker, that can be read on `background`: its
/// contrast is at least 4.5, with a reserve for the shading of buttons where colours allow it.
[[nodiscard]] QColor readable_color(const QColor& wanted, const QColor& background);
