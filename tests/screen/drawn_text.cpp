// SPDX-License-Identifier: MIT
#include "tests/screen/drawn_text.h"

#include <QFontMetrics>
#include <QPainter>
#include <QWidget>
#include <algorithm>
#include <map>

namespace {

int distance(QRgb one, QRgb other) {
    return std::max({std::abs(qRed(one) - qRed(other)), std::abs(qGreen(one) - qGreen(other)),
                     std::abs(qBlue(one) - qBlue(other))});
}

/// The part of a picture that differs from its background.
QRect ink(const QImage& picture, QRgb background) {
    QRect found;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            if (distance(picture.pixel(x, y), background) > 16)
                found |= QRect(x, y, 1, 1);
        }
    }
    return found;
}

/// The text alone, no larger than its ink. `shift` is less than a pixel.
QImage drawn_alone(const DrawnText& text, const QColor& background, qreal ratio, qreal shift) {
    const QFontMetrics metrics(text.font);
    const int flags = static_cast<int>(Qt::AlignLeft | Qt::AlignVCenter) |
                      (text.width > 0 ? Qt::TextWordWrap : Qt::TextSingleLine);
    const QRect bounds(0, 0, text.width > 0 ? text.width : QWIDGETSIZE_MAX, QWIDGETSIZE_MAX);
    const QSize size = metrics.boundingRect(bounds, flags, text.text).size();
    constexpr int margin = 4; // letters may reach beyond their place
    QImage image((size + QSize(2 * margin, 2 * margin)) * ratio, QImage::Format_RGB32);
    image.setDevicePixelRatio(ratio);
    image.fill(background);
    {
        QPainter painter(&image);
        painter.setFont(text.font);
        painter.setPen(text.color);
        const QSizeF room(text.width > 0 ? text.width : size.width() + 1, size.height());
        const QPointF start = QPointF(margin, margin) +
                              (text.width > 0 ? QPointF(0, shift) : QPointF(shift, 0)) / ratio;
        painter.drawText(QRectF(start, room), flags, text.text);
    }
    return image.copy(ink(image, background.rgb()));
}

template<typename Wanted>
QColor most_frequent(const QImage& picture, Wanted wanted) {
    std::map<QRgb, int> count;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            if (wanted(picture.pixel(x, y)))
                ++count[picture.pixel(x, y)];
        }
    }
    const auto most =
        std::ranges::max_element(count, {}, [](const auto& one) { return one.second; });
    return most == count.end() ? QColor() : QColor(most->first);
}

bool is_at(const QImage& picture, QPoint place, const QImage& text, int tolerance) {
    for (int y = 0; y < text.height(); ++y) {
        for (int x = 0; x < text.width(); ++x) {
            if (distance(picture.pixel(place.x() + x, place.y() + y), text.pixel(x, y)) > tolerance)
                return false;
        }
    }
    return true;
}

} // namespace

QColor most_frequent(const QImage& picture) {
    return most_frequent(picture, [](QRgb) { return true; });
}

/// What is behind a text in a frame.
static QColor background_of(QImage picture, const QColor& text) {
    constexpr int frame = 6;
    picture = picture.copy(picture.rect().adjusted(frame, frame, -frame, -frame));
    return most_frequent(picture, [&](QRgb pixel) { return distance(pixel, text.rgb()) > 48; });
}

std::optional<QRectF> find_text(const QImage& picture, const DrawnText& text) {
    const QColor background = background_of(picture, text.color);
    const qreal ratio = picture.devicePixelRatio();
    // Shaded backgrounds differ a little from their most frequent colour.
    const int tolerance = distance(text.color.rgb(), background.rgb()) * 2 / 5;
    // A text that is centred may start between two pixels.
    for (const qreal shift : {0.0, 0.25, 0.5, 0.75}) {
        const QImage alone = drawn_alone(text, background, ratio, shift);
        for (int y = 0; y + alone.height() <= picture.height(); ++y) {
            for (int x = 0; x + alone.width() <= picture.width(); ++x) {
                if (is_at(picture, {x, y}, alone, tolerance))
                    return QRectF(QPointF(x, y) / ratio, QSizeF(alone.size()) / ratio);
            }
        }
    }
    return std::nullopt;
}
