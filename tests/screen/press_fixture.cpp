// SPDX-License-Identifier: MIT
#include "tests/screen/press_fixture.h"

#include "tests/support/virtual_pauses.h"

#include <array>
#include <cstdio>

namespace {

std::string lower_hex(unsigned value) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%x", value);
    return text.data();
}

/// The name of a machine of the family.
std::string family_name(unsigned machine) {
    return std::string("4AC") + "0123456789ABCDEF"[machine] + "F4C4";
}

/// Its code as the naming prints it.
std::string printed_code(unsigned machine) {
    return "4ac" + lower_hex(machine) + "f4c4";
}

std::string count(const Plugged& plugged) {
    return lower_hex(static_cast<unsigned>(plugged.size()));
}

/// Where a machine stands in the lists; behind their end when it is not there.
unsigned index_of(unsigned machine, const Plugged& plugged) {
    unsigned index = 0;
    while (index < plugged.size() && plugged[index] != machine)
        ++index;
    return index;
}

std::string scan_lines(const Plugged& plugged) {
    return "send_midi_out_data\r\n MIDIGetNumberOfDevices  " + count(plugged) + "\r\n";
}

/// One lookup. Its second line is about the place behind the last destination, which leaves the
/// last one's name, cut to eight characters, where it was.
std::string lookup_lines(const Plugged& plugged) {
    return "MIDIGetNumberOfDestinations " + count(plugged) +
           " \r\nCCCCC: " + family_name(plugged.back()) + " is online\r\n";
}

std::string captured(void (*action)(ScreenState&), ScreenState& screen) {
    CapturedOutput output;
    action(screen);
    return output.take();
}

} // namespace

Press::Press() {
    install_midi_backend(&service_);
    paused_backend = &service_;
    recorded_pauses.clear();
}

Press::~Press() {
    paused_backend = nullptr;
    install_midi_backend(nullptr);
}

std::string Press::appear() {
    return captured([](ScreenState&) { appear_hook(); }, screen_);
}

std::string Press::disappear() {
    return captured([](ScreenState&) { disappear_hook(); }, screen_);
}

std::string Press::apply() {
    return captured(apply_action, screen_);
}

std::string Press::save() {
    return captured(save_action, screen_);
}

std::string connection_lines(unsigned machine, const Plugged& plugged) {
    const unsigned index = index_of(machine, plugged);
    const std::string first = "MIDIGetNumberOfSources " + count(plugged) + " \r\n";
    if (index == plugged.size())
        return first + "midi init failed \r\n";
    return first + "midi init success ,number code " + lower_hex(index) + " \r\n" +
           family_name(machine) + " MIDI 1 is online\r\n";
}

std::string probe_lines(const Plugged& plugged) {
    std::string text;
    for (unsigned i = 0; i < 16; ++i) {
        text += "set_device_name " + printed_code(i) + " \r\n" + connection_lines(i, plugged) +
                "i = 0x0" + "0123456789ABCDEF"[i] + ", device_connect_id_arg = 0x" +
                family_name(i) + "\n";
    }
    return text;
}

std::string automatic_lines(unsigned machine, const Plugged& plugged) {
    return "set_device_name " + printed_code(machine) + " \r\nmiddle_value " + lower_hex(machine) +
           " \r\nGenerated device_name: " + family_name(machine) + "\n" +
           connection_lines(machine, plugged) + "-" + "0123456789ABCDEF"[machine] +
           "--set_device_name(0x" + family_name(machine) + ");\n";
}

std::string manual_lines(unsigned machine, const Plugged& plugged) {
    return "set_device_name 16c" + lower_hex(machine) + "f4c4 \r\nGenerated device_name: \n" +
           "MIDIGetNumberOfSources " + count(plugged) + " \r\nmidi init failed \r\n" +
           "User selected: " + family_name(machine) + "\nset_device_name(0x16C" +
           "0123456789ABCDEF"[machine] + "F4C4);\n";
}

std::string command_to_nobody_lines(const Plugged& plugged) {
    return scan_lines(plugged) + "key_code_value_set\r\n" + scan_lines(plugged) +
           scan_lines(plugged);
}

std::string command_lines(unsigned machine, const Plugged& plugged, const std::string& sending) {
    const std::string found = scan_lines(plugged) + "no macthing name B \r\n";
    return found + "key_code_value_set\r\n" + found + scan_lines(plugged) + "midiOutShortMsg\r\n" +
           lookup_lines(plugged) + lookup_lines(plugged) + lookup_lines(plugged) +
           "midi_get_destination " + lower_hex(index_of(machine, plugged)) + " \r\nclock mc\r\n" +
           sending;
}

std::string echo_lines(std::uint8_t status, std::uint8_t data1, std::uint8_t data2) {
    return lower_hex(status) + "\t" + lower_hex(data1) + "\t" + lower_hex(data2) +
           "\t\r\n\r\n设定回显正常\r\nmidi_setup_data 0 " + lower_hex(status) + " , p " +
           lower_hex(status) + "\r\nmidi_setup_data 1 " + lower_hex(data1) + " , p " +
           lower_hex(data1) + "\r\n";
}

std::string wrong_echo_lines(const Bytes& expected, const Bytes& echo) {
    return lower_hex(echo[0]) + "\t" + lower_hex(echo[1]) + "\t" + lower_hex(echo[2]) +
           "\t\r\nmidi_setup_data 0 " + lower_hex(expected[0]) + " , p " + lower_hex(echo[0]) +
           "\r\nmidi_setup_data 1 " + lower_hex(expected[1]) + " , p " + lower_hex(echo[1]) +
           "\r\n";
}

Bytes sequence(std::uint8_t status, std::uint8_t data1, std::uint8_t data2) {
    const auto channel = static_cast<std::uint8_t>(status & 0x0F);
    return {0xF8,
            0xF8,
            0xF8,
            0xF8,
            0xF8,
            0xF8,
            static_cast<std::uint8_t>(0x90 | channel),
            data1,
            data2,
            static_cast<std::uint8_t>(0x80 | channel),
            data1,
            data2,
            status,
            data1,
            data2,
            0xF8};
}

std::vector<unsigned> sequence_pauses(bool with_wait) {
    std::vector<unsigned> pauses{2000, 1000, 2000, 2000, 2000, 2000};
    if (with_wait)
        pauses.push_back(300'000);
    return pauses;
}
