// SPDX-License-Identifier: MIT
#include "keyloft/action_button.h"

#include "keyloft/readable_color.h"
#include "keyloft/text_fit.h"

#include <QStyleOptionButton>
#include <QStylePainter>

ActionButton::ActionButton(const QString& text, const QColor& color, QWidget* parent)
    : QPushButton(text, parent), color_(color) {}

QRect ActionButton::text_rect() const {
    QStyleOptionButton option;
    initStyleOption(&option);
    return style()->subElementRect(QStyle::SE_PushButtonContents, &option, this);
}

QFont ActionButton::text_font() const {
    const int room = text_rect().width();
    return fitted_font(font(), [&](const QFont& smaller) {
        return QFontMetrics(smaller).size(Qt::TextShowMnemonic, text()).width() <= room;
    });
}

QColor ActionButton::text_color() const {
    if (!color_.isValid())
        return palette().color(QPalette::ButtonText);
    // Styles shade their buttons by as much as a third of the contrast, pressed ones most.
    constexpr double ratio = enough_contrast * 1.4;
    return readable_color(color_, palette().color(QPalette::Button), ratio);
}

void ActionButton::paintEvent(QPaintEvent* /*event*/) {
    QStylePainter painter(this);
    QStyleOptionButton option;
    initStyleOption(&option);
    option.palette.setColor(QPalette::ButtonText, text_color());
    painter.setFont(text_font());
    option.fontMetrics = painter.fontMetrics();
    painter.drawControl(QStyle::CE_PushButton, option);
}
