// SPDX-License-Identifier: MIT
#include "tests/screen/controller_fixture.h"

TEST_F(ScreenActions, AppearingStartsTheLinkAndThenNamesTheStartMachine) {
    CapturedOutput output;
    appear_hook();
    EXPECT_EQ(output.take(), "<midi_init>\n<set_device_name 4ACCF4C4>\n");
    EXPECT_EQ(fake_device.calls.size(), 2U);
}

TEST_F(ScreenActions, DisappearingStopsTheLinkAndNothingElse) {
    CapturedOutput output;
    disappear_hook();
    EXPECT_EQ(output.take(), "<midi_exit>\n");
    EXPECT_EQ(fake_device.calls.size(), 1U);
}

TEST_F(ScreenActions, ComingBackStartsAgainTheSameWay) {
    CapturedOutput output;
    appear_hook();
    disappear_hook();
    appear_hook();
    EXPECT_EQ(output.take(), "<midi_init>\n<set_device_name 4ACCF4C4>\n<midi_exit>\n"
                             "<midi_init>\n<set_device_name 4ACCF4C4>\n");
}
