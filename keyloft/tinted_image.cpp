// SPDX-License-Identifier: MIT
#include "keyloft/tinted_image.h"

#include <QPainter>

TintedImage::TintedImage(Shape shape) : shape_(std::move(shape)) {}

const QPixmap& TintedImage::drawn(QSize size, qreal ratio, const QColor& color) {
    if (drawn_.isNull() || size_ != size || ratio_ != ratio || color_ != color) {
        drawn_ = shape_(size, ratio);
        size_ = size;
        ratio_ = ratio;
        color_ = color;
        if (!drawn_.isNull()) {
            QPainter painter(&drawn_);
            painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
            painter.fillRect(drawn_.rect(), color);
        }
    }
    return drawn_;
}
