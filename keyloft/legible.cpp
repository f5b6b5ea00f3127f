// SPDX-License-Identifier: MIT
#include "keyloft/legible.h"

#include <QFontInfo>
#include <algorithm>
#include <cmath>

namespace {

double luminance(const QColor& color) {
    const auto linear = [](float channel) {
        const auto c = static_cast<double>(channel);
        return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) +
           0.0722 * linear(color.blueF());
}

/// Goes through `steps` pairs of a darker and a lighter colour until one has enough contrast.
template<typename Darker, typename Lighter>
QColor first_readable(const QColor& background, double ratio, int steps, Darker darker,
                      Lighter lighter) {
    QColor best = darker(0);
    for (int step = 0; step <= steps && contrast_ratio(best, background) < ratio; ++step) {
        for (const QColor& color : {darker(step), lighter(step)}) {
            if (contrast_ratio(color, background) > contrast_ratio(best, background))
                best = color;
        }
    }
    return best;
}

} // namespace

double contrast_ratio(const QColor& one, const QColor& other) {
    const auto [dark, light] = std::minmax({luminance(one), luminance(other)});
    return (light + 0.05) / (dark + 0.05);
}

QColor readable_gray(const QColor& background) {
    const auto gray = [](int value) { return QColor(value, value, value); };
    return first_readable(
        background, enough_contrast, 0x80, [&](int step) { return gray(0x80 - step); },
        [&](int step) { return gray(std::min(0xFF, 0x80 + step)); });
}

QColor readable_red(const QColor& background, double ratio) {
    return first_readable(
        background, ratio, 0x70, [](int step) { return QColor(std::max(0xA0, 0xFF - step), 0, 0); },
        [](int step) { return QColor(0xFF, step, step); });
}

QFont fitted_font(const QFont& font, const std::function<bool(const QFont&)>& fits) {
    constexpr double smallest = 8;
    constexpr double step = 0.5;
    QFont fitted = font;
    // A font with a size in pixels does not know its size in points.
    double size = font.pointSizeF() > 0 ? font.pointSizeF() : QFontInfo(font).pointSizeF();
    while (size > smallest && !fits(fitted)) {
        size = std::max(smallest, size - step);
        fitted.setPointSizeF(size);
    }
    return fitted;
}
