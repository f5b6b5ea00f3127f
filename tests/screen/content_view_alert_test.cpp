// SPDX-License-Identifier: MIT
#include "tests/screen/screen_fixture.h"
#include "tests/support/sequence.h"

namespace {

class ContentViewAlert : public OpenScreen {
protected:
    /// The alert is there, with these texts.
    void expect_alert(const QString& title, const QString& message) {
        ASSERT_NE(alert(), nullptr);
        EXPECT_EQ(alert_title(), title);
        EXPECT_EQ(alert_message(), message);
    }

    /// Dismisses the alert as a person does, and waits until it has gone.
    void dismiss(const std::function<void(QDialog*)>& how) {
        QDialog* dialog = alert();
        ASSERT_NE(dialog, nullptr);
        how(dialog);
        EXPECT_TRUE(QTest::qWaitFor([dialog] { return !dialog->isVisible(); }));
    }
};

TEST_F(ContentViewAlert, AnAppliedMappingIsReportedWithTitleAndText) {
    EmbeddedMachine machine(service, machine_5);
    part()->setText(u"12"_s);
    QTest::mouseClick(apply(), Qt::LeftButton);
    ASSERT_NO_FATAL_FAILURE(expect_alert(u"设置成功!"_s, u"旋钮12--设置成功!"_s));
    EXPECT_EQ(alert()->windowTitle(), u"设置成功!"_s);
    EXPECT_TRUE(screen->state().showAlert);
    EXPECT_EQ(machine.table(), (MappingTable{{12, protocol::MessageType::control_change, 1, 0}}));
}

TEST_F(ContentViewAlert, TheMenuShowsTheMachineThatAnswered) {
    EmbeddedMachine machine(service, machine_5);
    QTest::mouseClick(apply(), Qt::LeftButton);
    EXPECT_EQ(machine_menu()->currentText(), u"4AC5F4C4"_s);
    EXPECT_EQ(screen->state().machine_type_menu_string, "4AC5F4C4");
}

TEST_F(ContentViewAlert, AFailureListsTheMachinesThatArePresent) {
    EmbeddedMachine two(service, 0x4AC2F4C4);
    EmbeddedMachine eleven(service, 0x4ACBF4C4);
    QTest::mouseClick(apply(), Qt::LeftButton);
    expect_alert(u"设置失败!"_s,
                 u"设置失败,检查连接状态\n[当前可选-选项-连接列表]\n4AC2F4C4\n4ACBF4C4"_s);
}

TEST_F(ContentViewAlert, SaveReportsSuccessAndFailureWithTitleAndTextSwapped) {
    EmbeddedMachine machine(service, machine_5);
    QTest::mouseClick(apply(), Qt::LeftButton);
    dismiss([&](QDialog*) { alert_button(1)->click(); });
    QTest::mouseClick(save(), Qt::LeftButton);
    expect_alert(u"hardware"_s, u"保存成功!"_s);
    dismiss([&](QDialog*) { alert_button(1)->click(); });

    // The device list must not be empty for the absence of the machine to be a failure.
    machine.unplug();
    EmbeddedMachine other(service, 0x4AC2F4C4);
    QTest::mouseClick(save(), Qt::LeftButton);
    expect_alert(u"保存失败!"_s, u"hardware"_s);
}

TEST_F(ContentViewAlert, ItHasTwoIdenticalButtonsAndNoOther) {
    QTest::mouseClick(save(), Qt::LeftButton);
    ASSERT_NE(alert(), nullptr);
    const auto buttons = alert()->findChildren<QPushButton*>();
    ASSERT_EQ(buttons.size(), 2);
    alert()->setFocus();
    for (QPushButton* button : buttons) {
        EXPECT_EQ(button->text(), u"确定"_s);
        EXPECT_EQ(button->accessibleName(), u"确定"_s);
        EXPECT_EQ(button->size(), buttons[0]->size());
        EXPECT_EQ(button->font(), buttons[0]->font());
        EXPECT_EQ(button->palette(), buttons[0]->palette());
        EXPECT_TRUE(button->icon().isNull());
        EXPECT_EQ(alert()->buttonRole(button), QMessageBox::AcceptRole);
        // Drawn alike too, once neither is the one that Enter presses.
        button->setDefault(false);
        EXPECT_EQ(button->grab().toImage(), buttons[0]->grab().toImage());
    }
}

TEST_F(ContentViewAlert, ASymbolTellsSuccessFromFailure) {
    EmbeddedMachine machine(service, machine_5);
    const std::function<void(QPushButton*, QMessageBox::Icon)> press_and_look =
        [this](QPushButton* button, QMessageBox::Icon icon) {
            QTest::mouseClick(button, Qt::LeftButton);
            ASSERT_NE(alert(), nullptr);
            EXPECT_EQ(alert()->icon(), icon);
            EXPECT_FALSE(alert()->iconPixmap().isNull());
            dismiss([&](QDialog*) { alert_button(1)->click(); });
        };
    press_and_look(apply(), QMessageBox::Information);
    press_and_look(save(), QMessageBox::Information);
    machine.unplug();
    EmbeddedMachine two(service, 0x4AC2F4C4);
    EmbeddedMachine other(service, 0x4AC3F4C4);
    press_and_look(apply(), QMessageBox::Warning);
    press_and_look(save(), QMessageBox::Warning);
}

TEST_F(ContentViewAlert, EveryWayOfDismissingItClearsTheFlagAndGoesBackToWhereTheFocusWas) {
    const std::function<void(QDialog*)> ways[] = {
        [this](QDialog*) { QTest::mouseClick(alert_button(1), Qt::LeftButton); },
        [this](QDialog*) { QTest::mouseClick(alert_button(2), Qt::LeftButton); },
        [](QDialog* dialog) { QTest::keyClick(dialog->focusWidget(), Qt::Key_Return); },
        [](QDialog* dialog) { QTest::keyClick(dialog->focusWidget(), Qt::Key_Space); },
        [](QDialog* dialog) { QTest::keyClick(dialog, Qt::Key_Escape); },
        [](QDialog* dialog) { dialog->close(); },
        [](QDialog* dialog) { dialog->hide(); }};
    for (const auto& way : ways) {
        for (QPushButton* button : {apply(), save()}) {
            channel()->setFocus();
            channel()->deselect();
            QTest::mouseClick(button, Qt::LeftButton);
            EXPECT_TRUE(screen->state().showAlert);
            dismiss(way);
            EXPECT_FALSE(screen->state().showAlert);
            EXPECT_TRUE(QTest::qWaitFor([this] { return channel()->hasFocus(); }));
            EXPECT_EQ(channel()->selectedText(), u"1"_s) << "what is typed next replaces it";
        }
    }
}

TEST_F(ContentViewAlert, ALaterActionShowsItAgainWithTheNewTexts) {
    EmbeddedMachine machine(service, machine_5);
    for (const int number : {3, 4}) {
        part()->setText(QString::number(number));
        QTest::mouseClick(apply(), Qt::LeftButton);
        ASSERT_NE(alert(), nullptr);
        EXPECT_EQ(alert_message(), u"旋钮%1--设置成功!"_s.arg(number));
        dismiss([&](QDialog*) { alert_button(2)->click(); });
    }
}

TEST_F(ContentViewAlert, TextsAreShownAsTheyAreAndNotAsMarkup) {
    QTest::mouseClick(save(), Qt::LeftButton);
    for (const QLabel* label : alert()->findChildren<QLabel*>())
        EXPECT_EQ(label->textFormat(), Qt::PlainText);
}

TEST_F(ContentViewAlert, ItBlocksItsWindowAndReturnsToTheEventLoop) {
    bool finished = false;
    QObject::connect(screen.get(), &ContentView::action_finished, screen.get(),
                     [&] { finished = true; });
    apply()->click();
    // Here the press has returned: the alert is open and no loop of its own is running.
    EXPECT_TRUE(finished);
    ASSERT_NE(alert(), nullptr);
    EXPECT_EQ(alert()->windowModality(), Qt::WindowModal);
    QTest::mouseClick(screen->windowHandle(), Qt::LeftButton, Qt::NoModifier,
                      save()->mapTo(screen.get(), save()->rect().center()));
    EXPECT_EQ(alert_title(), u"设置成功!"_s) << "the second press has changed it";
}

TEST_F(ContentViewAlert, APressWhileItIsOpenDoesNothing) {
    EmbeddedMachine machine(service, machine_5);
    apply()->click();
    const auto sent = machine.received();
    CapturedOutput output;
    apply()->click();
    save()->click();
    EXPECT_EQ(output.take(), "");
    EXPECT_EQ(machine.received(), sent);
    EXPECT_EQ(alert_title(), u"设置成功!"_s);
    EXPECT_TRUE(screen->state().showAlert);
}

TEST_F(ContentViewAlert, APressWhileAnActionRunsDoesNothing) {
    EmbeddedMachine machine(service, machine_5);
    int presses = 0;
    before_pause = [&](unsigned) {
        ++presses;
        save()->click();
        apply()->click();
    };
    apply()->click();
    EXPECT_GT(presses, 0);
    before_pause = nullptr;
    EXPECT_EQ(machine.table(), (MappingTable{{0, protocol::MessageType::control_change, 1, 0}}));
    EXPECT_TRUE(machine.saved_table().empty());
    EXPECT_EQ(machine.received(), sequence(0xB0, 0, 0));
    ASSERT_NE(alert(), nullptr);
    EXPECT_EQ(alert_title(), u"设置成功!"_s);
}

} // namespace
