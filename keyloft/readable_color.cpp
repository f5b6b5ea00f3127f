// SPDX-License-Identifier: MIT
#include "keyloft/readable_color.h"

#include <algorithm>
#include <cmath>

static double luminance(const QColor& color) {
    const auto linear = [](float channel) {
        const auto c = static_cast<double>(channel);
        return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) +
           0.0722 * linear(color.blueF());
}

double contrast_ratio(const QColor& one, const QColor& other) {
    const auto [dark, light] = std::minmax({luminance(one), luminance(other)});
    return (light + 0.05) / (dark + 0.05);
}

QColor readable_color(const QColor& wanted, const QColor& background, double ratio) {
    const bool darker =
        contrast_ratio(Qt::black, background) > contrast_ratio(Qt::white, background);
    const float end = darker ? 0.0F : 1.0F;
    float hue = 0;
    float saturation = 0;
    float lightness = 0;
    wanted.getHslF(&hue, &saturation, &lightness);
    QColor color = wanted;
    while (contrast_ratio(color, background) < ratio && lightness != end) {
        lightness = darker ? std::max(end, lightness - 0.01F) : std::min(end, lightness + 0.01F);
        color.setHslF(hue, saturation, lightness);
    }
    return color;
}
