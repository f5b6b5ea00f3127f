// SPDX-License-Identifier: MIT
#include "tests/screen/controller_fixture.h"

#include <algorithm>
#include <sstream>

TEST_F(ScreenActions, ProbePrintsExactlySixteenLinesWhicheverMachinesAnswer) {
    const std::vector<std::vector<unsigned>> groups{{}, {0}, {15}, {3, 7}, {0, 1, 2, 3, 4, 5}};
    for (const auto& present : groups) {
        fake_device = {};
        for (const unsigned i : present)
            fake_device.answers.at(i) = 1;
        std::istringstream lines(apply());
        std::vector<std::string> probe_lines;
        for (std::string line; std::getline(lines, line);) {
            if (line.starts_with("i = "))
                probe_lines.push_back(line);
        }
        ASSERT_EQ(probe_lines.size(), 16U);
        EXPECT_EQ(probe_lines[0], "i = 0x00, device_connect_id_arg = 0x4AC0F4C4");
        EXPECT_EQ(probe_lines[3], "i = 0x03, device_connect_id_arg = 0x4AC3F4C4");
        EXPECT_EQ(probe_lines[10], "i = 0x0A, device_connect_id_arg = 0x4ACAF4C4");
        EXPECT_EQ(probe_lines[15], "i = 0x0F, device_connect_id_arg = 0x4ACFF4C4");
    }
}

TEST_F(ScreenActions, EachProbeIsFollowedByItsLine) {
    EXPECT_NE(apply().find(probe_transcript()), std::string::npos);
    ASSERT_GE(fake_device.calls.size(), 16U);
    for (unsigned i = 0; i < 16; ++i)
        EXPECT_EQ(fake_device.calls[i], probe_call(i));
    EXPECT_EQ(std::count_if(fake_device.calls.begin(), fake_device.calls.end(),
                            [](const std::string& call) { return call.starts_with("judge"); }),
              16);
}

TEST_F(ScreenActions, AnswersAreKeptByMachineWhateverTheyAre) {
    fake_device.answers = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
    static_cast<void>(apply());
    EXPECT_EQ(device_connect_state_retval, fake_device.answers);
}

TEST_F(ScreenActions, OldAnswersAreForgottenBeforeTheFirstProbe) {
    device_connect_state_retval.fill(1);
    fake_device.answers[0] = 9;
    fake_device.on_call = [](const std::string& call) {
        if (call == probe_call(0)) {
            EXPECT_EQ(device_connect_state_retval, (std::array<std::uint8_t, 16>{}));
        }
        if (call == probe_call(1)) {
            EXPECT_EQ(device_connect_state_retval, (std::array<std::uint8_t, 16>{9}));
        }
    };
    static_cast<void>(apply());
    EXPECT_EQ(device_connect_state_retval, (std::array<std::uint8_t, 16>{9}));
}

TEST_F(ScreenActions, EachPressProbesAnew) {
    fake_device.answers[5] = 1;
    static_cast<void>(apply());
    fake_device.answers = {};
    fake_device.answers[6] = 1;
    static_cast<void>(apply());
    EXPECT_EQ(device_connect_state_retval[5], 0);
    EXPECT_EQ(device_connect_state_retval[6], 1);
    EXPECT_EQ(screen_.machine_type_menu_string, "4AC6F4C4");
}

TEST_F(ScreenActions, ValuesAreAddedUpNotMachinesCounted) {
    // One machine, but the value 2: not the automatic choice.
    fake_device.answers[5] = 2;
    const std::string text = apply();
    EXPECT_NE(text.find("User selected: 4AC0F4C4\n"), std::string::npos);
    EXPECT_EQ(text.find("--set_device_name"), std::string::npos);
    EXPECT_EQ(screen_.machine_type_menu_string, "4AC0F4C4");
}

TEST_F(ScreenActions, SumOf255IsStillAManualChoice) {
    fake_device.answers[2] = 254;
    fake_device.answers[9] = 1;
    EXPECT_NE(apply().find("User selected: 4AC0F4C4\n"), std::string::npos);
    EXPECT_EQ(fake_device.calls.back(), command_call(0, 0xB0, 0));
}

TEST_F(ScreenActions, FieldsAreReadBeforeTheFirstProbeAndPrintedFirst) {
    const std::string text = apply();
    EXPECT_TRUE(text.starts_with("CONTROL_CHANGE\n" + printed(probe_call(0))));
}
