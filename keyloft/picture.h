// SPDX-License-Identifier: MIT
#pragma once

#include "keyloft/GeneratedAssetSymbols.h"
#include "keyloft/tinted_image.h"

#include <QWidget>

/// A picture in one colour, red as far as the palette lets it be read, as large as the widget
/// allows without distortion and crisp at every device pixel ratio.
class Picture : public QWidget {
    Q_OBJECT
public:
    explicit Picture(const ImageResource& resource, QWidget* parent = nullptr);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    TintedImage image_;
};
