// SPDX-License-Identifier: MIT
#include "keyloft/screen_controller.h"
#include "tests/device_layer/confirmed_sequence.h"
#include "tests/support/press_lines.h"

namespace {

// Screen controller and device layer together need nothing but the service's operations.
class RecordedPress : public DeviceLayerTest {
protected:
    RecordedPress() {
        recording.add_source({.name = "4AC5F4C4 MIDI 1"});
        recording.add_destination({.name = "4AC5F4C4 MIDI 1"});
        recording.add_device({.name = "4AC5F4C4", .model = "4AC5F4C4"});
    }

    static std::string connecting_lines(bool is_there) {
        return sources_line(1) +
               (is_there ? source_line(0) + online_line("4AC5F4C4 MIDI 1", true) : no_source_line);
    }

    ScreenState screen_;
};

TEST_F(RecordedPress, machine_is_found_set_and_confirmed) {
    const Bytes message = {0xB0, 0, 0};
    recording.before_call = [](std::string_view call) {
        if (call == "usleep 300000")
            arrive({0xB0, 0, 0});
    };
    std::string expected = "CONTROL_CHANGE\n";
    for (unsigned i = 0; i < 16; ++i)
        expected += probe_starts_line(i) + connecting_lines(i == 5) + probe_ends_line(i);
    expected += naming_lines(5) + connecting_lines(true) + automatic_choice_line(5) +
                lines_up_to_sending(1, 0, "4AC5F4C4") +
                heard_lines(message, message, message, true) + success_line + "0\n";
    EXPECT_EQ(printed_by([this] { apply_action(screen_); }), expected);
    EXPECT_EQ(recording.calls({"MIDISend"}), sequence_sends(0xB0, 0, 0));
    EXPECT_EQ(recording.pauses(), command_pauses(false));
    EXPECT_EQ(screen_.showmessage_title, "设置成功!");
}

} // namespace
