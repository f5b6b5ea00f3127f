// SPDX-License-Identifier: MIT
#include "tests/device_layer/confirmed_sequence.h"

namespace {

const std::string probe_finds = scan_of_one + "no macthing name B \r\n";
const std::string message_starts =
    scan_of_one + "midiOutShortMsg\r\n" + three_lookups + "clock mc\r\n";

class Command : public ConfirmedSequence {
protected:
    static int key_code(int part, int status, int controller, int controller2) {
        recording.journal.clear();
        return quietly([=] {
            return key_code_value_set(
                static_cast<std::int8_t>(part), static_cast<std::int8_t>(status),
                static_cast<std::int8_t>(controller), static_cast<std::int8_t>(controller2));
        });
    }

    static std::array<int, 3> scratch() {
        return {midiout_databuffer[61], midiout_databuffer[62], midiout_databuffer[63]};
    }
};

TEST_F(Command, save_probes_twice_and_is_confirmed) {
    echo_in_the_long_pause({0xAF, 0x7F, 0x7F});
    EXPECT_THAT(outcome_of([&] { return usb_midi_main(127, 175, 127, 127); }),
                Pair(0, probe_finds + "key_code_value_set\r\n" + probe_finds + message_starts +
                            "af\t7f\t7f\t\r\n" + echo_is_right + compared("af", "af", "7f", "7f") +
                            "设置成功了 \r\n"));
    EXPECT_EQ(recording.calls({"MIDISend"}), sequence_sends(0xAF, 0x7F, 0x7F));
    EXPECT_EQ(recording.pauses(), command_pauses(false));
}

// The whole transcript written out, without help.
TEST_F(Command, mapping_that_is_repeated_prints_its_whole_transcript) {
    EXPECT_THAT(outcome_of([&] { return usb_midi_main(0x22, 0xB0, 0x10, 0x10); }),
                Pair(0, "send_midi_out_data\r\n"
                        " MIDIGetNumberOfDevices  1\r\n"
                        "no macthing name B \r\n"
                        "key_code_value_set\r\n"
                        "send_midi_out_data\r\n"
                        " MIDIGetNumberOfDevices  1\r\n"
                        "no macthing name B \r\n"
                        "send_midi_out_data\r\n"
                        " MIDIGetNumberOfDevices  1\r\n"
                        "midiOutShortMsg\r\n"
                        "MIDIGetNumberOfDestinations 1 \r\n"
                        "CCCCC: 4ACCF4C4 is online\r\n"
                        "MIDIGetNumberOfDestinations 1 \r\n"
                        "CCCCC: 4ACCF4C4 is online\r\n"
                        "MIDIGetNumberOfDestinations 1 \r\n"
                        "CCCCC: 4ACCF4C4 is online\r\n"
                        "midi_get_destination 0 \r\n"
                        "clock mc\r\n"
                        "设置失败obk\r\n"));
    EXPECT_EQ(recording.calls({"MIDISend"}), twice(sequence_sends(0xB0, 0x10, 0x22)));
    EXPECT_EQ(recording.pauses(), command_pauses(true));
}

TEST_F(Command, scans_the_devices_three_times) {
    quietly([] { return usb_midi_main(0x22, 0xB0, 0x10, 0x10); });
    EXPECT_EQ(recording.calls({"MIDIGetNumberOfDevices"}).size(), 3U);
    EXPECT_EQ(recording.calls({"MIDIGetNumberOfDestinations"}).size(), 3U);
}

// The probes' results decide nothing: a machine that appears after them gets the message.
TEST_F(Command, probes_decide_nothing) {
    recording.devices.clear();
    const MIDIObjectRef other = recording.add_device({.name = "another", .model = "another"});
    recording.devices = {other};
    at_call("MIDIGetNumberOfDevices", 3, [&] { recording.devices = {other, device_}; });
    EXPECT_EQ(quietly([] { return usb_midi_main(0x22, 0xB0, 0x10, 0x10); }), 0);
    EXPECT_EQ(recording.calls({"MIDISend"}).size(), 20U);
}

TEST_F(Command, differing_controllers_are_refused_after_the_probes) {
    fill(midiout_databuffer, 0x5A);
    EXPECT_THAT(outcome_of([&] { return usb_midi_main(5, 0x90, 0x30, 0x31); }),
                Pair(1, probe_finds + "key_code_value_set\r\n" + probe_finds));
    EXPECT_EQ(recording.calls({"MIDISend", "usleep"}), Lines{});
    EXPECT_TRUE(is_filled(midiout_databuffer, 0x5A));
    EXPECT_EQ(set_up_ok_flag, 0);
}

TEST_F(Command, refusal_leaves_the_confirmation_flag_alone) {
    set_up_ok_flag = 185;
    EXPECT_EQ(key_code(5, 0x90, 0x30, 0x31), 1);
    EXPECT_EQ(set_up_ok_flag, 185);
}

// Every pair of bytes, so every pair of controllers too: agreement in the low seven bits decides.
// Without devices an accepted command sends nothing and succeeds.
TEST_F(Command, every_pair_of_controllers_is_checked_in_its_low_seven_bits) {
    recording.devices.clear();
    const CapturedOutput output;
    unsigned accepted = 0;
    for (unsigned first = 0; first < 256; ++first)
        for (unsigned second = 0; second < 256; ++second) {
            fill(midiout_databuffer, 0);
            recording.journal.clear();
            const auto result = key_code_value_set(5, 0x10, static_cast<std::int8_t>(first),
                                                   static_cast<std::int8_t>(second));
            const bool agree = first % 128 == second % 128;
            ASSERT_EQ(result, agree ? 0 : 1) << first << ' ' << second;
            ASSERT_EQ(recording.journal.size(), agree ? 2U : 1U);
            const std::array stored{0x10, static_cast<int>(first), static_cast<int>(second)};
            ASSERT_EQ(scratch(), agree ? stored : (std::array{0, 0, 0}));
            accepted += agree;
        }
    EXPECT_EQ(accepted, 512U);
}

TEST_F(Command, bits_above_the_seventh_are_dropped_from_controller_and_part) {
    EXPECT_EQ(key_code(0x85, 0xB2, 0x80, 0x00), 0);
    EXPECT_EQ(recording.calls({"MIDISend"}), twice(sequence_sends(0xB2, 0x00, 0x05)));
    EXPECT_EQ(scratch(), (std::array{0xB2, 0x80, 0x00}));
    EXPECT_EQ(key_code(0xFF, 0xB2, 0x7F, 0xFF), 0);
    EXPECT_EQ(expected_echo(), (std::array{0xB2, 0x7F, 0x7F}));
    EXPECT_EQ(scratch(), (std::array{0xB2, 0x7F, 0xFF}));
}

TEST_F(Command, scratch_keeps_its_other_bytes) {
    fill(midiout_databuffer, 0x5A);
    key_code(1, 0x90, 2, 2);
    EXPECT_TRUE(is_filled(midiout_databuffer, 0x5A, 61));
    EXPECT_EQ(scratch(), (std::array{0x90, 2, 2}));
}

// The scratch bytes are stored before the message goes out.
TEST_F(Command, scratch_is_written_between_the_probe_and_the_message) {
    std::vector<std::array<int, 3>> at_scans;
    recording.before_call = [&](std::string_view call) {
        if (call == "MIDIGetNumberOfDevices")
            at_scans.push_back(scratch());
    };
    key_code(1, 0x90, 2, 2);
    EXPECT_EQ(at_scans, (std::vector<std::array<int, 3>>{{0, 0, 0}, {0x90, 2, 2}}));
}

// 0xFF included: its type is 0xF0, which is no probe.
TEST_F(Command, every_status_reaches_the_wire_unchanged) {
    for (int status = 0; status < 256; ++status) {
        EXPECT_EQ(key_code(5, status, 7, 7), 0);
        char message[16];
        std::snprintf(message, sizeof message, "%02X 07 05", static_cast<unsigned>(status));
        EXPECT_EQ(recording.calls({"MIDISend"})[8],
                  "MIDISend out, destination0, time 1000: " + std::string(message));
        EXPECT_EQ(recording.calls({"MIDISend"}).size(), 20U) << status;
    }
}

TEST_F(Command, every_part_and_controller_reaches_the_wire) {
    for (int value = 0; value < 128; ++value) {
        EXPECT_EQ(key_code(value, 0xB0, 127 - value, 127 - value), 0);
        EXPECT_EQ(expected_echo(), (std::array{0xB0, 127 - value, value}));
    }
}

TEST_F(Command, no_devices_at_all_read_as_success) {
    recording.devices.clear();
    EXPECT_THAT(outcome_of([&] { return usb_midi_main(5, 0x90, 0x30, 0x30); }),
                Pair(0, "send_midi_out_data\r\n MIDIGetNumberOfDevices  0\r\n"
                        "key_code_value_set\r\n"
                        "send_midi_out_data\r\n MIDIGetNumberOfDevices  0\r\n"
                        "send_midi_out_data\r\n MIDIGetNumberOfDevices  0\r\n"));
    EXPECT_EQ(recording.calls({"MIDISend", "usleep"}), Lines{});
}

TEST_F(Command, devices_without_the_machine_are_refused) {
    recording.objects[device_].name = "another";
    EXPECT_THAT(outcome_of([&] { return usb_midi_main(5, 0x90, 0x30, 0x30); }),
                Pair(1, "send_midi_out_data\r\n MIDIGetNumberOfDevices  1\r\n"
                        "key_code_value_set\r\n"
                        "send_midi_out_data\r\n MIDIGetNumberOfDevices  1\r\n"
                        "send_midi_out_data\r\n MIDIGetNumberOfDevices  1\r\n"));
}

TEST_F(Command, machine_without_a_destination_is_refused) {
    recording.destinations.clear();
    EXPECT_THAT(outcome_of([&] { return usb_midi_main(5, 0x90, 0x30, 0x30); }),
                Pair(1, probe_finds + "key_code_value_set\r\n" + probe_finds + scan_of_one +
                            "midiOutShortMsg\r\n"
                            "MIDIGetNumberOfDestinations 0 \r\n"
                            "MIDIGetNumberOfDestinations 0 \r\n"));
}

TEST_F(Command, offline_destination_is_refused) {
    recording.objects[destination_].offline = 1;
    EXPECT_THAT(outcome_of([&] { return usb_midi_main(5, 0x90, 0x30, 0x30); }),
                Pair(1, probe_finds + "key_code_value_set\r\n" + probe_finds + scan_of_one +
                            "midiOutShortMsg\r\n" + three_lookups + "offline \r\n"));
}

TEST_F(Command, failing_closing_clock_reads_as_one_whatever_its_status) {
    for (const auto& [status, result] :
         {std::pair{-19, 1}, {1, 1}, {255, 1}, {256, 0}, {-256, 0}, {0, 0}}) {
        recording.send_statuses.assign(19, -5);
        recording.send_statuses.push_back(status);
        EXPECT_EQ(key_code(5, 0x90, 0x30, 0x30), result) << status;
        recording.send_statuses.assign(19, -5);
        recording.send_statuses.push_back(status);
        EXPECT_EQ(quietly([] { return usb_midi_main(5, 0x90, 0x30, 0x30); }), result) << status;
    }
}

TEST_F(Command, stale_confirmation_never_counts) {
    echo_in_the_long_pause({0xB0, 0x10, 0x22});
    EXPECT_EQ(key_code(0x22, 0xB0, 0x10, 0x10), 0);
    EXPECT_EQ(recording.calls({"MIDISend"}).size(), 10U);
    EXPECT_EQ(set_up_ok_flag, 185);
    recording.before_call = nullptr;
    EXPECT_EQ(key_code(0x22, 0xB0, 0x10, 0x10), 0);
    EXPECT_EQ(recording.calls({"MIDISend"}).size(), 20U);
    EXPECT_EQ(set_up_ok_flag, 0);
}

TEST_F(Command, pitch_bend_is_confirmed_by_an_echo_of_its_status) {
    echo_in_the_long_pause({0xE3, 0x00, 0x40});
    EXPECT_EQ(key_code(0x22, 0xE3, 0x10, 0x10), 0);
    EXPECT_EQ(recording.calls({"MIDISend"}), sequence_sends(0xE3, 0x10, 0x22));
}

TEST_F(Command, connection_state_and_current_machine_stay) {
    realtime_connect_state_flag = 1;
    VID_PID_val = 0x4ACCF4C4;
    quietly([] { return usb_midi_main(5, 0x90, 0x30, 0x30); });
    EXPECT_EQ(realtime_connect_state_flag, 1);
    EXPECT_STREQ(device_name, "4ACCF4C4");
    EXPECT_EQ(VID_PID_val, 0x4ACCF4C4U);
    EXPECT_EQ(recording.calls({"MIDIPortConnectSource", "MIDIPortDisconnectSource"}), Lines{});
}

} // namespace
