// SPDX-License-Identifier: MIT
#include "tests/support/press_lines.h"

#include <cstdio>

namespace {

template<class... Values>
std::string printed(const char* format, Values... values) {
    char text[160];
    std::snprintf(text, sizeof text, format, values...);
    return text;
}

unsigned shown(std::size_t count) {
    return static_cast<unsigned>(count);
}

} // namespace

std::string family_name(unsigned number) {
    return printed("4AC%XF4C4", number);
}

std::string probe_starts_line(unsigned machine) {
    return printed("set_device_name 4ac%xf4c4 \r\n", machine);
}

std::string probe_ends_line(unsigned machine) {
    return printed("i = 0x%02X, device_connect_id_arg = 0x4AC%XF4C4\n", machine, machine);
}

std::string naming_lines(unsigned machine) {
    return printed("set_device_name 4ac%xf4c4 \r\nmiddle_value %x \r\n"
                   "Generated device_name: 4AC%XF4C4\n",
                   machine, machine, machine);
}

std::string automatic_choice_line(unsigned machine) {
    return printed("-%X--set_device_name(0x4AC%XF4C4);\n", machine, machine);
}

std::string manual_naming_lines(unsigned machine) {
    return printed("set_device_name 16c%xf4c4 \r\nGenerated device_name: \n", machine);
}

std::string manual_choice_lines(const std::string& menu) {
    return "User selected: " + menu + "\nset_device_name(0x16C" + menu.substr(3) + ");\n";
}

std::string sources_line(std::size_t sources) {
    return printed("MIDIGetNumberOfSources %x \r\n", shown(sources));
}

std::string source_line(std::size_t index) {
    return printed("midi init success ,number code %x \r\n", shown(index));
}

std::string online_line(const std::string& name, bool is_online) {
    return name + (is_online ? " is online\r\n" : " is offline\r\n");
}

std::string devices_line(std::size_t devices) {
    return printed(" MIDIGetNumberOfDevices  %x\r\n", shown(devices));
}

std::string destinations_line(std::size_t destinations) {
    return printed("MIDIGetNumberOfDestinations %x \r\n", shown(destinations));
}

std::string last_destination_line(const std::string& name) {
    return "CCCCC: " + name + " is online\r\n";
}

std::string destination_line(std::uint32_t index) {
    return printed("midi_get_destination %x \r\n", index);
}

std::string lines_up_to_sending(std::size_t count, std::uint32_t index, const std::string& last) {
    const std::string scan = scan_line + devices_line(count);
    const std::string lookup = destinations_line(count) + last_destination_line(last);
    return scan + presence_line + command_line + scan + presence_line + scan + found_line + lookup +
           lookup + lookup + destination_line(index) + sending_line;
}

std::string heard_lines(std::span<const std::uint8_t> packet,
                        std::span<const std::uint8_t> expected, std::span<const std::uint8_t> kept,
                        bool matches) {
    std::string lines;
    for (const std::uint8_t byte : packet)
        lines += printed("%x\t", byte);
    lines += matches ? "\r\n\r\n设定回显正常\r\n" : "\r\n";
    for (const std::size_t i : {0U, 1U})
        lines += printed("midi_setup_data %zu %x , p %x\r\n", i, expected[i], kept[i]);
    return lines;
}
