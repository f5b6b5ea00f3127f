// SPDX-License-Identifier: MIT
#pragma once

#include "keyloft/picture.h"

#include <QLabel>

/// A caption: an icon and a text of one or more lines. Its accessible name is the text on one line.
class Caption : public QLabel {
    Q_OBJECT
public:
    /// Other captions may use the same icon, which has to outlive this one's last paint event.
    Caption(const QString& text, TintedImage& icon, QWidget* parent = nullptr);

    /// How the text is set: in which font, and whether the gloss in parentheses starts a line.
    struct Setting {
        QFont font;
        bool broken = false;
    };

    /// Whether the whole text has its place in the caption's width and `height` when set so.
    [[nodiscard]] bool fits(const Setting& setting, int height) const;
    /// Sets the text so, and makes the caption as high as that needs.
    void set(const Setting& setting);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    [[nodiscard]] QString text_of(const Setting& setting) const;
    [[nodiscard]] QSize size_of(const Setting& setting) const;

    TintedImage& icon_;
};
