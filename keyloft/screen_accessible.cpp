// SPDX-License-Identifier: MIT
#include "keyloft/screen_accessible.h"

#include "keyloft/ContentView.h"
#include "keyloft/drop_down.h"
#include "keyloft/menu_accessible.h"
#include "keyloft/picture.h"
#include "keyloft/result_alert.h"

#include <QAccessible>
#include <QAccessibleWidget>

static QAccessibleInterface* accessible(const QString& class_name, QObject* object) {
    const auto is = [&](const QMetaObject& type) {
        return class_name == QLatin1StringView(type.className());
    };
    if (is(DropDown::staticMetaObject))
        return new_menu_accessible(static_cast<DropDown*>(object));
    if (is(ResultAlert::staticMetaObject))
        return new QAccessibleWidget(static_cast<QWidget*>(object), QAccessible::AlertMessage);
    if (is(Picture::staticMetaObject))
        return new QAccessibleWidget(static_cast<QWidget*>(object), QAccessible::Graphic);
    if (is(ContentView::staticMetaObject))
        return new QAccessibleWidget(static_cast<QWidget*>(object), QAccessible::Window);
    return nullptr;
}

void install_screen_accessible() {
    QAccessible::installFactory(accessible);
}
