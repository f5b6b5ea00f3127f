// SPDX-License-Identifier: MIT
#include "tests/screen/controller_fixture.h"

/// Presses save and gives what was printed.
class SaveAction : public ScreenActions {
protected:
    std::string save() {
        CapturedOutput output;
        save_action(screen_);
        return output.take();
    }
};

TEST_F(SaveAction, SuccessHasTheProductAsItsTitle) {
    EXPECT_EQ(save(), "<usb_midi_main 7F AF 7F 7F>\n0\n");
    expect_alert("hardware", "保存成功!");
    EXPECT_EQ(command_setup_succeed_flag, 0);
}

TEST_F(SaveAction, FailureHasTheProductAsItsText) {
    fake_device.main_result = 1;
    EXPECT_EQ(save(), "<usb_midi_main 7F AF 7F 7F>\n1\n");
    expect_alert("保存失败!", "hardware");
    EXPECT_EQ(command_setup_succeed_flag, 1);
}

TEST_F(SaveAction, AnyResultButZeroIsAFailureAndIsPrintedInDecimal) {
    for (const std::int32_t result : {2, 255, 256, -1, -2147483647}) {
        fake_device.main_result = result;
        EXPECT_EQ(save(), "<usb_midi_main 7F AF 7F 7F>\n" + std::to_string(result) + "\n");
        EXPECT_EQ(screen_.showmessage_title, "保存失败!");
        EXPECT_EQ(screen_.showmessage, "hardware");
        EXPECT_EQ(command_setup_succeed_flag, result);
    }
}

TEST_F(SaveAction, AlertFlagIsFlippedNotSet) {
    static_cast<void>(save());
    EXPECT_TRUE(screen_.showAlert);
    static_cast<void>(save());
    EXPECT_FALSE(screen_.showAlert);
    fake_device.main_result = 1;
    static_cast<void>(save());
    EXPECT_TRUE(screen_.showAlert);
    static_cast<void>(save());
    EXPECT_FALSE(screen_.showAlert);
}

TEST_F(SaveAction, NoFieldIsRead) {
    screen_.hardware_part_number_code_string = "no number";
    screen_.message_channel_menu_string = "";
    screen_.message_controller_number_code_string = "256";
    screen_.machine_type_menu_string = "";
    screen_.message_type_menu_string = "";
    EXPECT_EQ(save(), "<usb_midi_main 7F AF 7F 7F>\n0\n");
}

TEST_F(SaveAction, OnlyTheResultChangesAmongTheSharedVariables) {
    ShellCommandPath = "before";
    device_connect_state_retval.fill(1);
    set_command_bytes({1, 2, 3, 4});
    fake_device.main_result = 6;
    static_cast<void>(save());
    EXPECT_EQ(ShellCommandPath, "before");
    EXPECT_EQ(device_connect_state_retval[0], 1);
    EXPECT_EQ(device_connect_state_retval[15], 1);
    EXPECT_EQ(command_bytes(), (CommandBytes{1, 2, 3, 4}));
    EXPECT_EQ(command_setup_succeed_flag, 6);
}

TEST_F(SaveAction, AlertIsWrittenAfterTheCommandOnly) {
    screen_.showmessage = "old text";
    screen_.showmessage_title = "old title";
    fake_device.on_call = [this](const std::string&) {
        EXPECT_EQ(screen_.showmessage, "old text");
        EXPECT_EQ(screen_.showmessage_title, "old title");
        EXPECT_FALSE(screen_.showAlert);
    };
    static_cast<void>(save());
    EXPECT_EQ(fake_device.calls.size(), 1U);
}
