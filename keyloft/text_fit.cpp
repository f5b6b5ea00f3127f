// SPDX-License-Identifier: MIT
#include "keyloft/text_fit.h"

#include <QFontInfo>

QFont fitted_font(const QFont& font, const std::function<bool(const QFont&)>& fits) {
    constexpr double smallest = 8;
    constexpr double step = 0.5;
    QFont fitted = font;
    // A font whose size is given in pixels knows no points itself.
    double size = font.pointSizeF() > 0 ? font.pointSizeF() : QFontInfo(font).pointSizeF();
    while (size > smallest && !fits(fitted)) {
        size = std::max(smallest, size - step);
        fitted.setPointSizeF(size);
    }
    return fitted;
}
