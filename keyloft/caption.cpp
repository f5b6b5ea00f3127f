// SPDX-License-Identifier: MIT
#include "keyloft/caption.h"

#include "keyloft/picture.h"

#include <QIcon>
#include <QPainter>
#include <QTextLayout>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

constexpr double icon_gap = 6;

double icon_size(const QFont& font) {
    return std::round(QFontMetricsF(font).height());
}

/// The text's lines, laid out from the top left corner of the text's own place.
struct Lines {
    Lines(const QString& text, const Caption::Setting& setting, double width)
        : layout(text, setting.font) {
        QTextOption option;
        option.setWrapMode(QTextOption::WordWrap);
        layout.setTextOption(option);
        layout.beginLayout();
        for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
            line.setLineWidth(width);
            line.setPosition({0, size.height()});
            size.setWidth(std::max(size.width(), line.naturalTextWidth()));
            size.setHeight(size.height() + line.height());
        }
        layout.endLayout();
    }

    QTextLayout layout;
    QSizeF size{0, 0};
};

QString shown_text(const QString& text, bool broken) {
    const auto gloss = static_cast<qsizetype>(text.lastIndexOf(u'('));
    if (!broken || gloss < 1)
        return text;
    return text.left(gloss) + QChar(QChar::LineSeparator) + text.mid(gloss);
}

double text_left(const Caption::Setting& setting) {
    return icon_size(setting.font) + icon_gap;
}

} // namespace

Caption::Caption(const QString& text, QWidget* parent) : QLabel(text, parent) {
    setTextFormat(Qt::PlainText);
}

bool Caption::fits(const Setting& setting, int height) const {
    const double room = width() - text_left(setting);
    const QSizeF size = Lines(shown_text(text(), setting.broken), setting, room).size;
    return size.width() <= room && size.height() <= height;
}

void Caption::set(const Setting& setting) {
    setting_ = setting;
    const double room = width() - text_left(setting);
    const Lines lines(shown_text(text(), setting.broken), setting, room);
    setFixedHeight(
        static_cast<int>(std::ceil(std::max(lines.size.height(), icon_size(setting.font)))));
    update();
}

QRectF Caption::text_rect() const {
    const double left = text_left(setting_);
    const Lines lines(shown_text(text(), setting_.broken), setting_, width() - left);
    return {QPointF(left, (height() - lines.size.height()) / 2), lines.size};
}

QRectF Caption::icon_rect() const {
    const double left = text_left(setting_);
    const Lines lines(shown_text(text(), setting_.broken), setting_, width() - left);
    const double size = icon_size(setting_.font);
    const double top = (height() - lines.size.height()) / 2;
    return {0, std::round(top + (lines.layout.lineAt(0).height() - size) / 2), size, size};
}

void Caption::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    const QColor color = palette().color(foregroundRole());
    painter.setPen(color);

    const QRectF icon = icon_rect();
    const QSize size = icon.size().toSize();
    const qreal ratio = devicePixelRatioF();
    const QIcon theme =
        QIcon::fromTheme(u"weather-snow-symbolic"_s, QIcon::fromTheme(u"weather-snow"_s));
    QPixmap snow = theme.pixmap(size, ratio);
    if (snow.isNull())
        snow = toolkit_image({u"snow"_s, resourceBundle()}, size, ratio);
    painter.drawPixmap(icon.topLeft(), tinted(snow, color));

    const double left = text_left(setting_);
    const Lines lines(shown_text(text(), setting_.broken), setting_, width() - left);
    lines.layout.draw(&painter, text_rect().topLeft());
}
