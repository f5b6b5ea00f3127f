// SPDX-License-Identifier: MIT
#pragma once

#include "keyloft/GeneratedAssetSymbols.h"

#include <QWidget>

/// A picture in one colour, red as far as the palette lets it be read, as large as the widget
/// allows without distortion and crisp at every device pixel ratio.
class Picture : public QWidget {
    Q_OBJECT
public:
    explicit Picture(ImageResource resource, QWidget* parent = nullptr);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    ImageResource resource_;
    QPixmap drawn_{};      ///< the tinted picture as last drawn
    QColor drawn_color_{}; ///< its colour
};

/// The picture's shape filled with a colour.
[[nodiscard]] QPixmap tinted(QPixmap shape, const QColor& color);
