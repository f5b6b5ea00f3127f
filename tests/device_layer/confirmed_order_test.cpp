// SPDX-License-Identifier: MIT
#include "tests/device_layer/confirmed_sequence.h"

namespace {

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

TEST_F(ConfirmedOrder, of_a_send_without_a_destination) {
    recording.destinations.clear();
    EXPECT_EQ(order_of([] { core_midi_send_msg_combo(0xB5, 0x30, 0x07); }),
              (Lines{"MIDIPacketListInit", "MIDIGetNumberOfDestinations",
                     "> MIDIGetNumberOfDestinations 0 \r\n", "MIDIGetDestination 4294967295",
                     "MIDIGetNumberOfDestinations", "> MIDIGetNumberOfDestinations 0 \r\n"}));
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
