// SPDX-License-Identifier: MIT
#include "tests/screen/controller_fixture.h"

#include "Include/main.h"
#include "Include/set_device_name.h"

#include <cstdio>

FakeDevice fake_device;

namespace {

void write_down(const std::string& call) {
    std::printf("%s", printed(call).c_str());
    fake_device.calls.push_back(call);
    if (fake_device.on_call)
        fake_device.on_call(call);
}

std::string hex(unsigned value, int digits) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%0*X", digits, value);
    return text.data();
}

} // namespace

std::int32_t midi_init() {
    write_down("midi_init");
    return 0;
}

std::int32_t midi_exit() {
    write_down("midi_exit");
    return 0;
}

std::int32_t usb_midi_main(std::uint8_t part, std::uint8_t status, std::uint8_t controller,
                           std::uint8_t controller2) {
    write_down("usb_midi_main " + hex(part, 2) + ' ' + hex(status, 2) + ' ' + hex(controller, 2) +
               ' ' + hex(controller2, 2));
    return fake_device.main_result;
}

std::uint64_t set_device_name(std::uint32_t code) {
    write_down(naming_call(code));
    return 0xFFFFFFFF;
}

std::uint64_t set_device_name_with_hexcode(std::uint32_t code) {
    write_down("set_device_name_with_hexcode " + hex(code, 8));
    return 0xFFFFFFFF;
}

std::uint8_t judge_device_connect_state_with_id(std::uint32_t code) {
    write_down("judge_device_connect_state_with_id " + hex(code, 8));
    return fake_device.answers[code >> 16 & 0xF];
}

std::string probe_call(unsigned machine) {
    return "judge_device_connect_state_with_id 4AC" + hex(machine, 1) + "F4C4";
}

std::string naming_call(std::uint32_t code) {
    return "set_device_name " + hex(code, 8);
}

std::string command_call(unsigned part, unsigned status, unsigned controller) {
    return "usb_midi_main " + hex(part, 2) + ' ' + hex(status, 2) + ' ' + hex(controller, 2) + ' ' +
           hex(controller, 2);
}

std::string probe_transcript() {
    std::string text;
    for (unsigned i = 0; i < 16; ++i)
        text += printed(probe_call(i)) + "i = 0x" + hex(i, 2) + ", device_connect_id_arg = 0x4AC" +
                hex(i, 1) + "F4C4\n";
    return text;
}

std::string printed(const std::string& call) {
    return '<' + call + ">\n";
}

std::string automatic_choice(char digit) {
    const std::string code = std::string("4AC") + digit + "F4C4";
    return "<set_device_name " + code + ">\n-" + digit + "--set_device_name(0x" + code + ");\n";
}

std::string manual_choice(const std::string& menu, char digit) {
    const std::string code = std::string("16C") + digit + "F4C4";
    return "<set_device_name " + code + ">\nUser selected: " + menu + "\nset_device_name(0x" +
           code + ");\n";
}

std::string up_to_the_choice() {
    return "CONTROL_CHANGE\n" + probe_transcript();
}

std::string whole_press(const std::string& choice) {
    return up_to_the_choice() + choice + "<usb_midi_main 00 B0 00 00>\n0\n";
}

CommandBytes command_bytes() {
    return {c_arg_transfer_UInt8_1, c_arg_transfer_UInt8_2, c_arg_transfer_UInt8_3,
            c_arg_transfer_UInt8_4};
}

void set_command_bytes(const CommandBytes& bytes) {
    c_arg_transfer_UInt8_1 = static_cast<std::uint8_t>(bytes[0]);
    c_arg_transfer_UInt8_2 = static_cast<std::uint8_t>(bytes[1]);
    c_arg_transfer_UInt8_3 = static_cast<std::uint8_t>(bytes[2]);
    c_arg_transfer_UInt8_4 = static_cast<std::uint8_t>(bytes[3]);
}

ScreenActions::ScreenActions() {
    fake_device = {};
    ShellCommandPath = "  ";
    device_connect_state_retval = {};
    command_setup_succeed_flag = 0;
    c_arg_transfer_Uint32 = 0;
    set_command_bytes({});
}

ScreenActions::~ScreenActions() {
    fake_device = {};
}

std::string ScreenActions::apply() {
    CapturedOutput output;
    apply_action(screen_);
    return output.take();
}

void ScreenActions::expect_alert(const std::string& title, const std::string& message) const {
    EXPECT_EQ(screen_.showmessage_title, title);
    EXPECT_EQ(screen_.showmessage, message);
    EXPECT_TRUE(screen_.showAlert);
}
