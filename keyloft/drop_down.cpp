// SPDX-License-Identifier: MIT
#include "keyloft/drop_down.h"

#include "keyloft/text_fit.h"

#include <QAbstractItemView>
#include <QStylePainter>
#include <QWheelEvent>

DropDown::DropDown(const QStringList& items, QWidget* parent) : QComboBox(parent) {
    addItems(items);
    setMaxVisibleItems(static_cast<int>(items.size()));
}

void DropDown::choose(int index) {
    setCurrentIndex(index);
    Q_EMIT activated(index);
    Q_EMIT textActivated(itemText(index));
}

QRect DropDown::title_rect() const {
    QStyleOptionComboBox option;
    initStyleOption(&option);
    const QRect field =
        style()->subControlRect(QStyle::CC_ComboBox, &option, QStyle::SC_ComboBoxEditField, this);
    // Styles draw the title one pixel inside its field.
    return field.adjusted(1, 0, -1, 0);
}

QFont DropDown::title_font() const {
    const int room = title_rect().width();
    return fitted_font(font(), [&](const QFont& smaller) {
        return QFontMetrics(smaller).horizontalAdvance(currentText()) <= room;
    });
}

void DropDown::showPopup() {
    // The list is as wide as the menu unless told otherwise, and would elide what is wider.
    view()->setMinimumWidth(view()->sizeHintForColumn(0) + 2 * view()->frameWidth());
    QComboBox::showPopup();
}

void DropDown::paintEvent(QPaintEvent* /*event*/) {
    QStylePainter painter(this);
    QStyleOptionComboBox option;
    initStyleOption(&option);
    painter.drawComplexControl(QStyle::CC_ComboBox, option);
    painter.setFont(title_font());
    option.fontMetrics = painter.fontMetrics();
    painter.drawControl(QStyle::CE_ComboBoxLabel, option);
}

void DropDown::wheelEvent(QWheelEvent* event) {
    event->ignore();
}
