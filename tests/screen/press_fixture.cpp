// SPDX-License-Identifier: MIT
#include "tests/screen/press_fixture.h"

#include "tests/support/virtual_pauses.h"

namespace {

/// Where a machine stands in the lists; behind their end when it is not there.
unsigned index_of(unsigned machine, const Plugged& plugged) {
    unsigned index = 0;
    while (index < plugged.size() && plugged[index] != machine)
        ++index;
    return index;
}

std::string connecting_lines(unsigned machine, const Plugged& plugged) {
    const unsigned index = index_of(machine, plugged);
    return sources_line(plugged.size()) +
           (index == plugged.size()
                ? no_source_line
                : source_line(index) + online_line(family_name(machine) + " MIDI 1", true));
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

void Press::expect_alert(const std::string& title, const std::string& message) const {
    EXPECT_EQ(screen_.showmessage_title, title);
    EXPECT_EQ(screen_.showmessage, message);
    EXPECT_TRUE(screen_.showAlert);
}

std::string probe_lines(const Plugged& plugged) {
    std::string text;
    for (unsigned i = 0; i < 16; ++i)
        text += probe_starts_line(i) + connecting_lines(i, plugged) + probe_ends_line(i);
    return text;
}

std::string automatic_lines(unsigned machine, const Plugged& plugged) {
    return naming_lines(machine) + connecting_lines(machine, plugged) +
           automatic_choice_line(machine);
}

std::string manual_lines(unsigned machine, const Plugged& plugged) {
    return manual_naming_lines(machine) + sources_line(plugged.size()) + no_source_line +
           manual_choice_lines(family_name(machine));
}

std::string command_to_nobody_lines(const Plugged& plugged) {
    const std::string scan = scan_line + devices_line(plugged.size());
    return scan + command_line + scan + scan;
}

std::string command_lines(unsigned machine, const Plugged& plugged, const std::string& sending) {
    return lines_up_to_sending(plugged.size(), index_of(machine, plugged),
                               family_name(plugged.back())) +
           sending;
}

std::string echo_lines(std::uint8_t status, std::uint8_t data1, std::uint8_t data2) {
    const Bytes echo = {status, data1, data2};
    return heard_lines(echo, echo, echo, true);
}

std::string press_lines(unsigned machine, const std::string& sending) {
    return "CONTROL_CHANGE\n" + probe_lines({machine}) + automatic_lines(machine, {machine}) +
           command_lines(machine, {machine}, sending) + "0\n";
}
