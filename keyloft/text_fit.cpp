// SPDX-License-Identifier: MIT
#include "keyloft/text_fit.h"

#include <QFontInfo>

QFont fitted_font(const QFont& font, const std::function<bool(const QFont&)>& fits) {
    constexpr double smallest = 8;
    constexpr double step = 0.5;
    QFont fitted = font;
    // The font's own size may be given in pixels, where the font itself knows no points.
    double size = QFontInfo(font).pointSizeF();
    while (size > smallest && !fits(fitted)) {
        size = std::max(smallest, size - step);
        fitted.setPointSizeF(size);
    }
    return fitted;
}
