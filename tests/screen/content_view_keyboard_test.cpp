// SPDX-License-Identifier: MIT
#include "tests/screen/screen_fixture.h"

#include <QAbstractItemView>

namespace {

class ContentViewKeyboard : public OpenScreen {
protected:
    /// Presses a key where a desktop would deliver it: at the window that has the focus.
    static void key(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QTest::keyClick(QApplication::focusWidget(), key, modifiers);
    }
    static void type(const QString& text) { QTest::keyClicks(QApplication::focusWidget(), text); }
    static QString focus() { return QApplication::focusWidget()->objectName(); }
};

const QStringList reading_order = {u"machine_type_menu_string"_s,
                                   u"hardware_part_number_code_string"_s,
                                   u"message_type_menu_string"_s,
                                   u"message_channel_menu_string"_s,
                                   u"message_controller_number_code_string"_s,
                                   u"apply_button"_s,
                                   u"save_button"_s};

TEST_F(ContentViewKeyboard, TabGoesThroughTheControlsInReadingOrderAndBack) {
    machine_menu()->setFocus();
    QStringList reached;
    for (int i = 0; i < reading_order.size(); ++i) {
        reached += focus();
        key(Qt::Key_Tab);
    }
    EXPECT_EQ(reached, reading_order);
    EXPECT_EQ(focus(), reading_order.front());
    key(Qt::Key_Backtab, Qt::ShiftModifier);
    EXPECT_EQ(focus(), reading_order.back());
}

TEST_F(ContentViewKeyboard, TheWholeJobNeedsNoMouse) {
    EmbeddedMachine machine(service, machine_5);
    machine_menu()->setFocus();
    key(Qt::Key_Space);
    ASSERT_TRUE(QTest::qWaitFor([this] { return machine_menu()->view()->isVisible(); }));
    QTest::keyClick(machine_menu()->view(), Qt::Key_Down);
    QTest::keyClick(machine_menu()->view(), Qt::Key_Return);
    EXPECT_EQ(screen->state().machine_type_menu_string, "4AC1F4C4");

    key(Qt::Key_Tab);
    type(u"12"_s);
    key(Qt::Key_Tab);
    key(Qt::Key_Up);
    key(Qt::Key_Up);
    EXPECT_EQ(screen->state().message_type_menu_string, "Note On");
    key(Qt::Key_Tab);
    type(u"3"_s);
    key(Qt::Key_Tab);
    type(u"64"_s);
    key(Qt::Key_Tab);
    ASSERT_EQ(focus(), u"apply_button"_s);
    key(Qt::Key_Space);
    ASSERT_NE(alert(), nullptr);
    EXPECT_EQ(alert_message(), u"旋钮12--设置成功!"_s);
    ASSERT_TRUE(QTest::qWaitFor([this] { return alert_button(1)->hasFocus(); }));
    key(Qt::Key_Return);
    EXPECT_EQ(alert(), nullptr);
    const MappingTable asked = {{12, protocol::MessageType::note_on, 3, 64}};
    EXPECT_EQ(machine.table(), asked);

    ASSERT_TRUE(QTest::qWaitFor([this] { return apply()->hasFocus(); }));
    key(Qt::Key_Tab);
    key(Qt::Key_Return);
    ASSERT_NE(alert(), nullptr);
    EXPECT_EQ(alert_message(), u"保存成功!"_s);
    ASSERT_TRUE(QTest::qWaitFor([this] { return alert_button(1)->hasFocus(); }));
    key(Qt::Key_Escape);
    EXPECT_EQ(alert(), nullptr);
    EXPECT_TRUE(QTest::qWaitFor([this] { return save()->hasFocus(); }));
    EXPECT_EQ(machine.saved_table(), asked);
}

TEST_F(ContentViewKeyboard, EnteringAFieldByTabSelectsItsTextForOverwriting) {
    machine_menu()->setFocus();
    key(Qt::Key_Tab);
    EXPECT_EQ(part()->selectedText(), u"0"_s);
}

TEST_F(ContentViewKeyboard, ALetterChoosesTheItemThatStartsWithIt) {
    type_menu()->setFocus();
    type(u"b"_s);
    EXPECT_EQ(screen->state().message_type_menu_string, "Bend Change");
}

TEST_F(ContentViewKeyboard, EnterInAFieldAppliesAndTheNextEntryReplacesTheLast) {
    EmbeddedMachine machine(service, machine_5);
    part()->setFocus();
    part()->selectAll();
    MappingTable asked;
    int strokes = 0;
    for (int number = 0; number < 128; ++number) {
        const QString text = QString::number(number);
        type(text);
        key(number % 2 == 0 ? Qt::Key_Return : Qt::Key_Enter);
        ASSERT_NE(alert(), nullptr);
        EXPECT_EQ(alert_message(), u"旋钮%1--设置成功!"_s.arg(number));
        ASSERT_TRUE(QTest::qWaitFor([this] { return alert_button(1)->hasFocus(); }));
        key(Qt::Key_Return);
        ASSERT_EQ(alert(), nullptr);
        ASSERT_TRUE(QTest::qWaitFor([this] { return part()->hasFocus(); }));
        strokes += static_cast<int>(text.size()) + 2;
        asked.insert({number, protocol::MessageType::control_change, 1, 0});
    }
    EXPECT_EQ(strokes, 274 + 2 * 128);
    EXPECT_EQ(machine.table(), asked);
}

TEST_F(ContentViewKeyboard, TheControlWithTheFocusIsMarkedFromTheStart) {
    ASSERT_TRUE(machine_menu()->hasFocus());
    const QImage with = machine_menu()->grab().toImage();
    save()->setFocus();
    EXPECT_NE(machine_menu()->grab().toImage(), with);
}

TEST_F(ContentViewKeyboard, FieldsAskInputMethodsForDigitsAndTakeAnything) {
    for (QLineEdit* field : {part(), channel(), controller()}) {
        EXPECT_TRUE(field->inputMethodHints().testFlag(Qt::ImhDigitsOnly));
        EXPECT_EQ(field->validator(), nullptr);
    }
}

} // namespace
