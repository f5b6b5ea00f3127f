// SPDX-License-Identifier: MIT
#pragma once

#include "keyloft/tinted_image.h"

#include <QLabel>

/// A caption: an icon and a text, on one line or wrapped, whole at every font size. The icon
/// is as high as the first line and stands beside it.
class Caption : public QLabel {
    Q_OBJECT
public:
    /// The icon is shared with other captions, and has to outlive this one's last paint event.
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
    [[nodiscard]] const Setting& setting() const { return setting_; }

    /// Where the text and the icon are drawn. Tests measure them.
    [[nodiscard]] QRectF text_rect() const;
    [[nodiscard]] QRectF icon_rect() const;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    TintedImage& icon_;
    Setting setting_{};
};
