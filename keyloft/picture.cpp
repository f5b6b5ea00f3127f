// SPDX-License-Identifier: MIT
#include "keyloft/picture.h"

#include "keyloft/legible.h"

#include <QPainter>
#include <QStyle>

const QPixmap& TintedImage::drawn(QSize size, qreal ratio, const QColor& color) {
    if (drawn_.isNull() || size_ != size || ratio_ != ratio || color_ != color) {
        drawn_ = toolkit_image(resource_, size, ratio);
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

Picture::Picture(const ImageResource& resource, QWidget* parent)
    : QWidget(parent), image_(resource) {}

void Picture::paintEvent(QPaintEvent* /*event*/) {
    const QColor color = readable_red(palette().color(QPalette::Window));
    QPainter painter(this);
    style()->drawItemPixmap(&painter, rect(), Qt::AlignCenter,
                            image_.drawn(size(), devicePixelRatioF(), color));
}
