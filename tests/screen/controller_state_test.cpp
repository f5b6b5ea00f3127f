// SPDX-License-Identifier: MIT
#include "tests/screen/controller_fixture.h"

#include <algorithm>
#include <type_traits>

// The first case needs the variables' initial values, so it has no fixture.

TEST(ScreenVariables, HaveTheirInitialValuesBeforeAnyAction) {
    EXPECT_EQ(ShellCommandPath, "  ");
    EXPECT_EQ(device_connect_state_retval, (std::array<std::uint8_t, 16>{}));
    EXPECT_EQ(command_setup_succeed_flag, 0);
    EXPECT_EQ(c_arg_transfer_Uint32, 0U);
    EXPECT_EQ(command_bytes(), CommandBytes{});
}

TEST(ScreenVariables, HaveTheirWidthsAndSigns) {
    EXPECT_TRUE((std::is_same_v<decltype(command_setup_succeed_flag), std::int32_t>));
    EXPECT_TRUE((std::is_same_v<decltype(c_arg_transfer_Uint32), std::uint32_t>));
    EXPECT_TRUE((std::is_same_v<decltype(c_arg_transfer_UInt8_1), std::uint8_t>));
    EXPECT_TRUE((std::is_same_v<decltype(c_arg_transfer_UInt8_2), std::uint8_t>));
    EXPECT_TRUE((std::is_same_v<decltype(c_arg_transfer_UInt8_3), std::uint8_t>));
    EXPECT_TRUE((std::is_same_v<decltype(c_arg_transfer_UInt8_4), std::uint8_t>));
    EXPECT_TRUE((std::is_same_v<decltype(device_connect_state_retval)::value_type, std::uint8_t>));
}

TEST(ScreenVariables, MachineTypesAreTheSixteenNamesInUpperCase) {
    const std::array<std::string, 16> expected{"4AC0F4C4", "4AC1F4C4", "4AC2F4C4", "4AC3F4C4",
                                               "4AC4F4C4", "4AC5F4C4", "4AC6F4C4", "4AC7F4C4",
                                               "4AC8F4C4", "4AC9F4C4", "4ACAF4C4", "4ACBF4C4",
                                               "4ACCF4C4", "4ACDF4C4", "4ACEF4C4", "4ACFF4C4"};
    EXPECT_EQ(machine_type_array, expected);
}

TEST(ScreenVariables, MessageTypesHaveTheirNames) {
    EXPECT_EQ(NOTE_ON, "Note On");
    EXPECT_EQ(NOTE_OFF, "Note Off");
    EXPECT_EQ(CONTROL_CHANGE, "Control Change");
    EXPECT_EQ(BEND_CHANGE, "Bend Change");
    EXPECT_EQ(SYSTEM_CHANGE, "System Change");
}

TEST(ScreenVariables, FreshScreenShowsTheFirstMachineAndItsDefaults) {
    const ScreenState screen;
    EXPECT_EQ(screen.message_type_menu_string, "Control Change");
    EXPECT_EQ(screen.machine_type_menu_string, "4AC0F4C4");
    EXPECT_EQ(screen.hardware_part_number_code_string, "0");
    EXPECT_EQ(screen.message_channel_menu_string, "1");
    EXPECT_EQ(screen.message_controller_number_code_string, "0");
    EXPECT_EQ(screen.username, "");
    EXPECT_FALSE(screen.emailFieldIsFocused);
    EXPECT_FALSE(screen.showAlert);
    EXPECT_EQ(screen.showmessage, "");
    EXPECT_EQ(screen.showmessage_title, "");
}

TEST_F(ScreenActions, ClearingLeavesSixteenZerosWhateverThereWas) {
    for (const std::uint8_t value : std::array<std::uint8_t, 4>{0, 1, 2, 255}) {
        device_connect_state_retval.fill(value);
        ClearDeviceMathingRetval();
        EXPECT_EQ(device_connect_state_retval, (std::array<std::uint8_t, 16>{}));
    }
    EXPECT_TRUE(fake_device.calls.empty());
}

TEST_F(ScreenActions, ThirtyTwoBitArgumentStaysZero) {
    fake_device.answers[5] = 1;
    static_cast<void>(apply());
    fake_device.main_result = 1;
    static_cast<void>(apply());
    CapturedOutput output;
    save_action(screen_);
    EXPECT_EQ(c_arg_transfer_Uint32, 0U);
}

TEST_F(ScreenActions, VariablesKeepTheirValuesWhenTheScreenGoes) {
    fake_device.answers[5] = 1;
    screen_.hardware_part_number_code_string = "12";
    screen_.message_controller_number_code_string = "34";
    fake_device.main_result = 3;
    static_cast<void>(apply());
    const auto probed = device_connect_state_retval;
    const auto path = ShellCommandPath;
    CapturedOutput output;
    disappear_hook();
    EXPECT_EQ(device_connect_state_retval, probed);
    EXPECT_EQ(ShellCommandPath, path);
    EXPECT_EQ(command_setup_succeed_flag, 3);
    EXPECT_EQ(command_bytes(), (CommandBytes{12, 0xB0, 34, 34}));
    appear_hook();
    EXPECT_EQ(device_connect_state_retval, probed);
    EXPECT_EQ(c_arg_transfer_UInt8_2, 0xB0);
}
