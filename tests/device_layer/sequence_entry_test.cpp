// SPDX-License-Identifier: MIT
#include "tests/device_layer/confirmed_sequence.h"

namespace {

// The entry that makes five plain sends.
class SequenceEntry : public ConfirmedSequence {
protected:
    static int send(std::uint8_t type, std::uint8_t channel, std::uint8_t data1,
                    std::uint8_t data2) {
        recording.journal.clear();
        return quietly([=] { return send_midi_out_data_combo(type, channel, data1, data2); });
    }

    static Lines plain_sends(std::initializer_list<const char*> messages) {
        Lines lines;
        for (const char* const message : messages)
            lines.push_back("MIDISend out, destination0, time 0: " + std::string(message));
        return lines;
    }
};

TEST_F(SequenceEntry, sends_five_messages_with_the_channel_counted_from_zero) {
    EXPECT_EQ(send(0xB0, 3, 0x10, 0x22), 0);
    EXPECT_EQ(recording.calls({"MIDISend"}),
              plain_sends({"F8", "93 10 22", "83 10 22", "B3 10 22", "F8"}));
    EXPECT_EQ(recording.pauses(), std::vector<unsigned>(5, 20'000));
}

TEST_F(SequenceEntry, prints_the_scan_and_five_plain_sends) {
    EXPECT_THAT(outcome_of([&] { return send_midi_out_data_combo(0xB0, 3, 0x10, 0x22); }),
                Pair(0, scan_of_one + "midiOutShortMsg\r\n" + three_lookups + "clock mc\r\n" +
                            three_lookups + "MSG: 93 10 22 \r\n" + three_lookups +
                            "MSG: 83 10 22 \r\n" + three_lookups + "MSG: b3 10 22 \r\n" +
                            three_lookups + "clock mc\r\n"));
}

TEST_F(SequenceEntry, data_bytes_are_not_masked_and_the_channel_is) {
    send(0x9A, 0xF5, 0xFF, 0x80);
    EXPECT_EQ(recording.calls({"MIDISend"}),
              plain_sends({"F8", "95 FF 80", "85 FF 80", "95 FF 80", "F8"}));
    send(0x80, 16, 1, 2);
    EXPECT_EQ(recording.calls({"MIDISend"}),
              plain_sends({"F8", "90 01 02", "80 01 02", "80 01 02", "F8"}));
}

TEST_F(SequenceEntry, system_type_goes_out_as_a_clock) {
    send(0xF0, 4, 1, 2);
    EXPECT_EQ(recording.calls({"MIDISend"}),
              plain_sends({"F8", "94 01 02", "84 01 02", "F8", "F8"}));
}

TEST_F(SequenceEntry, gives_the_result_of_the_last_send) {
    recording.send_statuses = {-1, -2, -3, -4};
    EXPECT_EQ(send(0xB0, 3, 0x10, 0x22), 0);
    recording.send_statuses = {0, 0, 0, 0, -19};
    EXPECT_EQ(send(0xB0, 3, 0x10, 0x22), 0xED);
    recording.objects[destination_].offline = 1;
    EXPECT_EQ(send(0xB0, 3, 0x10, 0x22), 1);
    EXPECT_EQ(recording.calls({"MIDISend"}), Lines{});
    EXPECT_EQ(recording.calls({"MIDIPacketListInit"}).size(), 5U);
}

TEST_F(SequenceEntry, awaits_no_echo_and_leaves_the_record_alone) {
    set_up_ok_flag = 185;
    midi_setup_data[0] = 0x11;
    send(0xB0, 3, 0x10, 0x22);
    EXPECT_EQ(set_up_ok_flag, 185);
    EXPECT_EQ(expected_echo(), (std::array{0x11, 0, 0}));
}

} // namespace
