// SPDX-License-Identifier: MIT
#include "tests/screen/press_fixture.h"

namespace {

const std::string start_naming = "set_device_name 4accf4c4 \r\n"
                                 "middle_value c \r\n"
                                 "Generated device_name: 4ACCF4C4\n";

} // namespace

TEST_F(Press, StartWithoutASource) {
    EXPECT_EQ(appear(), start_naming + "MIDIGetNumberOfSources 0 \r\n"
                                       "midi init failed \r\n");
}

TEST_F(Press, StartWithTheStartMachineOnline) {
    const EmbeddedMachine machine(service_, 0x4ACCF4C4);
    EXPECT_EQ(appear(), start_naming + "MIDIGetNumberOfSources 1 \r\n"
                                       "midi init success ,number code 0 \r\n"
                                       "4ACCF4C4 MIDI 1 is online\r\n");
    EXPECT_EQ(machine.received(), Bytes{});
}

TEST_F(Press, StartWithTheStartMachineOffline) {
    static_cast<void>(service_.attach({.name = "4ACCF4C4 MIDI 1", .offline = 1}));
    EXPECT_EQ(appear(), start_naming + "MIDIGetNumberOfSources 1 \r\n"
                                       "midi init success ,number code 0 \r\n"
                                       "4ACCF4C4 MIDI 1 is offline\r\n");
}

TEST_F(Press, StartWithAnotherMachineOnly) {
    const EmbeddedMachine machine(service_, 0x4AC5F4C4);
    EXPECT_EQ(appear(), start_naming + "MIDIGetNumberOfSources 1 \r\n"
                                       "midi init failed \r\n");
}

TEST_F(Press, EndPrintsItsLineAndTheNextStartBeginsAnew) {
    const EmbeddedMachine machine(service_, 0x4ACCF4C4);
    const std::string first = appear();
    EXPECT_EQ(disappear(), "midi_exit\r\n");
    EXPECT_EQ(appear(), first);
}
