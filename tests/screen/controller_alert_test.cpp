// SPDX-License-Identifier: MIT
#include "tests/screen/controller_fixture.h"

#include <limits>

TEST_F(ScreenActions, SuccessSaysWhichPartWasSet) {
    screen_.hardware_part_number_code_string = "12";
    static_cast<void>(apply());
    expect_alert("设置成功!", "旋钮12--设置成功!");
    EXPECT_EQ(command_setup_succeed_flag, 0);
}

TEST_F(ScreenActions, FailureListsThePresentMachinesInOrder) {
    fake_device.main_result = 1;
    fake_device.answers[2] = 1;
    fake_device.answers[11] = 1;
    static_cast<void>(apply());
    expect_alert("设置失败!", "设置失败,检查连接状态\n[当前可选-选项-连接列表]\n"
                              "4AC2F4C4\n4ACBF4C4");
    EXPECT_EQ(command_setup_succeed_flag, 1);
}

TEST_F(ScreenActions, FailureWithoutAMachineEndsAfterTheSecondLineBreak) {
    fake_device.main_result = 1;
    static_cast<void>(apply());
    EXPECT_EQ(screen_.showmessage, "设置失败,检查连接状态\n[当前可选-选项-连接列表]\n");
}

TEST_F(ScreenActions, FailureWithOneMachineHasNoLineBreakBehindIt) {
    fake_device.main_result = 1;
    fake_device.answers[10] = 1;
    static_cast<void>(apply());
    EXPECT_EQ(screen_.showmessage, "设置失败,检查连接状态\n[当前可选-选项-连接列表]\n4ACAF4C4");
}

TEST_F(ScreenActions, FailureWithAllSixteenListsAllSixteen) {
    fake_device.main_result = 1;
    fake_device.answers.fill(1);
    static_cast<void>(apply());
    EXPECT_EQ(screen_.showmessage,
              "设置失败,检查连接状态\n[当前可选-选项-连接列表]\n"
              "4AC0F4C4\n4AC1F4C4\n4AC2F4C4\n4AC3F4C4\n4AC4F4C4\n4AC5F4C4\n4AC6F4C4\n4AC7F4C4\n"
              "4AC8F4C4\n4AC9F4C4\n4ACAF4C4\n4ACBF4C4\n4ACCF4C4\n4ACDF4C4\n4ACEF4C4\n4ACFF4C4");
}

TEST_F(ScreenActions, OnlyTheAnswerOneCountsAsPresentInTheList) {
    fake_device.main_result = 1;
    fake_device.answers = {2, 1, 0, 3, 1, 100};
    static_cast<void>(apply());
    EXPECT_EQ(screen_.showmessage, "设置失败,检查连接状态\n[当前可选-选项-连接列表]\n"
                                   "4AC1F4C4\n4AC4F4C4");
}

TEST_F(ScreenActions, AnyResultButZeroIsAFailureAndIsPrintedInDecimal) {
    for (const auto& [result, line] : std::vector<std::pair<std::int32_t, std::string>>{
             {1, "1\n"},
             {2, "2\n"},
             {10, "10\n"},
             {255, "255\n"},
             {256, "256\n"},
             {-1, "-1\n"},
             {std::numeric_limits<std::int32_t>::min(), "-2147483648\n"},
             {std::numeric_limits<std::int32_t>::max(), "2147483647\n"}}) {
        fake_device = {};
        fake_device.main_result = result;
        EXPECT_TRUE(apply().ends_with(printed(command_call(0, 0xB0, 0)) + line)) << result;
        EXPECT_EQ(command_setup_succeed_flag, result);
        EXPECT_EQ(screen_.showmessage_title, "设置失败!") << result;
    }
}

TEST_F(ScreenActions, AlertFlagIsFlippedNotSet) {
    static_cast<void>(apply());
    EXPECT_TRUE(screen_.showAlert);
    static_cast<void>(apply());
    EXPECT_FALSE(screen_.showAlert);
    fake_device.main_result = 1;
    static_cast<void>(apply());
    EXPECT_TRUE(screen_.showAlert);
    static_cast<void>(apply());
    EXPECT_FALSE(screen_.showAlert);
}

TEST_F(ScreenActions, AlertIsWrittenAfterTheCommandOnly) {
    screen_.showmessage = "old text";
    screen_.showmessage_title = "old title";
    command_setup_succeed_flag = 9;
    fake_device.on_call = [this](const std::string&) {
        EXPECT_EQ(screen_.showmessage, "old text");
        EXPECT_EQ(screen_.showmessage_title, "old title");
        EXPECT_FALSE(screen_.showAlert);
        EXPECT_EQ(command_setup_succeed_flag, 9);
    };
    static_cast<void>(apply());
    EXPECT_EQ(fake_device.calls.size(), 18U);
    EXPECT_EQ(screen_.showmessage_title, "设置成功!");
}

TEST_F(ScreenActions, NothingIsRepeatedOrRolledBackAfterAFailure) {
    fake_device.main_result = 1;
    screen_.hardware_part_number_code_string = "12";
    screen_.message_controller_number_code_string = "34";
    static_cast<void>(apply());
    EXPECT_EQ(fake_device.calls.size(), 18U) << "one command";
    EXPECT_EQ(command_bytes(), (CommandBytes{12, 0xB0, 34, 34}));
}

TEST_F(ScreenActions, PressLeavesTheFieldsAsTheyAre) {
    screen_.message_type_menu_string = "Bend Change";
    screen_.hardware_part_number_code_string = "+007";
    screen_.message_channel_menu_string = "016";
    screen_.message_controller_number_code_string = "-0";
    screen_.username = "someone";
    screen_.emailFieldIsFocused = true;
    static_cast<void>(apply());
    EXPECT_EQ(screen_.message_type_menu_string, "Bend Change");
    EXPECT_EQ(screen_.machine_type_menu_string, "4AC0F4C4");
    EXPECT_EQ(screen_.hardware_part_number_code_string, "+007");
    EXPECT_EQ(screen_.message_channel_menu_string, "016");
    EXPECT_EQ(screen_.message_controller_number_code_string, "-0");
    EXPECT_EQ(screen_.username, "someone");
    EXPECT_TRUE(screen_.emailFieldIsFocused);
    EXPECT_EQ(fake_device.calls.back(), command_call(7, 0xEF, 0));
}
