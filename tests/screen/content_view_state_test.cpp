// SPDX-License-Identifier: MIT
#include "tests/screen/screen_fixture.h"

#include <QClipboard>

namespace {

class ContentViewState : public OpenScreen {};

QStringList items(const QComboBox* menu) {
    QStringList texts;
    for (int i = 0; i < menu->count(); ++i)
        texts += menu->itemText(i);
    return texts;
}

TEST_F(ContentViewState, StartsWithTheFirstMachineControlChangeAndTheNumbers) {
    EXPECT_EQ(machine_menu()->currentText(), u"4AC0F4C4"_s);
    EXPECT_EQ(type_menu()->currentText(), u"Control Change"_s);
    EXPECT_EQ(part()->text(), u"0"_s);
    EXPECT_EQ(channel()->text(), u"1"_s);
    EXPECT_EQ(controller()->text(), u"0"_s);
    EXPECT_EQ(alert(), nullptr);

    const ScreenState& state = screen->state();
    EXPECT_EQ(state.message_type_menu_string, "Control Change");
    EXPECT_EQ(state.machine_type_menu_string, "4AC0F4C4");
    EXPECT_EQ(state.hardware_part_number_code_string, "0");
    EXPECT_EQ(state.message_channel_menu_string, "1");
    EXPECT_EQ(state.message_controller_number_code_string, "0");
    EXPECT_EQ(state.username, "");
    EXPECT_FALSE(state.emailFieldIsFocused);
    EXPECT_FALSE(state.showAlert);
    EXPECT_EQ(state.showmessage, "");
    EXPECT_EQ(state.showmessage_title, "");
}

TEST_F(ContentViewState, TheCreatorSetsEmailFieldIsFocusedAndNothingElse) {
    const ContentView focused(true);
    EXPECT_TRUE(focused.state().emailFieldIsFocused);
    EXPECT_EQ(focused.state().machine_type_menu_string, "4AC0F4C4");
}

TEST_F(ContentViewState, TheMachineMenuListsTheSixteenMachinesInOrder) {
    EXPECT_EQ(items(machine_menu()),
              (QStringList{u"4AC0F4C4"_s, u"4AC1F4C4"_s, u"4AC2F4C4"_s, u"4AC3F4C4"_s,
                           u"4AC4F4C4"_s, u"4AC5F4C4"_s, u"4AC6F4C4"_s, u"4AC7F4C4"_s,
                           u"4AC8F4C4"_s, u"4AC9F4C4"_s, u"4ACAF4C4"_s, u"4ACBF4C4"_s,
                           u"4ACCF4C4"_s, u"4ACDF4C4"_s, u"4ACEF4C4"_s, u"4ACFF4C4"_s}));
}

TEST_F(ContentViewState, TheTypeMenuListsFourTypesAndNotSystemChange) {
    EXPECT_EQ(items(type_menu()),
              (QStringList{u"Note On"_s, u"Note Off"_s, u"Control Change"_s, u"Bend Change"_s}));
}

TEST_F(ContentViewState, TheTextsOfTheScreenStandAsTheyAre) {
    const auto caption = [this](const QString& field) {
        return find<QLabel>(field + u"_caption"_s)->text();
    };
    EXPECT_EQ(caption(u"machine_type_menu_string"_s), u"设备型号(Machine Serial)"_s);
    EXPECT_EQ(caption(u"hardware_part_number_code_string"_s), u"硬件编号(Hardware Part Code)"_s);
    EXPECT_EQ(caption(u"message_type_menu_string"_s), u"消息类型(Message Type)："_s);
    EXPECT_EQ(caption(u"message_channel_menu_string"_s), u"消息通道(Message Channel)："_s);
    EXPECT_EQ(caption(u"message_controller_number_code_string"_s),
              u"控制器号(Controller Number)："_s);
    for (const QLineEdit* field : {part(), channel(), controller()})
        EXPECT_EQ(field->placeholderText(), u"Placeholder"_s);
    EXPECT_EQ(apply()->text(), u"设置"_s);
    EXPECT_EQ(save()->text(), u"保存"_s);
}

TEST_F(ContentViewState, EveryEditReachesTheStateUnchanged) {
    const struct {
        QLineEdit* field;
        std::string ScreenState::*text;
    } fields[] = {{part(), &ScreenState::hardware_part_number_code_string},
                  {channel(), &ScreenState::message_channel_menu_string},
                  {controller(), &ScreenState::message_controller_number_code_string}};
    const QString long_text = QString(u"旋钮"_s).repeated(5'000);
    ASSERT_EQ(long_text.size(), 10'000);
    for (const auto& [field, text] : fields) {
        for (const QString& edit : {u"12"_s, u""_s, u"abc"_s, u" 5 "_s, u"-1"_s, u"旋钮"_s, u"𝄞"_s,
                                    long_text, QString(u'9').repeated(40'000)}) {
            field->setText(edit);
            EXPECT_EQ(screen->state().*text, edit.toStdString());
        }
    }
}

TEST_F(ContentViewState, EachKeyOfATypedTextReachesTheStateAtOnce) {
    part()->clear();
    QTest::keyClick(part(), Qt::Key_1);
    EXPECT_EQ(screen->state().hardware_part_number_code_string, "1");
    QTest::keyClick(part(), Qt::Key_2);
    EXPECT_EQ(screen->state().hardware_part_number_code_string, "12");
    QTest::keyClick(part(), Qt::Key_Backspace);
    EXPECT_EQ(screen->state().hardware_part_number_code_string, "1");
}

TEST_F(ContentViewState, AnInputMethodTypesIntoTheFields) {
    EXPECT_TRUE(part()->testAttribute(Qt::WA_InputMethodEnabled));
    part()->clear();
    part()->setFocus();
    QInputMethodEvent composed;
    composed.setCommitString(u"旋钮"_s);
    QApplication::sendEvent(part(), &composed);
    EXPECT_EQ(screen->state().hardware_part_number_code_string, "旋钮");
}

TEST_F(ContentViewState, AnEditChangesItsOwnFieldAlone) {
    channel()->setText(u"16"_s);
    EXPECT_EQ(screen->state().message_channel_menu_string, "16");
    EXPECT_EQ(screen->state().hardware_part_number_code_string, "0");
    EXPECT_EQ(screen->state().message_controller_number_code_string, "0");
    EXPECT_EQ(screen->state().machine_type_menu_string, "4AC0F4C4");
    EXPECT_EQ(screen->state().message_type_menu_string, "Control Change");
}

TEST_F(ContentViewState, EachScreenHasItsOwnState) {
    const ContentView other;
    part()->setText(u"7"_s);
    EXPECT_EQ(other.state().hardware_part_number_code_string, "0");
}

} // namespace
