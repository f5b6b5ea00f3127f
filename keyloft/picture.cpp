// SPDX-License-Identifier: MIT
#include "keyloft/picture.h"

#include "keyloft/readable_color.h"

#include <QPainter>

QPixmap tinted(QPixmap shape, const QColor& color) {
    QPainter painter(&shape);
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(shape.rect(), color);
    return shape;
}

Picture::Picture(ImageResource resource, QWidget* parent)
    : QWidget(parent), resource_(std::move(resource)) {}

void Picture::paintEvent(QPaintEvent* /*event*/) {
    const QColor color = readable_color(Qt::red, palette().color(QPalette::Window));
    const qreal ratio = devicePixelRatioF();
    if (drawn_.isNull() || drawn_color_ != color || drawn_.devicePixelRatio() != ratio) {
        drawn_ = toolkit_image(resource_, size(), ratio);
        drawn_color_ = color;
        if (drawn_.isNull())
            return;
        drawn_ = tinted(drawn_, color);
    }
    const QSizeF drawn_size = drawn_.deviceIndependentSize();
    QPainter painter(this);
    painter.drawPixmap(
        QPointF((width() - drawn_size.width()) / 2, (height() - drawn_size.height()) / 2), drawn_);
}
