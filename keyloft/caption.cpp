// SPDX-License-Identifier: MIT
#include "keyloft/caption.h"

#include <QPainter>
#include <QStyle>

namespace {

constexpr int icon_gap = 6;

int icon_size(const QFont& font) {
    return QFontMetrics(font).height();
}

} // namespace

Caption::Caption(const QString& text, TintedImage& icon, QWidget* parent)
    : QLabel(text, parent), icon_(icon) {
    setAccessibleName(text);
    setTextFormat(Qt::PlainText);
    setWordWrap(true);
}

QString Caption::text_of(const Setting& setting) const {
    QString text = accessibleName();
    const auto gloss = text.lastIndexOf(u'(');
    return setting.broken && gloss > 0 ? text.insert(gloss, u'\n') : text;
}

/// The place that the text takes beside the icon.
QSize Caption::size_of(const Setting& setting) const {
    const QRect room(0, 0, width() - icon_size(setting.font) - icon_gap, QWIDGETSIZE_MAX);
    return QFontMetrics(setting.font)
        .boundingRect(room, Qt::AlignLeft | Qt::TextWordWrap, text_of(setting))
        .size();
}

bool Caption::fits(const Setting& setting, int height) const {
    const QSize size = size_of(setting);
    return size.width() <= width() - icon_size(setting.font) - icon_gap && size.height() <= height;
}

void Caption::set(const Setting& setting) {
    setFont(setting.font);
    setText(text_of(setting));
    // A label goes by the direction of its text; the column goes by the window's.
    setAlignment((isRightToLeft() ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignAbsolute |
                 Qt::AlignVCenter);
    setIndent(icon_size(setting.font) + icon_gap);
    setFixedHeight(size_of(setting).height());
}

void Caption::paintEvent(QPaintEvent* event) {
    QLabel::paintEvent(event);
    QPainter painter(this);
    const int size = icon_size(font());
    style()->drawItemPixmap(
        &painter, rect(),
        static_cast<int>(
            QStyle::visualAlignment(layoutDirection(), Qt::AlignLeft | Qt::AlignVCenter)),
        icon_.drawn({size, size}, devicePixelRatioF(), palette().color(foregroundRole())));
}
