// SPDX-License-Identifier: MIT
#include "keyloft/screen_controller.h"

#include "Include/main.h"
#include "Include/set_device_name.h"
#include "keyloft/fatal_stop.h"
#include "protocol/device_code.h"
#include "protocol/sequence.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <limits>
#include <optional>
#include <system_error>

namespace {

constexpr const char* nil_message = "Unexpectedly found nil while unwrapping an Optional value";
constexpr std::uint32_t start_machine = protocol::family_code(12);

/// The machines' names differ in the digit between these two alone.
constexpr auto first_name = protocol::code_characters(protocol::family_code(0));
constexpr std::string_view name_head{first_name.data(), 3};
constexpr std::string_view name_tail{first_name.data() + 4, 4};

std::string machine_name(std::uint32_t machine) {
    return protocol::code_text(protocol::family_code(machine));
}

std::array<std::string, protocol::family_size> build_machine_types() {
    std::array<std::string, protocol::family_size> types;
    for (std::uint32_t i = 0; i < types.size(); ++i)
        types[i] = machine_name(i);
    return types;
}

template<typename Value>
Value unwrap(const std::optional<Value>& value, FatalReason reason) {
    if (!value)
        fatal_stop(nil_message, reason);
    return *value;
}

/// The whole text as a number: an optional sign, then digits of the base and nothing else.
template<typename Number>
std::optional<Number> parse_number(std::string_view text, int base) {
    if (text.starts_with('+')) {
        text.remove_prefix(1);
        if (text.starts_with('-'))
            return std::nullopt; // from_chars accepts a minus
    }
    Number number{};
    const char* end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, number, base);
    if (error != std::errc{} || stopped != end)
        return std::nullopt;
    return number;
}

/// Lower-case hexadecimal, with a minus sign in front of the magnitude.
std::string hex_text(std::int64_t number) {
    char text[17]; // a sign and sixteen digits
    const auto [end, error] = std::to_chars(std::begin(text), std::end(text), number, 16);
    return {text, end};
}

/// One less than the number. The lowest has nothing below it and stays: what is negative gives no
/// status, whatever it is.
std::string hex_text_less_one(std::int64_t number) {
    return hex_text(std::max(number, std::numeric_limits<std::int64_t>::min() + 1) - 1);
}

std::string padded(const std::string& text) {
    return std::string(text.size() == 1 ? 1 : 0, '0') + text;
}

/// The fields as hexadecimal text, the form whose parsing decides what is accepted.
struct MappingTexts {
    std::string controller;
    std::string channel; ///< counted from 0, not padded
    std::string type;    ///< the status byte's first digit
    std::string part;
};

std::int64_t read_field(const std::string& text, FatalReason reason) {
    return unwrap(parse_number<std::int64_t>(text, 10), reason);
}

/// Any other text counts as a control change.
protocol::MessageType read_type(const std::string& text) {
    const auto type = protocol::type_named(text);
    if (!type)
        std::printf("default\n");
    else if (*type == protocol::MessageType::note_on)
        std::printf("NOTE_ON\n");
    else if (*type == protocol::MessageType::note_off)
        std::printf("NOTE_OFF\n");
    else if (*type == protocol::MessageType::bend_change)
        std::printf("BEND_CHANGE\n");
    else
        std::printf("CONTROL_CHANGE\n");
    return type.value_or(protocol::MessageType::control_change);
}

MappingTexts read_fields(const ScreenState& screen) {
    MappingTexts texts;
    texts.controller = padded(hex_text(
        read_field(screen.message_controller_number_code_string, FatalReason::controller)));
    texts.channel =
        hex_text_less_one(read_field(screen.message_channel_menu_string, FatalReason::channel));
    texts.type = hex_text(static_cast<int>(read_type(screen.message_type_menu_string)) >> 4);
    texts.part =
        padded(hex_text(read_field(screen.hardware_part_number_code_string, FatalReason::part)));
    return texts;
}

/// Drops the last `characters` UTF-8 characters.
std::string without_last(std::string text, int characters) {
    while (characters > 0) {
        if (text.empty())
            fatal_stop("The path of the application's resources is too short",
                       FatalReason::no_entry);
        const bool starts_character = (static_cast<unsigned char>(text.back()) & 0xC0) != 0x80;
        text.pop_back();
        characters -= starts_character ? 1 : 0;
    }
    return text;
}

void probe_machines() {
    ClearDeviceMathingRetval();
    for (std::uint32_t i = 0; i < device_connect_state_retval.size(); ++i) {
        const std::uint32_t code = protocol::family_code(i);
        device_connect_state_retval[i] = judge_device_connect_state_with_id(code);
        std::printf("i = 0x%02X, device_connect_id_arg = 0x%08X\n", i, code);
    }
}

/// The sum of the answers, not their number. It has to fit into eight bits.
std::uint8_t sum_of_answers() {
    unsigned sum = 0;
    for (const std::uint8_t answer : device_connect_state_retval)
        sum += answer;
    if (sum > UINT8_MAX)
        fatal_stop("The sum of the machines' answers does not fit into 8 bits",
                   FatalReason::no_entry);
    return static_cast<std::uint8_t>(sum);
}

void select_detected(ScreenState& screen) {
    std::uint32_t machine = 0;
    while (device_connect_state_retval[machine] != 1)
        ++machine; // exactly one answer is 1, since their sum is
    const std::uint32_t code = protocol::family_code(machine);
    set_device_name(code);
    screen.machine_type_menu_string = machine_name(machine);
    std::printf("-%X--set_device_name(0x%08X);\n", machine, code);
}

void select_by_menu(const std::string& text) {
    if (!text.starts_with(name_head) || !text.ends_with(name_tail)) {
        std::printf("Error: Invalid machine type selected\n");
        return;
    }
    const std::string_view middle = std::string_view{text}.substr(
        name_head.size(), text.size() - name_head.size() - name_tail.size());
    const bool has_sign = middle.starts_with('+');
    const auto value = parse_number<std::uint32_t>(middle, 16);
    if (has_sign || !value || *value >= protocol::family_size) {
        std::printf("Error: Invalid middle hex value in machine type\n");
        return;
    }
    // Deliberately not the family's first byte: no machine has such a code, so a choice by hand
    // never reaches one of several machines.
    const std::uint32_t code = 0x16000000U | (protocol::family_code(*value) & 0x00FFFFFFU);
    set_device_name(code);
    std::printf("User selected: %s\n", text.c_str());
    std::printf("set_device_name(0x%08X);\n", code);
}

std::uint8_t unsigned_byte(const std::string& text, FatalReason reason) {
    return unwrap(parse_number<std::uint8_t>(text, 16), reason);
}

void prepare_command(const MappingTexts& texts) {
    c_arg_transfer_UInt8_1 = unsigned_byte(texts.part, FatalReason::part);
    // Channel 0 and below give no number: the previous command's status stays.
    const auto status = parse_number<std::int64_t>(texts.type + texts.channel, 16);
    if (status && *status > UINT8_MAX)
        fatal_stop(nil_message, FatalReason::channel);
    if (status)
        c_arg_transfer_UInt8_2 = static_cast<std::uint8_t>(*status);
    c_arg_transfer_UInt8_3 = unsigned_byte(texts.controller, FatalReason::controller);
    c_arg_transfer_UInt8_4 = unsigned_byte(texts.controller, FatalReason::controller);
}

/// The machines that answered the last probe, one per line.
std::string present_machines() {
    std::string list;
    for (std::uint32_t i = 0; i < device_connect_state_retval.size(); ++i) {
        if (device_connect_state_retval[i] == 1)
            list.append(list.empty() ? "" : "\n").append(machine_name(i));
    }
    return list;
}

void run_command(ScreenState& screen) {
    command_setup_succeed_flag = usb_midi_main(c_arg_transfer_UInt8_1, c_arg_transfer_UInt8_2,
                                               c_arg_transfer_UInt8_3, c_arg_transfer_UInt8_4);
    const bool succeeded = command_setup_succeed_flag == 0;
    std::printf("%d\n", command_setup_succeed_flag);
    if (succeeded) {
        screen.showmessage = "旋钮" + std::to_string(c_arg_transfer_UInt8_1) + "--设置成功!";
        screen.showmessage_title = "设置成功!";
    } else {
        screen.showmessage =
            "设置失败,检查连接状态\n[当前可选-选项-连接列表]\n" + present_machines();
        screen.showmessage_title = "设置失败!";
    }
    screen.showAlert = !screen.showAlert;
}

} // namespace

std::array<std::string, 16> machine_type_array = build_machine_types();
std::string ShellCommandPath = "  ";
std::array<std::uint8_t, 16> device_connect_state_retval{};
std::int32_t command_setup_succeed_flag = 0;
std::uint32_t c_arg_transfer_Uint32 = 0;
std::uint8_t c_arg_transfer_UInt8_1 = 0;
std::uint8_t c_arg_transfer_UInt8_2 = 0;
std::uint8_t c_arg_transfer_UInt8_3 = 0;
std::uint8_t c_arg_transfer_UInt8_4 = 0;

[[gnu::weak]] void fatal_stop(const char* message, FatalReason) {
    std::fflush(stdout);
    std::fprintf(stderr, "%s\n", message);
    std::abort();
}

void ClearDeviceMathingRetval() {
    device_connect_state_retval.fill(0);
}

std::string bundle_path() {
    std::error_code error; // without /proc the folder is empty and the path still absolute
    const auto executable = std::filesystem::read_symlink("/proc/self/exe", error);
    return executable.parent_path().string() + "/../share/keyloft";
}

void apply_action(ScreenState& screen) {
    ShellCommandPath = without_last(bundle_path(), 14);
    const MappingTexts texts = read_fields(screen);
    probe_machines();
    if (sum_of_answers() == 1)
        select_detected(screen);
    else
        select_by_menu(screen.machine_type_menu_string);
    prepare_command(texts);
    run_command(screen);
}

void save_action(ScreenState& screen) {
    const auto [status, data1, data2] = protocol::save_command;
    command_setup_succeed_flag = usb_midi_main(data2, status, data1, data1);
    std::printf("%d\n", command_setup_succeed_flag);
    // Deliberate: success has "hardware" as title, failure has it as text.
    if (command_setup_succeed_flag == 0) {
        screen.showmessage = "保存成功!";
        screen.showmessage_title = "hardware";
    } else {
        screen.showmessage_title = "保存失败!";
        screen.showmessage = "hardware";
    }
    screen.showAlert = !screen.showAlert;
}

void appear_hook() {
    midi_init();
    // Deliberately another machine than the menu starts with.
    set_device_name(start_machine);
}

void disappear_hook() {
    midi_exit();
}
