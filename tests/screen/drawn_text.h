// SPDX-License-Identifier: MIT
#pragma once

#include <QFont>
#include <QImage>
#include <QPalette>
#include <QString>
#include <optional>

/// The colour that most pixels have.
[[nodiscard]] QColor most_frequent(const QImage& picture);

/// A text as it ought to look.
struct DrawnText {
    QString text;
    QFont font;
    QColor color;
    int width = 0; ///< at which it is wrapped, in points; 0: nowhere
};

/// Looks for a text, each of its pixels: gives the place of its ink in the picture, in points, or
/// nothing when the text is not there, is cut off, or looks different.
[[nodiscard]] std::optional<QRectF> find_text(const QImage& picture, const DrawnText& text);
