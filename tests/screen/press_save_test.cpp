// SPDX-License-Identifier: MIT
#include "tests/screen/press_fixture.h"
#include "tests/support/virtual_pauses.h"

#include <cerrno>

namespace {

/// A press on save on a screen that has come up.
class SavePress : public Press {
protected:
    SavePress() { static_cast<void>(appear()); }
};

} // namespace

TEST_F(SavePress, StartMachineSavesWithoutAnApplyPress) {
    const EmbeddedMachine machine(service_, 0x4ACCF4C4);
    static_cast<void>(appear());
    EXPECT_EQ(save(), command_lines(12, {12}, echo_lines(0xAF, 0x7F, 0x7F) + success_line) + "0\n");
    expect_alert("hardware", "保存成功!");
    EXPECT_EQ(machine.received(), sequence(0xAF, 0x7F, 0x7F));
    EXPECT_EQ(recorded_pauses, command_pauses(false));
}

TEST_F(SavePress, MappingIsKeptByTheMachineThroughAPowerCycle) {
    EmbeddedMachine machine(service_, 0x4AC5F4C4);
    screen_.hardware_part_number_code_string = "12";
    screen_.message_controller_number_code_string = "34";
    static_cast<void>(apply());
    EXPECT_TRUE(machine.saved_table().empty());
    EXPECT_TRUE(save().ends_with("设置成功了 \r\n0\n"));
    const MappingTable expected{{12, protocol::MessageType::control_change, 1, 34}};
    EXPECT_EQ(machine.saved_table(), expected);
    machine.unplug();
    machine.plug();
    EXPECT_EQ(machine.table(), expected);
}

TEST_F(SavePress, CurrentMachineIsGoneAmongOtherDevices) {
    EmbeddedMachine five(service_, 0x4AC5F4C4);
    const EmbeddedMachine six(service_, 0x4AC6F4C4);
    five.unplug();
    EXPECT_EQ(save(), command_to_nobody_lines({6}) + "1\n");
    expect_alert("保存失败!", "hardware");
    EXPECT_EQ(six.received(), Bytes{});
    EXPECT_EQ(recorded_pauses, std::vector<unsigned>{});
}

TEST_F(SavePress, WithoutAnyDeviceItReadsAsASuccess) {
    EXPECT_EQ(save(), command_to_nobody_lines({}) + "0\n");
    expect_alert("hardware", "保存成功!");
}

TEST_F(SavePress, FailedSendsAreAFailure) {
    static_cast<void>(
        service_.attach({.name = "4ACCF4C4 MIDI 1", .model = "4ACCF4C4", .send_status = -EIO}));
    static_cast<void>(appear());
    EXPECT_EQ(save(), command_lines(12, {12}, failure_line) + "1\n");
    expect_alert("保存失败!", "hardware");
}

TEST_F(SavePress, OfflineMachineIsAFailure) {
    static_cast<void>(
        service_.attach({.name = "4ACCF4C4 MIDI 1", .model = "4ACCF4C4", .offline = 1}));
    static_cast<void>(appear());
    const std::string text = save();
    EXPECT_TRUE(text.ends_with("midi_get_destination 0 \r\noffline \r\n1\n"));
    EXPECT_EQ(text.find("clock mc"), std::string::npos);
    EXPECT_EQ(screen_.showmessage_title, "保存失败!");
}
