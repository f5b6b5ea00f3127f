// SPDX-License-Identifier: MIT
#include "tests/screen/controller_fixture.h"

TEST_F(ScreenActions, OnlyMachineFiveAnswersIsChosenWhateverTheMenuShows) {
    for (const char* menu : {"4AC0F4C4", "4AC5F4C4", "4ACFF4C4", "nonsense", ""}) {
        fake_device = {};
        fake_device.answers[5] = 1;
        screen_.machine_type_menu_string = menu;
        EXPECT_EQ(apply(), "CONTROL_CHANGE\n" + probe_transcript() +
                               "<set_device_name 4AC5F4C4>\n"
                               "-5--set_device_name(0x4AC5F4C4);\n"
                               "<usb_midi_main 00 B0 00 00>\n"
                               "0\n");
        EXPECT_EQ(screen_.machine_type_menu_string, "4AC5F4C4");
    }
}

TEST_F(ScreenActions, OnlyMachineTenAnswersIsPrintedWithAnUpperCaseDigit) {
    fake_device.answers[10] = 1;
    EXPECT_NE(apply().find("-A--set_device_name(0x4ACAF4C4);\n"), std::string::npos);
    EXPECT_EQ(screen_.machine_type_menu_string, "4ACAF4C4");
}

TEST_F(ScreenActions, EachMachineAloneIsChosen) {
    const std::string digits = "0123456789ABCDEF";
    for (unsigned i = 0; i < 16; ++i) {
        fake_device = {};
        fake_device.answers.at(i) = 1;
        const std::string name = std::string("4AC") + digits[i] + "F4C4";
        EXPECT_EQ(apply(), whole_press(automatic_choice(digits[i])));
        EXPECT_EQ(screen_.machine_type_menu_string, name);
        EXPECT_EQ(screen_.machine_type_menu_string, machine_type_array.at(i));
    }
}

TEST_F(ScreenActions, MenuShowsTheDetectedMachineBeforeTheCommandGoesOut) {
    fake_device.answers[7] = 1;
    fake_device.on_call = [this](const std::string& call) {
        if (call.starts_with("set_device_name")) {
            EXPECT_EQ(screen_.machine_type_menu_string, "4AC0F4C4");
        }
        if (call.starts_with("usb_midi_main")) {
            EXPECT_EQ(screen_.machine_type_menu_string, "4AC7F4C4");
        }
    };
    static_cast<void>(apply());
    EXPECT_EQ(fake_device.calls.size(), 18U);
}

TEST_F(ScreenActions, NoMachineAnswersAndTheMenuDecides) {
    screen_.machine_type_menu_string = "4AC5F4C4";
    EXPECT_EQ(apply(), "CONTROL_CHANGE\n" + probe_transcript() +
                           "<set_device_name 16C5F4C4>\n"
                           "User selected: 4AC5F4C4\n"
                           "set_device_name(0x16C5F4C4);\n"
                           "<usb_midi_main 00 B0 00 00>\n"
                           "0\n");
    EXPECT_EQ(screen_.machine_type_menu_string, "4AC5F4C4");
}

TEST_F(ScreenActions, TwoMachinesAnswerAndTheMenuDecidesAsWithNone) {
    fake_device.answers[2] = 1;
    fake_device.answers[11] = 1;
    screen_.machine_type_menu_string = "4ACBF4C4";
    EXPECT_EQ(apply(), whole_press(manual_choice("4ACBF4C4", 'B')));
}

TEST_F(ScreenActions, AllSixteenAnswerAndTheMenuDecides) {
    fake_device.answers.fill(1);
    EXPECT_EQ(apply(), whole_press(manual_choice("4AC0F4C4", '0')));
}

TEST_F(ScreenActions, CommandGoesOutAfterAnInvalidMiddleToo) {
    screen_.machine_type_menu_string = "4AC10F4C4";
    EXPECT_EQ(apply(), whole_press(invalid_middle));
}

TEST_F(ScreenActions, CommandGoesOutAfterAnInvalidMachineToo) {
    screen_.machine_type_menu_string = "5AC0F4C4";
    EXPECT_EQ(apply(), whole_press(invalid_machine));
}

TEST_F(ScreenActions, InvalidMenuTextIsMentionedByNoAlert) {
    screen_.machine_type_menu_string = "5AC0F4C4";
    static_cast<void>(apply());
    expect_alert("设置成功!", "旋钮0--设置成功!");
    fake_device.main_result = 1;
    static_cast<void>(apply());
    EXPECT_EQ(screen_.showmessage_title, "设置失败!");
    EXPECT_EQ(screen_.showmessage, "设置失败,检查连接状态\n[当前可选-选项-连接列表]\n");
    EXPECT_EQ(screen_.machine_type_menu_string, "5AC0F4C4") << "only the automatic choice writes";
}
