// SPDX-License-Identifier: MIT
#include "keyloft/drop_down.h"

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

/// The room between the title's place and the arrow's sign.
int DropDown::unused_room(const QStyleOptionComboBox& option) const {
    const auto place = [&](QStyle::SubControl part) {
        return style()->subControlRect(QStyle::CC_ComboBox, &option, part, this);
    };
    const QRect title = place(QStyle::SC_ComboBoxEditField);
    const int sign = place(QStyle::SC_ComboBoxArrow).center().x();
    constexpr int half_a_sign = 8;
    return std::max(0,
                    (isRightToLeft() ? title.left() - sign : sign - title.right()) - half_a_sign);
}

bool DropDown::fits() const {
    QStyleOptionComboBox option;
    initStyleOption(&option);
    constexpr int inset = 9; // from its place's edge to the title, in the Adwaita style
    const QRect title =
        style()->subControlRect(QStyle::CC_ComboBox, &option, QStyle::SC_ComboBoxEditField, this);
    const int room = title.width() + unused_room(option) - inset;
    for (int i = 0; i < count(); ++i) {
        if (fontMetrics().horizontalAdvance(itemText(i)) > room)
            return false;
    }
    return true;
}

void DropDown::paintEvent(QPaintEvent* /*event*/) {
    QStylePainter painter(this);
    QStyleOptionComboBox option;
    initStyleOption(&option);
    painter.drawComplexControl(QStyle::CC_ComboBox, option);
    // The Adwaita style would cut the title well before the arrow: of 130 points it uses 78.
    const int room = unused_room(option);
    option.rect.adjust(isRightToLeft() ? -room : 0, 0, isRightToLeft() ? 0 : room, 0);
    painter.drawControl(QStyle::CE_ComboBoxLabel, option);
}

void DropDown::wheelEvent(QWheelEvent* event) {
    event->ignore();
}
