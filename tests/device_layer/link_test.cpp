// SPDX-License-Identifier: MIT
#include "tests/device_layer/device_layer_test.h"

#include <cstring>

namespace {

class Link : public DeviceLayerTest {
protected:
    static bool buffers_hold(std::uint8_t byte) {
        return is_filled(name, byte) && is_filled(manuf, byte) && is_filled(model, byte) &&
               is_filled(offline_flag, byte) && is_filled(jname, byte) &&
               is_filled(midiout_databuffer, byte);
    }

    static void fill_buffers() {
        for (char* const buffer : {name, manuf, model, jname})
            std::memset(buffer, 0xA5, 64);
        fill(offline_flag, 0xA5);
        fill(midiout_databuffer, 0xA5);
    }

    /// What the start of the program prints behind the name.
    static std::string start_up() {
        const std::string naming = "set_device_name 4accf4c4 \r\n"
                                   "middle_value c \r\n"
                                   "Generated device_name: 4ACCF4C4\n";
        const std::string printed = printed_by([] {
            midi_init();
            set_device_name(0x4ACCF4C4);
        });
        EXPECT_TRUE(printed.starts_with(naming)) << printed;
        return printed.substr(naming.size());
    }
};

static_assert(sizeof name == 64 && sizeof manuf == 64 && sizeof model == 64 && sizeof jname == 64);
static_assert(sizeof offline_flag == 64 && sizeof midiout_databuffer == 64);
static_assert(sizeof device_name == 24);

TEST_F(Link, start_opens_the_client_and_its_two_ports_in_order) {
    client = inPort = gOutPort = gDest = 99;
    EXPECT_EQ(order_of([] { midi_init(); }),
              (Lines{"MIDIClientCreate MIDI Client, no callback, no context",
                     "MIDIOutputPortCreate client, Output port",
                     "MIDIInputPortCreate client, Input port, MyReadProc, no context"}));
    EXPECT_EQ(client, RecordingService::client_reference);
    EXPECT_EQ(gOutPort, RecordingService::output_port_reference);
    EXPECT_EQ(inPort, RecordingService::input_port_reference);
    EXPECT_EQ(gDest, 0U);
}

TEST_F(Link, start_clears_handles_and_buffers_before_it_opens_anything) {
    client = inPort = gOutPort = gDest = 99;
    fill_buffers();
    ASSERT_TRUE(buffers_hold(0xA5));
    bool looked = false;
    recording.before_call = [&](std::string_view call) {
        if (!call.starts_with("MIDIClientCreate"))
            return;
        looked = true;
        EXPECT_EQ(client | inPort | gOutPort | gDest, 0U);
        EXPECT_TRUE(buffers_hold(0));
    };
    midi_init();
    EXPECT_TRUE(looked);
    EXPECT_TRUE(buffers_hold(0));
}

TEST_F(Link, start_leaves_everything_else_alone) {
    CFStringRef const stale = reinterpret_cast<CFStringRef>(&recording);
    debug_flag = 1;
    VID_val = 2;
    PID_val = 3;
    VID_PID_val = 4;
    set_current_name("4AC7F4C4");
    realtime_connect_state_flag = 1;
    pname = pmanuf = pmodel = stale;
    set_up_ok_flag = 185;
    fill(midi_setup_data, 7);
    fill(midi_pack_setup_data, 8);
    midi_init();
    EXPECT_EQ(debug_flag, 1);
    EXPECT_EQ(VID_val, 2);
    EXPECT_EQ(PID_val, 3);
    EXPECT_EQ(VID_PID_val, 4U);
    EXPECT_STREQ(device_name, "4AC7F4C4");
    EXPECT_EQ(realtime_connect_state_flag, 1);
    EXPECT_EQ(pname, stale);
    EXPECT_EQ(pmanuf, stale);
    EXPECT_EQ(pmodel, stale);
    EXPECT_EQ(set_up_ok_flag, 185);
    EXPECT_TRUE(is_filled(midi_setup_data, 7));
    EXPECT_TRUE(is_filled(midi_pack_setup_data, 8));
}

TEST_F(Link, start_gives_the_status_of_the_input_port) {
    EXPECT_EQ(midi_init(), 0);
    recording.client_status = -1;
    recording.output_port_status = -2;
    EXPECT_EQ(midi_init(), 0);
    recording.input_port_status = -300;
    EXPECT_EQ(midi_init(), -300);
}

// A failure stops nothing: every creation is tried, with the handles as they are.
TEST_F(Link, start_goes_on_after_a_failed_creation) {
    recording.client_status = -1;
    recording.output_port_status = -2;
    midi_init();
    EXPECT_EQ(recording.journal,
              (Lines{"MIDIClientCreate MIDI Client, no callback, no context",
                     "MIDIOutputPortCreate nothing, Output port",
                     "MIDIInputPortCreate nothing, Input port, MyReadProc, no context"}));
    EXPECT_EQ(client, 0U);
    EXPECT_EQ(gOutPort, 0U);
    EXPECT_EQ(inPort, RecordingService::input_port_reference);
}

TEST_F(Link, end_disposes_of_the_client_first_and_then_of_the_ports) {
    EXPECT_EQ(order_of([] { midi_exit(); }), (Lines{"> midi_exit\r\n", "MIDIClientDispose client",
                                                    "MIDIPortDispose out", "MIDIPortDispose in"}));
}

TEST_F(Link, end_leaves_the_handles_stale) {
    gDest = 5;
    quietly([] { return midi_exit(); });
    EXPECT_EQ(client, RecordingService::client_reference);
    EXPECT_EQ(gOutPort, RecordingService::output_port_reference);
    EXPECT_EQ(inPort, RecordingService::input_port_reference);
    EXPECT_EQ(gDest, 5U);
}

TEST_F(Link, end_gives_the_status_of_the_last_disposal) {
    EXPECT_EQ(quietly([] { return midi_exit(); }), 0);
    recording.dispose_status = {{client, -1}, {gOutPort, -2}};
    EXPECT_EQ(quietly([] { return midi_exit(); }), 0);
    recording.dispose_status = {{inPort, -300}};
    EXPECT_EQ(quietly([] { return midi_exit(); }), -300);
}

TEST_F(Link, end_without_a_start_disposes_of_nothing_three_times) {
    client = gOutPort = inPort = 0;
    quietly([] { return midi_exit(); });
    EXPECT_EQ(recording.journal, (Lines{"MIDIClientDispose nothing", "MIDIPortDispose nothing",
                                        "MIDIPortDispose nothing"}));
}

TEST_F(Link, start_up_prints_only_what_the_naming_prints) {
    EXPECT_EQ(start_up(), "MIDIGetNumberOfSources 0 \r\n"
                          "midi init failed \r\n");
}

TEST_F(Link, start_up_with_a_source_online) {
    recording.add_source({.name = "4ACCF4C4 MIDI 1"});
    EXPECT_EQ(start_up(), connecting_lines("1", "0", "4ACCF4C4 MIDI 1 is online"));
    EXPECT_EQ(realtime_connect_state_flag, 1);
}

TEST_F(Link, start_up_with_a_source_offline) {
    recording.add_source({.name = "4ACCF4C4 MIDI 1", .offline = 1});
    EXPECT_EQ(start_up(), connecting_lines("1", "0", "4ACCF4C4 MIDI 1 is offline"));
    EXPECT_EQ(realtime_connect_state_flag, 0);
}

} // namespace
