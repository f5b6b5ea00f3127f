// SPDX-License-Identifier: MIT
#pragma once

#include "keyloft/GeneratedAssetSymbols.h"

#include <QWidget>

/// One of the program's own pictures in one colour.
class TintedImage {
public:
    explicit TintedImage(ImageResource resource) : resource_(std::move(resource)) {}

    /// The picture as large as fits into `size` without distortion, for a screen with `ratio`
    /// pixels to the point. It is kept and drawn again only when it has to look different. Valid
    /// until the next call.
    [[nodiscard]] const QPixmap& drawn(QSize size, qreal ratio, const QColor& color);

private:
    ImageResource resource_;
    QPixmap drawn_{};
    QSize size_{};
    qreal ratio_ = 0;
    QColor color_{};
};

/// A picture in the red that can be seen best on the window's background, as large as the widget
/// allows. Not a QLabel, whose pixmap is blurred on a screen with another pixel ratio.
class Picture : public QWidget {
    Q_OBJECT
public:
    explicit Picture(const ImageResource& resource, QWidget* parent = nullptr);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    TintedImage image_;
};
