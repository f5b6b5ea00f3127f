// SPDX-License-Identifier: MIT
#include "keyloft/picture.h"

#include "keyloft/readable_color.h"

#include <QPainter>

Picture::Picture(const ImageResource& resource, QWidget* parent)
    : QWidget(parent), image_(std::bind_front(&toolkit_image, resource)) {}

void Picture::paintEvent(QPaintEvent* /*event*/) {
    const QColor color = readable_color(Qt::red, palette().color(QPalette::Window));
    const QPixmap& drawn = image_.drawn(size(), devicePixelRatioF(), color);
    const QSizeF drawn_size = drawn.deviceIndependentSize();
    QPainter painter(this);
    painter.drawPixmap(
        QPointF((width() - drawn_size.width()) / 2, (height() - drawn_size.height()) / 2), drawn);
}
