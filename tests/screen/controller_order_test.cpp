// SPDX-License-Identifier: MIT
#include "tests/screen/controller_fixture.h"
#include "tests/screen/throwing_stop.h"

// What a press has done before it stops: each case breaks one field.

/// Presses, and stops.
class StoppedPress : public ScreenActions {
protected:
    StoppedPress() {
        ShellCommandPath = "before";
        device_connect_state_retval.fill(7);
        set_command_bytes({0x11, 0x22, 0x33, 0x44});
        command_setup_succeed_flag = 55;
        screen_.hardware_part_number_code_string = "1";
        screen_.message_channel_menu_string = "2";
        screen_.message_controller_number_code_string = "3";
    }

    void stop() {
        CapturedOutput output;
        EXPECT_THROW(apply_action(screen_), FatalStop);
        EXPECT_EQ(command_setup_succeed_flag, 55);
        EXPECT_FALSE(screen_.showAlert);
        EXPECT_EQ(screen_.showmessage, "");
        EXPECT_EQ(screen_.showmessage_title, "");
    }
};

TEST_F(StoppedPress, FieldThatIsNoNumberLeavesTheOldProbeResultsAndTheNewPath) {
    for (const auto field :
         {&ScreenState::hardware_part_number_code_string, &ScreenState::message_channel_menu_string,
          &ScreenState::message_controller_number_code_string}) {
        ShellCommandPath = "before";
        screen_ = {};
        screen_.*field = "x";
        stop();
        EXPECT_NE(ShellCommandPath, "before") << "the path is written first of all";
        EXPECT_EQ(device_connect_state_retval[0], 7);
        EXPECT_EQ(device_connect_state_retval[15], 7);
        EXPECT_EQ(command_bytes(), (CommandBytes{0x11, 0x22, 0x33, 0x44}));
        EXPECT_TRUE(fake_device.calls.empty());
    }
}

TEST_F(StoppedPress, PartOutOfRangeLeavesAllFourBytes) {
    screen_.hardware_part_number_code_string = "256";
    stop();
    EXPECT_EQ(command_bytes(), (CommandBytes{0x11, 0x22, 0x33, 0x44}));
    EXPECT_EQ(device_connect_state_retval, (std::array<std::uint8_t, 16>{}));
    EXPECT_EQ(fake_device.calls.size(), 17U) << "sixteen probes and the naming";
}

TEST_F(StoppedPress, ChannelOutOfRangeComesAfterThePart) {
    screen_.message_channel_menu_string = "17";
    stop();
    EXPECT_EQ(command_bytes(), (CommandBytes{1, 0x22, 0x33, 0x44}));
    EXPECT_EQ(fake_device.calls.size(), 17U);
}

TEST_F(StoppedPress, ControllerOutOfRangeComesAfterTheStatus) {
    screen_.message_controller_number_code_string = "256";
    stop();
    EXPECT_EQ(command_bytes(), (CommandBytes{1, 0xB1, 0x33, 0x44}));
    EXPECT_EQ(fake_device.calls.size(), 17U);
}

TEST_F(StoppedPress, ControllerOutOfRangeKeepsTheStatusOfChannelZero) {
    screen_.message_channel_menu_string = "0";
    screen_.message_controller_number_code_string = "-1";
    stop();
    EXPECT_EQ(command_bytes(), (CommandBytes{1, 0x22, 0x33, 0x44}));
}

TEST_F(StoppedPress, SumOfAnswersAbove255StopsBehindTheProbe) {
    fake_device.answers[0] = 255;
    fake_device.answers[15] = 1;
    CapturedOutput output;
    EXPECT_THROW(apply_action(screen_), FatalStop);
    EXPECT_EQ(output.take(), up_to_the_choice());
    EXPECT_EQ(fake_device.calls.size(), 16U);
    EXPECT_EQ(command_bytes(), (CommandBytes{0x11, 0x22, 0x33, 0x44}));
}

TEST_F(StoppedPress, SumThatWouldWrapToOneStopsToo) {
    fake_device.answers[0] = 128;
    fake_device.answers[1] = 128;
    fake_device.answers[2] = 1;
    stop();
    EXPECT_EQ(fake_device.calls.size(), 16U);
    EXPECT_EQ(screen_.machine_type_menu_string, "4AC0F4C4");
}

TEST_F(StoppedPress, BrokenMenuTextComesBeforeABrokenPart) {
    screen_.machine_type_menu_string = "nonsense";
    screen_.hardware_part_number_code_string = "-1";
    CapturedOutput output;
    EXPECT_THROW(apply_action(screen_), FatalStop);
    EXPECT_EQ(output.take(), up_to_the_choice() + invalid_machine);
}

TEST_F(StoppedPress, NextPressWorksAsIfNothingHadBeen) {
    screen_.message_controller_number_code_string = "256";
    stop();
    screen_.message_controller_number_code_string = "3";
    fake_device = {};
    fake_device.answers[5] = 1;
    EXPECT_TRUE(apply().ends_with(automatic_choice('5') + "<usb_midi_main 01 B1 03 03>\n0\n"));
    EXPECT_TRUE(screen_.showAlert);
}
