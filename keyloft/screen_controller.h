// SPDX-License-Identifier: MIT
#pragma once

#include "protocol/mapping.h"

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

// What the screen and its actions share. Screen thread only; none of it is saved between runs.

/// The message type names, as the menu offers them. No action knows SYSTEM_CHANGE.
inline constexpr auto NOTE_ON = type_name(protocol::MessageType::note_on);
inline constexpr auto NOTE_OFF = type_name(protocol::MessageType::note_off);
inline constexpr auto CONTROL_CHANGE = type_name(protocol::MessageType::control_change);
inline constexpr auto BEND_CHANGE = type_name(protocol::MessageType::bend_change);
inline constexpr std::string_view SYSTEM_CHANGE = "System Change";

/// The names of the sixteen machines of the family, by number.
extern std::array<std::string, 16> machine_type_array;

/// The folder above the application's resources. Written by each apply press; nothing reads it.
extern std::string ShellCommandPath;
/// Each machine's answer to the last apply press: 1 is there and online, anything else absent.
extern std::array<std::uint8_t, 16> device_connect_state_retval;
/// Result of the last command: 0 success.
extern std::int32_t command_setup_succeed_flag;
/// Stays 0: no action passes a 32-bit argument.
extern std::uint32_t c_arg_transfer_Uint32;
/// The command's bytes: hardware part code, status, controller number, and that again. An apply
/// press with a channel below 1 leaves the previous status here and sends it.
extern std::uint8_t c_arg_transfer_UInt8_1;
extern std::uint8_t c_arg_transfer_UInt8_2;
extern std::uint8_t c_arg_transfer_UInt8_3;
extern std::uint8_t c_arg_transfer_UInt8_4;

/// What the screen shows; texts are UTF-8. A screen owns one and writes every edit into it.
struct ScreenState {
    std::string message_type_menu_string{CONTROL_CHANGE};
    std::string machine_type_menu_string{machine_type_array[0]};
    std::string hardware_part_number_code_string{"0"};
    std::string message_channel_menu_string{"1"}; ///< a text field's, despite the name
    std::string message_controller_number_code_string{"0"};
    std::string username{};           ///< shown nowhere, read by nothing
    bool emailFieldIsFocused = false; ///< shown nowhere, read by nothing
    bool showAlert = false; ///< the alert is up; actions flip it, dismissing the alert clears it
    std::string showmessage{};
    std::string showmessage_title{};
};

/// The apply button: converts the fields, probes the sixteen machines, chooses one, sends it the
/// mapping and fills in the alert. Blocks for at least 311 ms if the machine is there. A field that
/// is not a whole number, or out of range, ends the program: see fatal_stop.h.
void apply_action(ScreenState& screen);

/// The save button: sends the save command to the current machine and fills in the alert.
void save_action(ScreenState& screen);

/// The screen came up: starts the MIDI link and names machine 12.
void appear_hook();

/// The screen went away: stops the MIDI link.
void disappear_hook();

/// Forgets the answers of the last probe.
void ClearDeviceMathingRetval();

/// The folder of the application's resources, `<folder of the executable>/../share/keyloft`: an
/// absolute path, not normalised.
[[nodiscard]] std::string bundle_path();
