// SPDX-License-Identifier: MIT
#include "tests/screen/screen_fixture.h"

#include <QAbstractItemView>
#include <QAccessible>

namespace {

/// The whole screen as an assistive technology has it: by roles, names, values and actions.
class ContentViewAccessible : public OpenScreen {
protected:
    static QString name(QAccessibleInterface* of) { return of->text(QAccessible::Name); }
    static QString value(QAccessibleInterface* of) { return of->text(QAccessible::Value); }

    /// The first visible one below `root` with a role and a name.
    static QAccessibleInterface* search(QAccessibleInterface* root, QAccessible::Role role,
                                        const QString& wanted) {
        for (int i = 0; i < root->childCount(); ++i) {
            QAccessibleInterface* child = root->child(i);
            if (!child || child->state().invisible)
                continue;
            if (child->role() == role && name(child) == wanted)
                return child;
            if (QAccessibleInterface* found = search(child, role, wanted))
                return found;
        }
        return nullptr;
    }
    QAccessibleInterface* root() { return QAccessible::queryAccessibleInterface(screen.get()); }
    QAccessibleInterface* get(QAccessible::Role role, const QString& wanted) {
        QAccessibleInterface* found = search(root(), role, wanted);
        if (!found)
            throw std::runtime_error("nothing accessible is called " + wanted.toStdString());
        return found;
    }
    static void press(QAccessibleInterface* of) {
        of->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    }
    void choose(const QString& caption, const QString& item) {
        press(search(get(QAccessible::ComboBox, caption), QAccessible::ListItem, item));
    }
    void type(const QString& field, const QString& text) {
        QAccessibleInterface* edit = get(QAccessible::EditableText, field);
        edit->editableTextInterface()->replaceText(0, edit->textInterface()->characterCount(),
                                                   text);
    }
    void SetUp() override {
        OpenScreen::SetUp();
        menu = get(QAccessible::ComboBox, u"消息类型(Message Type)："_s);
    }
    QAccessibleInterface* alert_node() {
        return alert() ? QAccessible::queryAccessibleInterface(alert()) : nullptr;
    }

    EmbeddedMachine machine{service, machine_5};
    QAccessibleInterface* menu = nullptr; ///< that of the message types
};

TEST_F(ContentViewAccessible, EveryControlHasItsCaptionAsNameAndItsOwnRole) {
    EXPECT_EQ(root()->role(), QAccessible::Window);
    EXPECT_EQ(value(get(QAccessible::ComboBox, u"设备型号(Machine Serial)"_s)), u"4AC0F4C4"_s);
    EXPECT_EQ(value(get(QAccessible::EditableText, u"硬件编号(Hardware Part Code)"_s)), u"0"_s);
    EXPECT_EQ(value(menu), u"Control Change"_s);
    EXPECT_EQ(value(get(QAccessible::EditableText, u"消息通道(Message Channel)："_s)), u"1"_s);
    EXPECT_EQ(value(get(QAccessible::EditableText, u"控制器号(Controller Number)："_s)), u"0"_s);
    EXPECT_TRUE(get(QAccessible::Button, u"设置"_s)->state().focusable);
    EXPECT_TRUE(get(QAccessible::Button, u"保存"_s)->state().focusable);
    EXPECT_EQ(get(QAccessible::Graphic, u"hardware"_s)->rect().size(), QSize(300, 300));
}

TEST_F(ContentViewAccessible, EveryCaptionIsTheLabelOfItsControl) {
    for (const QString& field : {u"machine_type_menu_string"_s, u"message_channel_menu_string"_s}) {
        auto* control = QAccessible::queryAccessibleInterface(find<QWidget>(field));
        const auto labels = control->relations(QAccessible::Label);
        ASSERT_EQ(labels.size(), 1);
        EXPECT_EQ(labels[0].first->object(), find<QLabel>(field + u"_caption"_s));
    }
}

TEST_F(ContentViewAccessible, AMenuHasItsItemsWithoutBeingOpened) {
    ASSERT_EQ(menu->childCount(), 4);
    for (int i = 0; i < 4; ++i) {
        QAccessibleInterface* item = menu->child(i);
        EXPECT_EQ(name(item), type_menu()->itemText(i));
        EXPECT_EQ(item->role(), QAccessible::ListItem);
        EXPECT_EQ(item->parent(), menu);
        EXPECT_EQ(menu->indexOfChild(item), i);
        EXPECT_EQ(item->state().selected, i == 2);
        EXPECT_EQ(item->actionInterface()->actionNames(),
                  QStringList{QAccessibleActionInterface::pressAction()});
    }
    EXPECT_EQ(menu->child(4), nullptr);
    EXPECT_EQ(menu->child(-1), nullptr);
    EXPECT_TRUE(menu->state().collapsed);
}

TEST_F(ContentViewAccessible, AMenusChoiceIsItsTextToo) {
    choose(u"消息类型(Message Type)："_s, u"Note Off"_s);
    QAccessibleTextInterface* text = menu->textInterface();
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(text->characterCount(), 8);
    EXPECT_EQ(text->text(0, 8), u"Note Off"_s);
    EXPECT_EQ(text->text(5, 8), u"Off"_s);
    EXPECT_TRUE(menu->child(1)->state().selected);
    EXPECT_FALSE(menu->child(2)->state().selected);
    type_menu()->setCurrentIndex(-1);
    EXPECT_EQ(text->characterCount(), 0);
    EXPECT_FALSE(menu->child(1)->state().selected);
}

TEST_F(ContentViewAccessible, AMenuOpensAndClosesByItsAction) {
    const QString show_menu = QAccessibleActionInterface::showMenuAction();
    menu->actionInterface()->doAction(show_menu);
    EXPECT_TRUE(menu->state().expanded);
    EXPECT_FALSE(menu->child(0)->rect().isEmpty());
    EXPECT_EQ(
        menu->childAt(menu->child(1)->rect().center().x(), menu->child(1)->rect().center().y()),
        menu->child(1));
    menu->actionInterface()->doAction(show_menu);
    EXPECT_TRUE(QTest::qWaitFor([this] { return menu->state().collapsed; }));
}

TEST_F(ContentViewAccessible, AMenusOtherActionsAreAWidgets) {
    QAccessibleActionInterface* actions = menu->actionInterface();
    const QString focus = QAccessibleActionInterface::setFocusAction();
    EXPECT_EQ(actions->actionNames(),
              (QStringList{QAccessibleActionInterface::showMenuAction(), focus}));
    ASSERT_FALSE(type_menu()->hasFocus());
    actions->doAction(focus);
    EXPECT_TRUE(type_menu()->hasFocus());
    EXPECT_FALSE(type_menu()->view()->isVisible());
}

TEST_F(ContentViewAccessible, AMenusTextCanOnlyBeRead) {
    QAccessibleTextInterface* text = menu->textInterface();
    text->addSelection(0, 7);
    text->setSelection(0, 0, 7);
    text->setCursorPosition(3);
    text->scrollToSubstring(0, 7);
    text->removeSelection(0);
    EXPECT_EQ(text->selectionCount(), 0);
    int start = -1;
    int end = -1;
    text->selection(0, &start, &end);
    EXPECT_EQ(start, 0);
    EXPECT_EQ(end, 0);
    EXPECT_EQ(text->cursorPosition(), 0);
    EXPECT_EQ(text->attributes(3, &start, &end), QString());
    EXPECT_EQ(start, 0);
    EXPECT_EQ(end, 14) << "one run of text, from the first character to the last";
    EXPECT_EQ(text->characterRect(3), menu->rect());
    EXPECT_EQ(text->offsetAtPoint(menu->rect().center()), -1);
    EXPECT_EQ(type_menu()->currentText(), u"Control Change"_s);
}

TEST_F(ContentViewAccessible, AnItemIsALeaf) {
    QAccessibleInterface* item = menu->child(1);
    EXPECT_EQ(item->childCount(), 0);
    EXPECT_EQ(item->child(0), nullptr);
    EXPECT_EQ(item->childAt(0, 0), nullptr);
    EXPECT_EQ(item->indexOfChild(menu), -1);
    EXPECT_EQ(item->object(), nullptr);
    EXPECT_EQ(item->textInterface(), nullptr);
    EXPECT_EQ(
        item->actionInterface()->keyBindingsForAction(QAccessibleActionInterface::pressAction()),
        QStringList());
    item->setText(QAccessible::Name, u"Other"_s);
    EXPECT_EQ(name(item), u"Note Off"_s);
    EXPECT_EQ(item->text(QAccessible::Description), QString());
    EXPECT_TRUE(item->rect().isEmpty()) << "its menu is closed";
    EXPECT_TRUE(item->state().offscreen);

    EXPECT_EQ(menu->focusChild(), nullptr);
    EXPECT_EQ(menu->indexOfChild(menu), -1);
    EXPECT_EQ(menu->childAt(menu->rect().center().x(), menu->rect().center().y()), nullptr);
}

TEST_F(ContentViewAccessible, OnlyAPressOnAnEnabledMenusItemChooses) {
    menu->child(1)->actionInterface()->doAction(QAccessibleActionInterface::showMenuAction());
    EXPECT_EQ(screen->state().message_type_menu_string, "Control Change");
    type_menu()->setEnabled(false);
    press(menu->child(1));
    menu->actionInterface()->doAction(QAccessibleActionInterface::showMenuAction());
    EXPECT_EQ(screen->state().message_type_menu_string, "Control Change");
    EXPECT_TRUE(menu->child(1)->state().disabled);
    EXPECT_TRUE(menu->state().collapsed);
}

TEST_F(ContentViewAccessible, AnItemThatItsMenuHasNoLongerIsInvalid) {
    QAccessibleInterface* item = menu->child(3);
    ASSERT_TRUE(item->isValid());
    type_menu()->removeItem(3);
    EXPECT_FALSE(item->isValid());
    EXPECT_TRUE(item->state().invalid);
    EXPECT_EQ(name(item), QString());
    EXPECT_TRUE(item->rect().isEmpty());
    press(item);
    EXPECT_EQ(screen->state().message_type_menu_string, "Control Change");
}

TEST_F(ContentViewAccessible, TheWholeJobGoesThroughTheTree) {
    choose(u"设备型号(Machine Serial)"_s, u"4ACAF4C4"_s);
    EXPECT_EQ(screen->state().machine_type_menu_string, "4ACAF4C4");
    choose(u"消息类型(Message Type)："_s, u"Note On"_s);
    type(u"硬件编号(Hardware Part Code)"_s, u"12"_s);
    type(u"消息通道(Message Channel)："_s, u"3"_s);
    type(u"控制器号(Controller Number)："_s, u"64"_s);

    press(get(QAccessible::Button, u"设置"_s));
    ASSERT_TRUE(QTest::qWaitFor([this] { return alert() != nullptr; }));
    EXPECT_EQ(alert_node()->role(), QAccessible::AlertMessage);
    EXPECT_EQ(name(alert_node()), u"设置成功!"_s);
    EXPECT_EQ(alert_node()->text(QAccessible::Description), u"旋钮12--设置成功!"_s);
    EXPECT_NE(search(alert_node(), QAccessible::StaticText, u"设置成功!"_s), nullptr);
    EXPECT_NE(search(alert_node(), QAccessible::StaticText, u"旋钮12--设置成功!"_s), nullptr);
    press(search(alert_node(), QAccessible::Button, u"确定"_s));
    ASSERT_TRUE(QTest::qWaitFor([this] { return alert() == nullptr; }));
    EXPECT_TRUE(QTest::qWaitFor([this] { return machine_menu()->hasFocus(); })) << "as before";

    press(get(QAccessible::Button, u"保存"_s));
    ASSERT_TRUE(QTest::qWaitFor([this] { return alert() != nullptr; }));
    EXPECT_EQ(name(alert_node()), u"hardware"_s);
    EXPECT_EQ(alert_node()->text(QAccessible::Description), u"保存成功!"_s);
    press(search(alert_node(), QAccessible::Button, u"确定"_s));
    ASSERT_TRUE(QTest::qWaitFor([this] { return alert() == nullptr; }));

    const MappingTable asked = {{12, protocol::MessageType::note_on, 3, 64}};
    EXPECT_EQ(machine.table(), asked);
    EXPECT_EQ(machine.saved_table(), asked);
}

TEST_F(ContentViewAccessible, APressWhileTheAlertIsOpenDoesNothing) {
    apply()->click();
    const auto sent = machine.received();
    press(get(QAccessible::Button, u"保存"_s));
    // A press is shown for a moment before it counts; then the button is up again.
    ASSERT_TRUE(QTest::qWaitFor([this] { return !save()->isDown(); }));
    EXPECT_EQ(machine.received(), sent);
    EXPECT_EQ(name(alert_node()), u"设置成功!"_s);
}

} // namespace
