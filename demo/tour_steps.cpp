// SPDX-License-Identifier: MIT
#include "demo/demo.h"

#include "keyloft/ContentView.h"

#include <QAbstractItemView>
#include <QComboBox>
#include <QDir>
#include <QLineEdit>
#include <QMessageBox>
#include <QPainter>
#include <QPushButton>
#include <QTest>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

class Tour {
public:
    Tour(ContentView& screen, const QDir& folder) : screen_(screen), folder_(folder) {}

    [[nodiscard]] bool all_right() const { return all_right_; }

    /// Prints a step. One step that was not right fails the tour.
    void note(const QString& what, bool right) {
        std::printf("tour: %s%s\n", what.toUtf8().constData(), right ? "" : " -- FAILED");
        all_right_ = all_right_ && right;
    }

    void look(const QString& state) {
        const QString file = folder_.filePath(QString(u"%1-%2.png"_s).arg(++pictures_).arg(state));
        note(u"picture "_s + QDir::toNativeSeparators(file), picture().save(file));
    }

    void choose(const QString& name, const QString& item) {
        auto* menu = screen_.findChild<QComboBox*>(name);
        QTest::mouseClick(menu, Qt::LeftButton);
        QAbstractItemView* list = menu->view();
        const bool open = QTest::qWaitFor([list] { return list->isVisible(); });
        if (open && name == "message_type_menu_string"_L1)
            look(u"menu"_s);
        const QModelIndex index = menu->model()->index(menu->findText(item), 0);
        list->scrollTo(index);
        const QPoint place = list->visualRect(index).center();
        // A list that has just opened under the pointer ignores the first clicks.
        const bool closed = QTest::qWaitFor([list, place] {
            QTest::mouseMove(list->viewport(), place);
            QTest::mouseClick(list->viewport(), Qt::LeftButton, Qt::NoModifier, place);
            return !list->isVisible();
        });
        note(u"choose "_s + item, open && closed && menu->currentText() == item);
    }

    void type(const QString& name, const QString& text) {
        auto* field = screen_.findChild<QLineEdit*>(name);
        QTest::mouseClick(field, Qt::LeftButton);
        QTest::keyClick(field, Qt::Key_A, Qt::ControlModifier);
        QTest::keyClicks(field, text);
        note(u"type "_s + text, field->text() == text);
    }

    void press(const QString& name) {
        auto* button = screen_.findChild<QPushButton*>(name);
        note(u"press "_s + button->text(), button->isEnabled());
        QTest::mouseClick(button, Qt::LeftButton);
    }

    void read_alert(const QString& title, const QString& message) {
        const bool shown = QTest::qWaitFor([this] { return alert() && alert()->isVisible(); });
        note(u"an alert comes up"_s, shown);
        if (!shown)
            return;
        const QString read_title = alert()->text();
        const QString read_message = alert()->informativeText();
        note(u"read its title: "_s + read_title, read_title == title);
        note(u"read its text: "_s + read_message, read_message == message);
    }

    void dismiss() {
        if (!alert())
            return;
        auto* button = alert()->findChild<QPushButton*>(u"alert_button_1"_s);
        note(u"press "_s + button->text(), true);
        QTest::mouseClick(button, Qt::LeftButton);
        note(u"the alert is gone"_s, QTest::qWaitFor([this] { return !alert()->isVisible(); }));
    }

private:
    [[nodiscard]] QMessageBox* alert() const { return screen_.findChild<QMessageBox*>(u"alert"_s); }

    /// The window with an open alert or list in front of it.
    [[nodiscard]] QPixmap picture() const {
        QPixmap picture = screen_.grab();
        QPainter painter(&picture);
        for (QWidget* front : QApplication::topLevelWidgets()) {
            if (front == &screen_ || !front->isVisible())
                continue;
            const QPoint place = front->mapToGlobal(QPoint()) - screen_.mapToGlobal(QPoint());
            painter.drawPixmap(place, front->grab());
            painter.setPen(screen_.palette().color(QPalette::Mid));
            painter.drawRect(QRect(place, front->size()).adjusted(-1, -1, 0, 0));
        }
        return picture;
    }

    ContentView& screen_;
    const QDir& folder_;
    int pictures_ = 0;
    bool all_right_ = true;
};

} // namespace

bool run_tour(ContentView& screen, EmbeddedMachine& machine, const QDir& folder) {
    Tour tour(screen, folder);
    tour.note(u"the window opens"_s,
              folder.mkpath(u"."_s) && QTest::qWaitForWindowExposed(&screen));
    tour.look(u"start"_s);
    tour.choose(u"machine_type_menu_string"_s, u"4ACAF4C4"_s);
    tour.type(u"hardware_part_number_code_string"_s, u"12"_s);
    tour.choose(u"message_type_menu_string"_s, u"Note On"_s);
    tour.type(u"message_channel_menu_string"_s, u"3"_s);
    tour.type(u"message_controller_number_code_string"_s, u"64"_s);
    tour.look(u"filled-in"_s);

    const MappingTable asked = {{12, protocol::MessageType::note_on, 3, 64}};
    tour.press(u"apply_button"_s);
    tour.read_alert(u"设置成功!"_s, u"旋钮12--设置成功!"_s);
    tour.look(u"applied"_s);
    tour.dismiss();
    tour.note(u"the menu shows the machine that answered"_s,
              screen.state().machine_type_menu_string == "4AC5F4C4");
    tour.note(u"the machine holds the mapping and has not saved it"_s,
              machine.table() == asked && machine.saved_table().empty());

    tour.press(u"save_button"_s);
    tour.read_alert(u"hardware"_s, u"保存成功!"_s);
    tour.look(u"saved"_s);
    tour.dismiss();
    tour.look(u"end"_s);
    tour.note(u"the machine holds the mapping and has saved it"_s,
              machine.table() == asked && machine.saved_table() == asked);
    return tour.all_right();
}
