// SPDX-License-Identifier: MIT
#include "tests/screen/press_fixture.h"
#include "tests/support/virtual_pauses.h"

#include <cerrno>

namespace {

const std::string start_naming = "set_device_name 4accf4c4 \r\n"
                                 "middle_value c \r\n"
                                 "Generated device_name: 4ACCF4C4\n";

/// A press on a screen that has come up.
class ApplyPress : public Press {
protected:
    ApplyPress() { static_cast<void>(appear()); }
};

/// The same: the button is the other one.
using SavePress = ApplyPress;

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

TEST_F(ApplyPress, OneMachineIsFoundSetAndConfirmed) {
    const EmbeddedMachine machine(service_, 0x4AC5F4C4);
    EXPECT_EQ(apply(), press_lines(5, echo_lines(0xB0, 0, 0) + success_line));
    expect_alert("设置成功!", "旋钮0--设置成功!");
    EXPECT_EQ(screen_.machine_type_menu_string, "4AC5F4C4");
    EXPECT_EQ(machine.received(), sequence(0xB0, 0, 0)) << "no probe reaches it";
    EXPECT_EQ(machine.table(), (MappingTable{{0, protocol::MessageType::control_change, 1, 0}}));
    EXPECT_TRUE(machine.saved_table().empty());
    EXPECT_EQ(recorded_pauses, command_pauses(false));
}

TEST_F(ApplyPress, EachTypeReachesTheMachineAsItWasChosen) {
    const EmbeddedMachine machine(service_, 0x4ACAF4C4);
    struct Row {
        std::string_view type;
        std::string line;
        std::uint8_t nibble;
    };
    for (const Row& row :
         {Row{NOTE_ON, "NOTE_ON\n", 0x90}, Row{NOTE_OFF, "NOTE_OFF\n", 0x80},
          Row{CONTROL_CHANGE, "CONTROL_CHANGE\n", 0xB0}, Row{BEND_CHANGE, "BEND_CHANGE\n", 0xE0}}) {
        screen_.message_type_menu_string = row.type;
        screen_.hardware_part_number_code_string = "12";
        screen_.message_channel_menu_string = "16";
        screen_.message_controller_number_code_string = "127";
        const auto status = static_cast<std::uint8_t>(row.nibble | 0x0F);
        EXPECT_EQ(apply(), row.line + probe_lines({10}) + automatic_lines(10, {10}) +
                               command_lines(10, {10}, echo_lines(status, 127, 12) + success_line) +
                               "0\n");
        EXPECT_EQ(machine.table(),
                  (MappingTable{{12, static_cast<protocol::MessageType>(row.nibble), 16, 127}}));
    }
}

TEST_F(ApplyPress, SilentMachineGetsTheSequenceTwiceAndItIsASuccessAllTheSame) {
    const EmbeddedMachine machine(service_, 0x4AC5F4C4, {.silent = MachineFaults::always});
    EXPECT_EQ(apply(), press_lines(5, failure_line));
    expect_alert("设置成功!", "旋钮0--设置成功!");
    EXPECT_EQ(machine.received(), joined({sequence(0xB0, 0, 0), sequence(0xB0, 0, 0)}));
    EXPECT_EQ(recorded_pauses, command_pauses(true));
}

TEST_F(ApplyPress, OneLostEchoIsMadeGoodByTheRepetition) {
    const EmbeddedMachine machine(service_, 0x4AC5F4C4, {.silent = 1});
    EXPECT_EQ(apply(), press_lines(5, failure_line + echo_lines(0xB0, 0, 0)));
    EXPECT_EQ(machine.table(), (MappingTable{{0, protocol::MessageType::control_change, 1, 0}}));
}

TEST_F(ApplyPress, WrongSecondByteIsNoConfirmation) {
    screen_.message_controller_number_code_string = "7";
    const EmbeddedMachine machine(service_, 0x4AC5F4C4, {.wrong = 1, .wrong_byte = 2});
    const Bytes right = {0xB0, 7, 0}, wrong = {0xB0, 6, 0};
    EXPECT_EQ(apply(), press_lines(5, heard_lines(wrong, right, wrong, false) + failure_line +
                                          echo_lines(0xB0, 7, 0)));
}

TEST_F(ApplyPress, SlowEchoWithinTheWaitConfirms) {
    const EmbeddedMachine machine(service_, 0x4AC5F4C4, {.slow = 1, .delay_ms = 250});
    EXPECT_EQ(apply(), press_lines(5, echo_lines(0xB0, 0, 0) + success_line));
    EXPECT_EQ(machine.received(), sequence(0xB0, 0, 0));
}

TEST_F(ApplyPress, NoMachineAndNoDeviceReadsAsASuccess) {
    EXPECT_EQ(apply(), "CONTROL_CHANGE\n" + probe_lines({}) + manual_lines(0, {}) +
                           command_to_nobody_lines({}) + "0\n");
    expect_alert("设置成功!", "旋钮0--设置成功!");
    EXPECT_EQ(recorded_pauses, std::vector<unsigned>{});
}

TEST_F(ApplyPress, NoMachineAmongOtherDevicesIsAFailure) {
    static_cast<void>(service_.attach(
        {.name = "Sequencer", .model = "Sequencer", .is_source = false, .is_destination = false}));
    screen_.machine_type_menu_string = "4AC5F4C4";
    const std::string scan = "send_midi_out_data\r\n MIDIGetNumberOfDevices  1\r\n";
    EXPECT_EQ(apply(), "CONTROL_CHANGE\n" + probe_lines({}) + manual_lines(5, {}) + scan +
                           "key_code_value_set\r\n" + scan + scan + "1\n");
    expect_alert("设置失败!", "设置失败,检查连接状态\n[当前可选-选项-连接列表]\n");
}

TEST_F(ApplyPress, TwoMachinesAreListedAndNothingReachesThem) {
    const EmbeddedMachine eleven(service_, 0x4ACBF4C4);
    const EmbeddedMachine two(service_, 0x4AC2F4C4);
    screen_.machine_type_menu_string = "4AC2F4C4";
    EXPECT_EQ(apply(), "CONTROL_CHANGE\n" + probe_lines({11, 2}) + manual_lines(2, {11, 2}) +
                           command_to_nobody_lines({11, 2}) + "1\n");
    expect_alert("设置失败!", "设置失败,检查连接状态\n[当前可选-选项-连接列表]\n"
                              "4AC2F4C4\n4ACBF4C4");
    EXPECT_EQ(screen_.machine_type_menu_string, "4AC2F4C4");
    EXPECT_EQ(two.received(), Bytes{});
    EXPECT_EQ(eleven.received(), Bytes{});
    EXPECT_EQ(recorded_pauses, std::vector<unsigned>{});
}

TEST_F(ApplyPress, OneMachineMakesAnInvalidMenuTextValid) {
    const EmbeddedMachine machine(service_, 0x4AC5F4C4);
    screen_.machine_type_menu_string = "nonsense";
    EXPECT_EQ(apply(), press_lines(5, echo_lines(0xB0, 0, 0) + success_line));
    EXPECT_EQ(screen_.machine_type_menu_string, "4AC5F4C4");
}

TEST_F(ApplyPress, InvalidMenuTextWithoutAMachineIsPrintedAndTheCommandTriedAllTheSame) {
    screen_.machine_type_menu_string = "5AC0F4C4";
    EXPECT_EQ(apply(), "CONTROL_CHANGE\n" + probe_lines({}) +
                           "Error: Invalid machine type selected\n" + command_to_nobody_lines({}) +
                           "0\n");
    expect_alert("设置成功!", "旋钮0--设置成功!");
}

TEST_F(ApplyPress, InvalidMenuTextSendsToTheMachineThatWasProbedLast) {
    const EmbeddedMachine five(service_, 0x4AC5F4C4);
    const EmbeddedMachine last(service_, 0x4ACFF4C4);
    screen_.machine_type_menu_string = "4AC10F4C4";
    EXPECT_EQ(apply(), "CONTROL_CHANGE\n" + probe_lines({5, 15}) +
                           "Error: Invalid middle hex value in machine type\n" +
                           command_lines(15, {5, 15}, echo_lines(0xB0, 0, 0) + success_line) +
                           "0\n");
    expect_alert("设置成功!", "旋钮0--设置成功!");
    EXPECT_EQ(five.received(), Bytes{});
    EXPECT_EQ(last.table(), (MappingTable{{0, protocol::MessageType::control_change, 1, 0}}));
}

TEST_F(ApplyPress, MachinePulledBetweenTwoPressesIsGoneAtTheNext) {
    EmbeddedMachine machine(service_, 0x4AC5F4C4);
    static_cast<void>(apply());
    screen_.showAlert = false;
    machine.unplug();
    EXPECT_EQ(apply(), "CONTROL_CHANGE\n" + probe_lines({}) + manual_lines(5, {}) +
                           command_to_nobody_lines({}) + "0\n");
    screen_.showAlert = false;
    machine.plug();
    EXPECT_EQ(apply(), press_lines(5, echo_lines(0xB0, 0, 0) + success_line));
    EXPECT_TRUE(screen_.showAlert);
}

TEST_F(ApplyPress, EachOfTheSixteenMachinesAloneIsSetAndConfirmed) {
    for (unsigned i = 0; i < 16; ++i) {
        const EmbeddedMachine machine(service_, 0x4AC0F4C4 + i * 0x10000);
        EXPECT_EQ(apply(), press_lines(i, echo_lines(0xB0, 0, 0) + success_line));
        EXPECT_EQ(machine.received(), sequence(0xB0, 0, 0));
    }
}

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
