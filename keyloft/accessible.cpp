// SPDX-License-Identifier: MIT
#include "keyloft/ContentView.h"

#include "keyloft/drop_down.h"
#include "keyloft/picture.h"

#include <QAbstractItemView>
#include <QAccessible>
#include <QAccessibleWidget>
#include <QPointer>
#include <vector>

namespace {

/// A menu's item, for screen readers and other programs on the accessibility bus.
class ItemAccessible final : public QAccessibleInterface, public QAccessibleActionInterface {
public:
    ItemAccessible(DropDown* menu, int index) : menu_(menu), index_(index) {}

    bool isValid() const override { return menu_ && index_ < menu_->count(); }
    QObject* object() const override { return nullptr; }
    QAccessibleInterface* parent() const override {
        return QAccessible::queryAccessibleInterface(menu_);
    }
    QAccessibleInterface* child(int /*index*/) const override { return nullptr; }
    QAccessibleInterface* childAt(int /*x*/, int /*y*/) const override { return nullptr; }
    int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface* /*child*/) const override { return -1; }
    QAccessible::Role role() const override { return QAccessible::ListItem; }
    QString text(QAccessible::Text kind) const override {
        return kind == QAccessible::Name && isValid() ? menu_->itemText(index_) : QString();
    }
    void setText(QAccessible::Text /*kind*/, const QString& /*text*/) override {}
    QRect rect() const override {
        if (!isValid() || !menu_->view()->isVisible())
            return {};
        const QRect item = menu_->view()->visualRect(menu_->model()->index(index_, 0));
        return {menu_->view()->viewport()->mapToGlobal(item.topLeft()), item.size()};
    }
    QAccessible::State state() const override {
        QAccessible::State state;
        if (!isValid()) {
            state.invalid = true;
            return state;
        }
        state.selectable = true;
        state.selected = index_ == menu_->currentIndex();
        state.disabled = !menu_->isEnabled();
        state.invisible = !menu_->isVisible();
        state.offscreen = !state.invisible && !menu_->view()->isVisible();
        return state;
    }

    void* interface_cast(QAccessible::InterfaceType type) override {
        return type == QAccessible::ActionInterface ? static_cast<QAccessibleActionInterface*>(this)
                                                    : nullptr;
    }
    QStringList actionNames() const override { return {pressAction()}; }
    void doAction(const QString& action) override {
        if (action != pressAction() || !isValid() || !menu_->isEnabled())
            return;
        menu_->hidePopup();
        menu_->choose(index_);
    }
    QStringList keyBindingsForAction(const QString& /*action*/) const override { return {}; }

private:
    QPointer<DropDown> menu_;
    int index_;
};

/// A menu and its items. Qt's own combo box has no items there before the menu was opened for the
/// first time, and they cannot be pressed. The choice is the menu's text as well as its value,
/// because the bus passes on only values that are numbers.
class MenuAccessible final : public QAccessibleWidget, public QAccessibleTextInterface {
public:
    explicit MenuAccessible(DropDown* menu) : QAccessibleWidget(menu, QAccessible::ComboBox) {
        for (int i = 0; i < menu->count(); ++i)
            items_.push_back(QAccessible::registerAccessibleInterface(new ItemAccessible(menu, i)));
    }
    ~MenuAccessible() override {
        for (const QAccessible::Id item : items_)
            QAccessible::deleteAccessibleInterface(item);
    }

    int childCount() const override { return static_cast<int>(items_.size()); }
    QAccessibleInterface* child(int index) const override {
        if (index < 0 || index >= childCount())
            return nullptr;
        return QAccessible::accessibleInterface(items_[static_cast<std::size_t>(index)]);
    }
    int indexOfChild(const QAccessibleInterface* wanted) const override {
        for (int i = 0; i < childCount(); ++i) {
            if (child(i) == wanted)
                return i;
        }
        return -1;
    }
    QAccessibleInterface* childAt(int x, int y) const override {
        for (int i = 0; i < childCount(); ++i) {
            if (child(i)->rect().contains(x, y))
                return child(i);
        }
        return nullptr;
    }
    QAccessibleInterface* focusChild() const override { return nullptr; }
    QString text(QAccessible::Text kind) const override {
        return kind == QAccessible::Value ? menu()->currentText() : QAccessibleWidget::text(kind);
    }
    QAccessible::State state() const override {
        QAccessible::State state = QAccessibleWidget::state();
        state.hasPopup = true;
        state.expandable = true;
        state.expanded = menu()->view()->isVisible();
        state.collapsed = !state.expanded;
        return state;
    }
    QStringList actionNames() const override {
        return QStringList(showMenuAction()) + QAccessibleWidget::actionNames();
    }
    void doAction(const QString& action) override {
        if (action != showMenuAction())
            QAccessibleWidget::doAction(action);
        else if (menu()->view()->isVisible())
            menu()->hidePopup();
        else if (menu()->isEnabled())
            menu()->showPopup();
    }
    void* interface_cast(QAccessible::InterfaceType type) override {
        return type == QAccessible::TextInterface ? static_cast<QAccessibleTextInterface*>(this)
                                                  : QAccessibleWidget::interface_cast(type);
    }

    void selection(int /*index*/, int* start, int* end) const override { *start = *end = 0; }
    int selectionCount() const override { return 0; }
    void addSelection(int /*start*/, int /*end*/) override {}
    void removeSelection(int /*index*/) override {}
    void setSelection(int /*index*/, int /*start*/, int /*end*/) override {}
    int cursorPosition() const override { return 0; }
    void setCursorPosition(int /*position*/) override {}
    QString text(int start, int end) const override {
        return menu()->currentText().mid(start, end - start);
    }
    int characterCount() const override { return static_cast<int>(menu()->currentText().size()); }
    QRect characterRect(int /*offset*/) const override { return rect(); }
    int offsetAtPoint(const QPoint& /*point*/) const override { return -1; }
    void scrollToSubstring(int /*start*/, int /*end*/) override {}
    QString attributes(int /*offset*/, int* start, int* end) const override {
        *start = 0;
        *end = characterCount();
        return {};
    }

private:
    DropDown* menu() const { return static_cast<DropDown*>(widget()); }

    std::vector<QAccessible::Id> items_{};
};

/// The interface of a menu, which also tells of each new choice.
QAccessibleInterface* new_menu_accessible(DropDown* menu) {
    auto* accessible = new MenuAccessible(menu);
    QObject::connect(menu, &QComboBox::currentIndexChanged, menu, [menu](int index) {
        QAccessibleInterface* whole = QAccessible::queryAccessibleInterface(menu);
        QAccessibleInterface* item = whole ? whole->child(index) : nullptr;
        if (!item)
            return;
        QAccessibleEvent chosen(item, QAccessible::Selection);
        QAccessible::updateAccessibility(&chosen);
    });
    return accessible;
}

QAccessibleInterface* accessible(const QString& class_name, QObject* object) {
    const auto is = [&](const QMetaObject& type) {
        return class_name == QLatin1StringView(type.className());
    };
    if (is(DropDown::staticMetaObject))
        return new_menu_accessible(static_cast<DropDown*>(object));
    if (is(Picture::staticMetaObject))
        return new QAccessibleWidget(static_cast<QWidget*>(object), QAccessible::Graphic);
    if (is(ContentView::staticMetaObject))
        return new QAccessibleWidget(static_cast<QWidget*>(object), QAccessible::Window);
    return nullptr;
}

} // namespace

void install_screen_accessible() {
    QAccessible::installFactory(accessible);
}
