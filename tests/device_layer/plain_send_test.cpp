// SPDX-License-Identifier: MIT
#include "tests/device_layer/confirmed_sequence.h"

namespace {

class PlainSend : public ConfirmedSequence {
protected:
    static int send(std::uint8_t status, std::uint8_t data1, std::uint8_t data2) {
        recording.journal.clear();
        return quietly([=] { return core_midi_send_msg(status, data1, data2); });
    }

    static Lines sent_by(std::uint8_t status, std::uint8_t data1, std::uint8_t data2) {
        send(status, data1, data2);
        return recording.calls({"MIDISend"});
    }
};

TEST_F(PlainSend, prints_three_lookups_and_the_message) {
    EXPECT_EQ(printed_by([] { core_midi_send_msg(0x93, 0x40, 0x7F); }),
              three_lookups + "MSG: 93 40 7f \r\n");
}

TEST_F(PlainSend, sends_at_time_zero_then_pauses_20_ms) {
    EXPECT_EQ(send(0x93, 0x40, 0x7F), 0);
    EXPECT_EQ(recording.calls({"MIDIPacketListInit", "MIDIPacketListAdd", "MIDISend", "usleep"}),
              (Lines{"MIDIPacketListInit", "MIDIPacketListAdd 1024, +4, time 0: 93 40 7F",
                     "MIDISend out, destination0, time 0: 93 40 7F", "usleep 20000"}));
}

TEST_F(PlainSend, does_everything_in_order) {
    Lines expected = up_to_the_offline_query();
    append(expected, {"> MSG: b0 10 22 \r\n", "MIDIPacketListAdd 1024, +4, time 0: B0 10 22",
                      "MIDISend out, destination0, time 0: B0 10 22", "usleep 20000"});
    EXPECT_EQ(order_of([] { core_midi_send_msg(0xB0, 0x10, 0x22); }), expected);
}

TEST_F(PlainSend, every_system_status_goes_out_as_one_timing_clock) {
    for (unsigned status = 0xF0; status <= 0xFF; ++status)
        EXPECT_EQ(sent_by(static_cast<std::uint8_t>(status), 1, 2),
                  Lines{"MIDISend out, destination0, time 0: F8"})
            << status;
    EXPECT_EQ(recording.pauses(), std::vector<unsigned>{20'000});
}

TEST_F(PlainSend, system_status_prints_the_clock_line) {
    EXPECT_EQ(printed_by([] { core_midi_send_msg(0xFE, 0, 0); }), three_lookups + "clock mc\r\n");
}

// Data bytes are not changed, and no other status is special, not even one below 0x80.
TEST_F(PlainSend, every_other_status_goes_out_unchanged) {
    EXPECT_EQ(sent_by(0x00, 0x00, 0x00), Lines{"MIDISend out, destination0, time 0: 00 00 00"});
    EXPECT_EQ(sent_by(0x7F, 0x80, 0xFF), Lines{"MIDISend out, destination0, time 0: 7F 80 FF"});
    EXPECT_EQ(sent_by(0xC5, 0x01, 0x02), Lines{"MIDISend out, destination0, time 0: C5 01 02"});
    EXPECT_EQ(sent_by(0xEF, 0x7F, 0x00), Lines{"MIDISend out, destination0, time 0: EF 7F 00"});
}

TEST_F(PlainSend, high_bytes_are_printed_without_a_sign) {
    EXPECT_EQ(printed_by([] { core_midi_send_msg(0x80, 0xFF, 0x00); }),
              three_lookups + "MSG: 80 ff 0 \r\n");
}

TEST_F(PlainSend, only_an_offline_property_of_one_is_offline) {
    for (const std::int32_t value : {0, 2, -1, 257}) {
        recording.objects[destination_].offline = value;
        EXPECT_EQ(sent_by(0x93, 0x40, 0x7F).size(), 1U) << value;
    }
    recording.objects[destination_].offline.reset();
    EXPECT_EQ(sent_by(0x93, 0x40, 0x7F).size(), 1U);
}

TEST_F(PlainSend, endpoint_of_the_first_lookup_gets_the_message) {
    const MIDIObjectRef later = recording.add_destination({.name = "4ACCF4C4 later"});
    recording.destinations = {destination_};
    at_call("MIDIGetNumberOfDestinations", 2, [=, this] {
        recording.destinations = {destination_, later};
    });
    EXPECT_THAT(outcome_of([&] { return core_midi_send_msg(0x93, 0x40, 0x7F); }),
                Pair(0, lookup + "MIDIGetNumberOfDestinations 2 \r\nCCCCC: 4ACCF4C4 is online\r\n"
                                 "MIDIGetNumberOfDestinations 2 \r\nCCCCC: 4ACCF4C4 is online\r\n"
                                 "midi_get_destination 1 \r\nMSG: 93 40 7f \r\n"));
    EXPECT_EQ(recording.calls({"MIDISend"}), Lines{"MIDISend out, destination0, time 0: 93 40 7F"});
}

TEST_F(PlainSend, destination_that_goes_before_the_second_lookup_is_missing) {
    at_call("MIDIGetNumberOfDestinations", 2, [] { recording.destinations.clear(); });
    EXPECT_EQ(send(0x93, 0x40, 0x7F), 1);
    EXPECT_EQ(recording.calls({"MIDIGetNumberOfDestinations"}).size(), 2U);
    EXPECT_EQ(recording.calls({"MIDISend"}), Lines{});
}

// The third lookup is printed and decides nothing.
TEST_F(PlainSend, destination_that_goes_before_the_third_lookup_is_sent_to) {
    at_call("MIDIGetNumberOfDestinations", 3, [] { recording.destinations.clear(); });
    EXPECT_EQ(printed_by([] { core_midi_send_msg(0x93, 0x40, 0x7F); }),
              lookup + lookup +
                  "MIDIGetNumberOfDestinations 0 \r\n"
                  "midi_get_destination ffffffff \r\n"
                  "MSG: 93 40 7f \r\n");
    EXPECT_EQ(recording.calls({"MIDISend"}), Lines{"MIDISend out, destination0, time 0: 93 40 7F"});
}

// Missing at the first lookup, present at the second: the send goes to no object.
TEST_F(PlainSend, destination_that_comes_after_the_first_lookup_is_not_sent_to) {
    recording.destinations.clear();
    recording.send_statuses = {-19};
    at_call("MIDIGetNumberOfDestinations", 2, [this] { recording.destinations = {destination_}; });
    EXPECT_EQ(send(0x93, 0x40, 0x7F), 0xED);
    EXPECT_EQ(recording.calls({"MIDIObjectGetIntegerProperty", "MIDISend"}).back(),
              "MIDISend out, nothing, time 0: 93 40 7F");
}

TEST_F(PlainSend, last_of_two_destinations_gets_the_message) {
    recording.add_destination({.name = "4ACCF4C4 B"});
    EXPECT_EQ(sent_by(0x93, 0x40, 0x7F), Lines{"MIDISend out, destination1, time 0: 93 40 7F"});
}

TEST_F(PlainSend, gives_the_low_byte_of_the_status_and_pauses_all_the_same) {
    const std::pair<OSStatus, int> results[] = {
        {1, 1},    {255, 255}, {256, 0},    {0x12345600, 0},
        {-1, 255}, {-256, 0},  {-19, 0xED}, {0x1FF, 255},
    };
    for (const auto& [status, result] : results) {
        recording.send_statuses = {status};
        EXPECT_EQ(send(0x93, 0x40, 0x7F), result) << status;
        EXPECT_EQ(recording.pauses(), std::vector<unsigned>{20'000});
    }
}

TEST_F(PlainSend, echo_record_and_flag_stay_as_they_are) {
    set_up_ok_flag = 185;
    midi_setup_data[0] = 0x11;
    midi_setup_data[1] = 0x22;
    midi_setup_data[2] = 0x33;
    send(0x93, 0x40, 0x7F);
    EXPECT_EQ(set_up_ok_flag, 185);
    EXPECT_EQ(expected_echo(), (std::array{0x11, 0x22, 0x33}));
}

/// What the plain and the confirmed send refuse.
class RefusedSend : public ConfirmedSequence,
                    public testing::WithParamInterface<decltype(&core_midi_send_msg)> {
protected:
    static void expect(const std::string& printed) {
        EXPECT_THAT(outcome_of([] { return GetParam()(0x93, 0x40, 0x7F); }), Pair(1, printed));
        EXPECT_EQ(recording.calls({"MIDIPacketListAdd", "MIDISend", "usleep"}), Lines{});
    }
};

TEST_P(RefusedSend, destination_is_offline) {
    recording.objects[destination_].offline = 1;
    expect(three_lookups + "offline \r\n");
}

TEST_P(RefusedSend, destination_is_missing_after_two_lookups) {
    recording.objects[destination_].name = "another";
    expect("MIDIGetNumberOfDestinations 1 \r\n"
           "CCCCC: another is online\r\n"
           "MIDIGetNumberOfDestinations 1 \r\n"
           "CCCCC: another is online\r\n");
}

TEST_P(RefusedSend, no_destinations_are_there_at_all) {
    recording.destinations.clear();
    EXPECT_EQ(order_of([] { EXPECT_EQ(GetParam()(0xF8, 0, 0), 1); }),
              (Lines{"MIDIPacketListInit", "MIDIGetNumberOfDestinations",
                     "> MIDIGetNumberOfDestinations 0 \r\n", "MIDIGetDestination 4294967295",
                     "MIDIGetNumberOfDestinations", "> MIDIGetNumberOfDestinations 0 \r\n"}));
}

INSTANTIATE_TEST_SUITE_P(plain, RefusedSend, testing::Values(&core_midi_send_msg));
INSTANTIATE_TEST_SUITE_P(confirmed, RefusedSend, testing::Values(&core_midi_send_msg_combo));

} // namespace
