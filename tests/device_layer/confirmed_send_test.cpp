// SPDX-License-Identifier: MIT
#include "tests/device_layer/confirmed_sequence.h"

namespace {

class ConfirmedSend : public ConfirmedSequence {
protected:
    static int send(std::uint8_t status, std::uint8_t data1, std::uint8_t data2) {
        recording.journal.clear();
        return quietly([=] { return core_midi_send_msg_combo(status, data1, data2); });
    }
};

TEST_F(ConfirmedSend, confirmed_first_try_prints_success) {
    echo_in_the_long_pause({0xB2, 0x10, 0x22});
    EXPECT_EQ(printed_by([] { core_midi_send_msg_combo(0xB2, 0x10, 0x22); }),
              three_lookups + "clock mc\r\n"
                              "b2\t10\t22\t\r\n"
                              "\r\n设定回显正常\r\n"
                              "midi_setup_data 0 b2 , p b2\r\n"
                              "midi_setup_data 1 10 , p 10\r\n"
                              "设置成功了 \r\n");
}

TEST_F(ConfirmedSend, confirmed_first_try_sends_one_sequence) {
    echo_in_the_long_pause({0xB2, 0x10, 0x22});
    EXPECT_EQ(send(0xB2, 0x10, 0x22), 0);
    EXPECT_EQ(recording.calls({"MIDISend"}), sequence_sends(0xB2, 0x10, 0x22));
    EXPECT_EQ(recording.pauses(), command_pauses(false));
}

TEST_F(ConfirmedSend, missing_echo_prints_failure_once) {
    EXPECT_EQ(printed_by([] { core_midi_send_msg_combo(0xB2, 0x10, 0x22); }),
              three_lookups + "clock mc\r\n"
                              "设置失败obk\r\n");
}

TEST_F(ConfirmedSend, missing_echo_sends_two_sequences_and_still_succeeds) {
    EXPECT_EQ(send(0xB2, 0x10, 0x22), 0);
    EXPECT_EQ(recording.calls({"MIDISend"}), twice(sequence_sends(0xB2, 0x10, 0x22)));
    EXPECT_EQ(recording.pauses(), command_pauses(true));
}

TEST_F(ConfirmedSend, wrong_echo_is_no_confirmation) {
    echo_in_the_long_pause({0xB2, 0x11, 0x22});
    EXPECT_EQ(printed_by([] { core_midi_send_msg_combo(0xB2, 0x10, 0x22); }),
              three_lookups + "clock mc\r\nb2\t11\t22\t\r\n" + compared("b2", "b2", "10", "11") +
                  "设置失败obk\r\n");
    EXPECT_EQ(set_up_ok_flag, 0);
}

TEST_F(ConfirmedSend, pitch_bend_is_confirmed_by_its_status_alone) {
    echo_in_the_long_pause({0xE3, 0x7F, 0x7F});
    send(0xE3, 0x01, 0x02);
    EXPECT_EQ(recording.calls({"MIDISend"}), sequence_sends(0xE3, 0x01, 0x02));
    EXPECT_EQ(set_up_ok_flag, 185);
}

TEST_F(ConfirmedSend, every_status_and_data_byte_goes_out_as_it_is) {
    for (unsigned status = 0; status < 256; ++status) {
        const auto byte = static_cast<std::uint8_t>(status);
        send(byte, 0x80, 0xFF);
        EXPECT_EQ(recording.calls({"MIDISend"}), twice(sequence_sends(byte, 0x80, 0xFF))) << status;
        EXPECT_EQ(midi_setup_data[0], status);
    }
}

TEST_F(ConfirmedSend, any_flag_but_zero_is_a_confirmation) {
    recording.before_call = [](std::string_view call) {
        if (call == "usleep 300000")
            set_up_ok_flag = 1;
    };
    EXPECT_EQ(printed_by([] { core_midi_send_msg_combo(0x90, 1, 2); }),
              three_lookups + "clock mc\r\n设置成功了 \r\n");
    EXPECT_EQ(recording.calls({"MIDISend"}).size(), 10U);
}

TEST_F(ConfirmedSend, stale_flag_is_cleared_before_anything_else) {
    set_up_ok_flag = 185;
    std::vector<int> seen;
    recording.before_call = [&](std::string_view) { seen.push_back(set_up_ok_flag); };
    send(0x90, 1, 2);
    EXPECT_EQ(seen, std::vector<int>(recording.journal.size(), 0));
    EXPECT_EQ(recording.calls({"MIDISend"}).size(), 20U);
}

TEST_F(ConfirmedSend, stale_flag_is_cleared_even_when_the_send_is_abandoned) {
    recording.objects[destination_].offline = 1;
    set_up_ok_flag = 185;
    EXPECT_EQ(send(0x90, 1, 2), 1);
    EXPECT_EQ(set_up_ok_flag, 0);
    recording.destinations.clear();
    set_up_ok_flag = 185;
    EXPECT_EQ(send(0x90, 1, 2), 1);
    EXPECT_EQ(set_up_ok_flag, 0);
}

// The echo is tried at each call of the command. It confirms from the pause after the message's
// send to the end of the long pause.
TEST_F(ConfirmedSend, echo_counts_from_the_end_of_its_send_to_the_end_of_the_long_pause) {
    send(0xB2, 0x10, 0x22);
    const Lines calls = recording.journal;
    unsigned message_sends = 0;
    unsigned long_pauses = 0;
    unsigned counted = 0;
    for (std::size_t i = 0; i < calls.size(); ++i) {
        fill(midi_setup_data, 0x55);
        recording.before_call = [&, at = std::size_t{0}](std::string_view) mutable {
            if (at++ == i)
                arrive({0xB2, 0x10, 0x22});
        };
        const bool counts = message_sends == 1 && long_pauses == 0;
        send(0xB2, 0x10, 0x22);
        EXPECT_EQ(recording.calls({"MIDISend"}).size(),
                  counts && calls[i] != "MIDISend out, destination0, time 1000: B2 10 22" ? 10U
                                                                                          : 20U)
            << i << ' ' << calls[i];
        counted += counts;
        message_sends += calls[i] == "MIDISend out, destination0, time 1000: B2 10 22";
        long_pauses += calls[i] == "usleep 300000";
    }
    EXPECT_EQ(message_sends, 2U);
    EXPECT_EQ(counted, 5U); // two short pauses, the closing clock's append and send, the long one
}

TEST_F(ConfirmedSend, expected_echo_is_written_behind_the_message_and_before_the_closing_clock) {
    midi_setup_data[0] = 0x11;
    midi_setup_data[1] = 0x22;
    midi_setup_data[2] = 0x33;
    std::string seen; // o: the old bytes, n: the new ones, one letter for each call
    recording.before_call = [&](std::string_view) {
        const std::array old_bytes{0x11, 0x22, 0x33};
        const std::array new_bytes{0xB2, 0x10, 0x44};
        seen += expected_echo() == old_bytes ? 'o' : expected_echo() == new_bytes ? 'n' : '?';
    };
    send(0xB2, 0x10, 0x44);
    std::size_t up_to_its_send = 0;
    while (recording.journal[up_to_its_send++] != "MIDISend out, destination0, time 1000: B2 10 44")
        ASSERT_LT(up_to_its_send, recording.journal.size());
    EXPECT_EQ(seen, std::string(up_to_its_send, 'o') +
                        std::string(recording.journal.size() - up_to_its_send, 'n'));
}

// A repetition records its message again, after sending it.
TEST_F(ConfirmedSend, repetition_writes_the_expected_echo_again) {
    recording.before_call = [](std::string_view call) {
        if (call == "usleep 300000")
            midi_setup_data[0] = midi_setup_data[1] = midi_setup_data[2] = 0x7E;
    };
    send(0xB2, 0x10, 0x22);
    EXPECT_EQ(expected_echo(), (std::array{0xB2, 0x10, 0x22}));
}

TEST_F(ConfirmedSend, expected_echo_fills_three_bytes_only) {
    fill(midi_setup_data, 0x55);
    send(0xB2, 0x10, 0x22);
    for (std::size_t i = 3; i < 8; ++i)
        EXPECT_EQ(midi_setup_data[i], 0x55) << i;
}

TEST_F(ConfirmedSend, abandoned_send_leaves_the_expected_echo_alone) {
    midi_setup_data[0] = 0x11;
    recording.destinations.clear();
    send(0xB2, 0x10, 0x22);
    EXPECT_EQ(expected_echo(), (std::array{0x11, 0, 0}));
}

// The flag is read once, after the long pause. What comes later is neither printed nor awaited.
TEST_F(ConfirmedSend, echo_of_the_repetition_changes_nothing) {
    bool repeating = false;
    recording.before_call = [&](std::string_view call) {
        if (repeating)
            set_up_ok_flag = 185;
        repeating |= call == "usleep 300000";
    };
    EXPECT_EQ(printed_by([] { core_midi_send_msg_combo(0x90, 1, 2); }),
              three_lookups + "clock mc\r\n设置失败obk\r\n");
    EXPECT_EQ(recording.calls({"MIDISend"}).size(), 20U);
    EXPECT_EQ(set_up_ok_flag, 185);
}

TEST_F(ConfirmedSend, only_an_offline_property_of_one_is_offline) {
    for (const std::int32_t value : {0, 2, -1, 257}) {
        recording.objects[destination_].offline = value;
        EXPECT_EQ(send(0x90, 1, 2), 0);
        EXPECT_EQ(recording.calls({"MIDISend"}).size(), 20U) << value;
    }
}

TEST_F(ConfirmedSend, every_send_failing_changes_nothing_but_the_result) {
    for (OSStatus status = 1; status <= 20; ++status)
        recording.send_statuses.push_back(status);
    EXPECT_EQ(send(0xB2, 0x10, 0x22), 20);
    EXPECT_EQ(recording.calls({"MIDISend"}), twice(sequence_sends(0xB2, 0x10, 0x22)));
    EXPECT_EQ(recording.pauses(), command_pauses(true));
    EXPECT_EQ(expected_echo(), (std::array{0xB2, 0x10, 0x22}));
}

TEST_F(ConfirmedSend, result_is_the_low_byte_of_the_closing_clocks_status) {
    for (const auto& [status, result] :
         {std::pair{-19, 0xED}, {256, 0}, {-256, 0}, {0x1FF, 0xFF}, {-1, 0xFF}, {5, 5}}) {
        recording.send_statuses.assign(9, -5);
        recording.send_statuses.push_back(status);
        echo_in_the_long_pause({0x90, 1, 2});
        EXPECT_EQ(send(0x90, 1, 2), result) << status;
        EXPECT_EQ(recording.calls({"MIDISend"}).size(), 10U);
    }
}

TEST_F(ConfirmedSend, repetitions_own_closing_clock_decides) {
    recording.send_statuses.assign(19, -5);
    EXPECT_EQ(send(0x90, 1, 2), 0);
    recording.send_statuses.assign(19, 0);
    recording.send_statuses.push_back(-5);
    EXPECT_EQ(send(0x90, 1, 2), 0xFB);
}

// All calls and printed lines of whole sends, in order.
class ConfirmedOrder : public ConfirmedSequence {
protected:
    static Lines sequence() {
        Lines lines;
        const auto events = sequence_events(0xB5, 0x30, 0x07);
        auto pause = sequence_pauses.begin();
        for (std::size_t i = 0; i < events.size(); ++i) {
            if (i == 0 || i >= 6)
                lines.push_back("usleep " + std::to_string(*pause++));
            append(lines, {"MIDIPacketListAdd 1024, +4, " + written_down(events[i]),
                           "MIDISend out, destination0, " + written_down(events[i])});
        }
        lines.push_back("usleep " + std::to_string(*pause));
        return lines;
    }
};

TEST_F(ConfirmedOrder, of_a_send_that_is_confirmed) {
    Lines expected = up_to_the_offline_query();
    expected.emplace_back("> clock mc\r\n");
    append(expected, sequence());
    append(expected, {"usleep 300000", "> b5\t30\t7\t\r\n"
                                       "\r\n设定回显正常\r\n"
                                       "midi_setup_data 0 b5 , p b5\r\n"
                                       "midi_setup_data 1 30 , p 30\r\n"
                                       "设置成功了 \r\n"});
    echo_in_the_long_pause({0xB5, 0x30, 0x07});
    EXPECT_EQ(order_of([] { core_midi_send_msg_combo(0xB5, 0x30, 0x07); }), expected);
}

TEST_F(ConfirmedOrder, of_a_send_that_is_repeated) {
    Lines expected = up_to_the_offline_query();
    expected.emplace_back("> clock mc\r\n");
    append(expected, sequence());
    append(expected, {"usleep 300000", "> 设置失败obk\r\n"});
    append(expected, sequence());
    EXPECT_EQ(order_of([] { core_midi_send_msg_combo(0xB5, 0x30, 0x07); }), expected);
}

TEST_F(ConfirmedOrder, of_a_send_to_an_offline_destination) {
    recording.objects[destination_].offline = 1;
    Lines expected = up_to_the_offline_query();
    expected.emplace_back("> offline \r\n");
    EXPECT_EQ(order_of([] { core_midi_send_msg_combo(0xB5, 0x30, 0x07); }), expected);
}

// The endpoint of the first lookup is used, whatever appeared since.
TEST_F(ConfirmedOrder, endpoint_of_the_first_lookup_gets_every_send) {
    const MIDIObjectRef later = recording.add_destination({.name = "4ACCF4C4 later", .offline = 1});
    recording.destinations = {destination_};
    at_call("MIDIGetNumberOfDestinations", 2, [&] {
        recording.destinations = {destination_, later};
    });
    const std::string printed = printed_by([] { core_midi_send_msg_combo(0xB5, 0x30, 0x07); });
    EXPECT_THAT(printed, testing::HasSubstr("midi_get_destination 1 \r\nclock mc\r\n"));
    EXPECT_EQ(recording.calls({"MIDISend"}), twice(sequence_sends(0xB5, 0x30, 0x07)));
}

TEST_F(ConfirmedOrder, destination_that_goes_before_the_third_lookup_is_sent_to) {
    at_call("MIDIGetNumberOfDestinations", 3, [] { recording.destinations.clear(); });
    const std::string printed = printed_by([] { core_midi_send_msg_combo(0xB5, 0x30, 0x07); });
    EXPECT_THAT(printed, testing::HasSubstr("midi_get_destination ffffffff \r\nclock mc\r\n"));
    EXPECT_EQ(recording.calls({"MIDISend"}).size(), 20U);
}

TEST_F(ConfirmedOrder, destination_that_comes_after_the_first_lookup_is_not_sent_to) {
    recording.destinations.clear();
    at_call("MIDIGetNumberOfDestinations", 2, [&] { recording.destinations = {destination_}; });
    recording.send_statuses.assign(20, -19);
    EXPECT_EQ(quietly([] { return core_midi_send_msg_combo(0xB5, 0x30, 0x07); }), 0xED);
    EXPECT_EQ(recording.calls({"MIDISend"}).front(), "MIDISend out, nothing, time 1000: F8");
}

} // namespace
