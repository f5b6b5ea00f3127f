// SPDX-License-Identifier: MIT
#pragma once

#include <QColor>
#include <QPixmap>
#include <functional>

/// A shape in one colour, drawn anew only when it has to look different.
class TintedImage {
public:
    /// Gives the shape, as large as `size` allows without distortion at a device pixel ratio; null
    /// when there is none.
    using Shape = std::function<QPixmap(QSize size, qreal ratio)>;

    explicit TintedImage(Shape shape);

    /// The shape filled with a colour. Valid until the next call.
    [[nodiscard]] const QPixmap& drawn(QSize size, qreal ratio, const QColor& color);

private:
    Shape shape_;
    QPixmap drawn_{};
    // What was asked for; a theme may have only a smaller one.
    QSize size_{};
    qreal ratio_ = 0;
    QColor color_{};
};
