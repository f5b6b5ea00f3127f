// SPDX-License-Identifier: MIT
#include "tests/screen/drawn_text.h"
#include "tests/screen/screen_fixture.h"

#include <QAbstractItemView>
#include <QImage>
#include <QWheelEvent>

namespace {

class Menu : public OpenScreen {
protected:
    void click_item(QComboBox* menu, const QString& item) {
        QTest::mouseClick(menu, Qt::LeftButton);
        QAbstractItemView* list = menu->view();
        ASSERT_TRUE(QTest::qWaitFor([list] { return list->isVisible(); }));
        const QModelIndex index = menu->model()->index(menu->findText(item), 0);
        const QPoint place = list->visualRect(index).center();
        // A list that has just been opened under the pointer takes no click at first.
        ASSERT_TRUE(QTest::qWaitFor([list, place] {
            QTest::mouseMove(list->viewport(), place);
            QTest::mouseClick(list->viewport(), Qt::LeftButton, Qt::NoModifier, place);
            return !list->isVisible();
        }));
    }

    void turn_wheel(QComboBox* menu) {
        for (const int angle : {-120, 120, 120}) {
            QWheelEvent turn(QPointF(5, 5), menu->mapToGlobal(QPointF(5, 5)), {}, QPoint(0, angle),
                             Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
            QApplication::sendEvent(menu, &turn);
        }
    }
};

TEST_F(Menu, ChoosingAnItemSetsItsFieldAndTheTitleAtOnce) {
    click_item(machine_menu(), u"4ACBF4C4"_s);
    EXPECT_EQ(machine_menu()->currentText(), u"4ACBF4C4"_s);
    EXPECT_EQ(screen->state().machine_type_menu_string, "4ACBF4C4");
    EXPECT_EQ(screen->state().message_type_menu_string, "Control Change");

    click_item(type_menu(), u"Note On"_s);
    EXPECT_EQ(type_menu()->currentText(), u"Note On"_s);
    EXPECT_EQ(screen->state().message_type_menu_string, "Note On");
    EXPECT_EQ(screen->state().machine_type_menu_string, "4ACBF4C4");
}

TEST_F(Menu, ChoosingCausesNoDeviceTrafficAndPrintsNothing) {
    EmbeddedMachine machine(service, machine_5);
    CapturedOutput output;
    recorded_pauses.clear();
    for (const QString& item : {u"Note On"_s, u"Note Off"_s, u"Bend Change"_s})
        click_item(type_menu(), item);
    click_item(machine_menu(), u"4AC5F4C4"_s);
    EXPECT_EQ(output.take(), "");
    EXPECT_TRUE(recorded_pauses.empty());
    EXPECT_TRUE(machine.received().empty());
}

TEST_F(Menu, TheWheelChangesNothing) {
    type_menu()->setFocus();
    turn_wheel(type_menu());
    turn_wheel(machine_menu());
    EXPECT_EQ(type_menu()->currentText(), u"Control Change"_s);
    EXPECT_EQ(machine_menu()->currentText(), u"4AC0F4C4"_s);
    EXPECT_EQ(screen->state().message_type_menu_string, "Control Change");
    EXPECT_EQ(screen->state().machine_type_menu_string, "4AC0F4C4");
}

TEST_F(Menu, KeysOpenItChooseAndLeaveItAsItWas) {
    type_menu()->setFocus();
    QAbstractItemView* list = type_menu()->view();
    QTest::keyClick(type_menu(), Qt::Key_Space);
    ASSERT_TRUE(QTest::qWaitFor([list] { return list->isVisible(); }));
    QTest::keyClick(list, Qt::Key_Down);
    QTest::keyClick(list, Qt::Key_Return);
    ASSERT_TRUE(QTest::qWaitFor([list] { return !list->isVisible(); }));
    EXPECT_EQ(screen->state().message_type_menu_string, "Bend Change");

    QTest::keyClick(type_menu(), Qt::Key_Space);
    ASSERT_TRUE(QTest::qWaitFor([list] { return list->isVisible(); }));
    QTest::keyClick(list, Qt::Key_Up);
    QTest::keyClick(list, Qt::Key_Escape);
    ASSERT_TRUE(QTest::qWaitFor([list] { return !list->isVisible(); }));
    EXPECT_EQ(screen->state().message_type_menu_string, "Bend Change");
    EXPECT_EQ(type_menu()->currentText(), u"Bend Change"_s);
}

/// Whether an item's text is drawn whole, highlighted or not.
bool is_drawn(const QImage& item, const QString& text, const QAbstractItemView* list) {
    const QPalette palette = list->palette();
    return find_text(item, {text, list->font(), palette.color(QPalette::Text)}) ||
           find_text(item, {text, list->font(), palette.color(QPalette::HighlightedText)});
}

TEST_F(Menu, TheOpenListShowsEveryItemWhole) {
    for (const int points : {8, 9, 13, 18}) {
        QFont font = screen->font();
        font.setPointSize(points);
        screen->setFont(font);
        for (QComboBox* menu : {machine_menu(), type_menu()}) {
            menu->showPopup();
            const QAbstractItemView* list = menu->view();
            ASSERT_TRUE(QTest::qWaitFor([list] { return list->isVisible(); }));
            EXPECT_EQ(list->font(), menu->font());
            const QImage picture = menu->view()->viewport()->grab().toImage();
            for (int i = 0; i < menu->count(); ++i) {
                const QRect item = list->visualRect(menu->model()->index(i, 0));
                EXPECT_GE(item.top(), 0) << points << ' ' << i;
                EXPECT_LE(item.bottom(), list->viewport()->height()) << points << ' ' << i;
                EXPECT_TRUE(is_drawn(picture.copy(item), menu->itemText(i), list))
                    << points << ' ' << i;
            }
            menu->hidePopup();
        }
    }
}

} // namespace
