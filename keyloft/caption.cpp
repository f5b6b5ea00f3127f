// SPDX-License-Identifier: MIT
#include "keyloft/caption.h"

#include <QPainter>
#include <QTextLayout>
#include <cmath>

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
        double ascent = 0;
        double step = 0;
        for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
            line.setLineWidth(width);
            ascent = std::max(ascent, line.ascent());
            step = std::max(step, line.height());
            size.setWidth(std::max(size.width(), line.naturalTextWidth()));
        }
        layout.endLayout();
        // Lines of two scripts differ in height; their distance does not.
        for (int i = 0; i < layout.lineCount(); ++i)
            layout.lineAt(i).setPosition({0, i * step + ascent - layout.lineAt(i).ascent()});
        line_height = step;
        size.setHeight(layout.lineCount() * step);
    }

    QTextLayout layout;
    QSizeF size{0, 0};
    double line_height = 0;
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

Lines lines_of(const Caption& caption, const Caption::Setting& setting) {
    return {shown_text(caption.text(), setting.broken), setting,
            caption.width() - text_left(setting)};
}

QRectF place_of(const Lines& lines, const Caption& caption) {
    return {QPointF(text_left(caption.setting()), (caption.height() - lines.size.height()) / 2),
            lines.size};
}

QRectF place_of_icon(const Lines& lines, const Caption& caption) {
    const double size = icon_size(caption.setting().font);
    const double top = place_of(lines, caption).top();
    return {0, std::round(top + (lines.line_height - size) / 2), size, size};
}

} // namespace

Caption::Caption(const QString& text, TintedImage& icon, QWidget* parent)
    : QLabel(text, parent), icon_(icon) {
    setTextFormat(Qt::PlainText);
}

bool Caption::fits(const Setting& setting, int height) const {
    const QSizeF size = lines_of(*this, setting).size;
    return size.width() <= width() - text_left(setting) && size.height() <= height;
}

void Caption::set(const Setting& setting) {
    setting_ = setting;
    const double height = lines_of(*this, setting).size.height();
    setFixedHeight(static_cast<int>(std::ceil(std::max(height, icon_size(setting.font)))));
    update();
}

QRectF Caption::text_rect() const {
    return place_of(lines_of(*this, setting_), *this);
}

QRectF Caption::icon_rect() const {
    return place_of_icon(lines_of(*this, setting_), *this);
}

void Caption::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    const QColor color = palette().color(foregroundRole());
    painter.setPen(color);
    const Lines lines = lines_of(*this, setting_);
    const QRectF icon = place_of_icon(lines, *this);
    painter.drawPixmap(icon.topLeft(),
                       icon_.drawn(icon.size().toSize(), devicePixelRatioF(), color));
    lines.layout.draw(&painter, place_of(lines, *this).topLeft());
}
