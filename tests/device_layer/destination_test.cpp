// SPDX-License-Identifier: MIT
#include "tests/device_layer/device_layer_test.h"

#include <cstring>

namespace {

class Destination : public DeviceLayerTest {
protected:
    Destination() { set_current_name("4ACCF4C4"); }

    static std::uint64_t find() {
        return quietly([] { return midi_get_destination(); });
    }

    static std::string printed() {
        return printed_by([] { midi_get_destination(); });
    }
};

TEST_F(Destination, none_at_all_print_the_count_alone) {
    std::strcpy(jname, "as it was");
    EXPECT_EQ(order_of([] { EXPECT_EQ(midi_get_destination(), no_index); }),
              (Lines{"MIDIGetNumberOfDestinations", "> MIDIGetNumberOfDestinations 0 \r\n"}));
    EXPECT_STREQ(jname, "as it was");
}

TEST_F(Destination, does_everything_in_order) {
    recording.add_destination({.name = "4ACCF4C4 MIDI 1"});
    recording.add_destination({.name = "something else"});
    EXPECT_EQ(order_of([] { EXPECT_EQ(midi_get_destination(), 0U); }),
              (Lines{
                  "MIDIGetNumberOfDestinations",
                  "> MIDIGetNumberOfDestinations 2 \r\n",
                  "MIDIGetDestination 0",
                  "MIDIObjectGetStringProperty destination0, name, into pname",
                  "CFStringGetCString destination0.name, into jname, 64, encoding 0",
                  "CFRelease destination0.name",
                  "MIDIGetDestination 1",
                  "MIDIObjectGetStringProperty destination1, name, into pname",
                  "CFStringGetCString destination1.name, into jname, 64, encoding 0",
                  "CFRelease destination1.name",
                  "MIDIGetDestination 2",
                  "MIDIObjectGetStringProperty nothing, name, into pname",
                  "MIDIObjectGetIntegerProperty nothing, offline",
                  "> CCCCC: somethin is online\r\n",
              }));
}

TEST_F(Destination, last_of_two_matching_ones_wins) {
    recording.add_destination({.name = "4ACCF4C4 A"});
    recording.add_destination({.name = "4ACCF4C4 B"});
    recording.add_destination({.name = "another"});
    EXPECT_EQ(find(), 1U);
}

TEST_F(Destination, further_text_matches_and_a_shorter_name_never_does) {
    const MIDIObjectRef only = recording.add_destination({.name = "4ACCF4C4 and more"});
    EXPECT_EQ(find(), 0U);
    recording.objects[only].name = "4ACCF4C";
    EXPECT_EQ(find(), no_index);
    recording.objects[only].name = "";
    EXPECT_EQ(find(), no_index);
}

TEST_F(Destination, a_difference_at_any_of_eight_positions_is_another_one) {
    const MIDIObjectRef only = recording.add_destination({.name = "4ACCF4C4"});
    EXPECT_EQ(find(), 0U);
    for (std::size_t position = 0; position < 8; ++position) {
        std::string other = "4ACCF4C4";
        other[position] = 'x';
        recording.objects[only].name = other;
        EXPECT_EQ(find(), no_index) << position;
    }
}

TEST_F(Destination, bytes_left_behind_a_terminator_take_part) {
    set_current_name(std::string("4A\0CF4C4", 8));
    recording.add_destination({.name = "xxxCF4C4 longer"});
    recording.add_destination({.name = "4A"});
    EXPECT_EQ(find(), 1U);
}

TEST_F(Destination, null_name_is_compared_with_what_the_name_before_left) {
    recording.add_destination({.name = "4ACCF4C4"});
    recording.add_destination({});
    EXPECT_EQ(find(), 1U);
}

// The name that the source connection left whole is cut before it is compared.
TEST_F(Destination, null_name_is_compared_with_what_the_connection_left) {
    recording.add_source({.name = "4ACCF4C4 MIDI 1"});
    recording.add_destination({});
    quietly([] { return midi_source_connect(); });
    EXPECT_EQ(printed(), "MIDIGetNumberOfDestinations 1 \r\nCCCCC: 4ACCF4C4 is online\r\n");
    EXPECT_EQ(find(), 0U);
}

TEST_F(Destination, failed_conversion_leaves_what_was_there) {
    std::strcpy(jname, "4ACCF4C4");
    recording.conversions_fail = true;
    recording.add_destination({.name = "another"});
    EXPECT_EQ(find(), 0U);
}

TEST_F(Destination, reports_online_about_the_position_behind_the_last_one) {
    recording.add_destination({.name = "4ACCF4C4 MIDI 1", .offline = 1});
    EXPECT_EQ(printed(), "MIDIGetNumberOfDestinations 1 \r\nCCCCC: 4ACCF4C4 is online\r\n");
}

TEST_F(Destination, reports_without_a_match_too) {
    recording.add_destination({.name = "something else"});
    EXPECT_EQ(printed(), "MIDIGetNumberOfDestinations 1 \r\nCCCCC: somethin is online\r\n");
}

// A destination that appears during the loop comes after the last one.
class LateDestination : public Destination {
protected:
    std::string printed_with(const RecordedObject& late) {
        recording.add_destination({.name = "4ACCF4C4 MIDI 1"});
        const MIDIObjectRef found = recording.destinations[0];
        const MIDIObjectRef behind = recording.add_destination(late);
        recording.destinations = {found};
        recording.before_call = [=](std::string_view call) {
            if (call == "MIDIGetDestination 1")
                recording.destinations = {found, behind};
        };
        std::uint64_t index = 99;
        std::string text = printed_by([&] { index = midi_get_destination(); });
        EXPECT_EQ(index, 0U);
        return text;
    }
};

TEST_F(LateDestination, is_reported_with_its_whole_name) {
    EXPECT_EQ(printed_with({.name = "4ACCF4C4 with a long name"}),
              "MIDIGetNumberOfDestinations 1 \r\n"
              "CCCCC: 4ACCF4C4 with a long name is online\r\n");
    EXPECT_STREQ(jname, "4ACCF4C4 with a long name");
}

TEST_F(LateDestination, is_reported_offline_by_a_property_of_one) {
    EXPECT_EQ(printed_with({.name = "late and long", .offline = 1}),
              "MIDIGetNumberOfDestinations 1 \r\nAAAAA: late and long is offline\r\n");
}

TEST_F(LateDestination, is_reported_online_by_any_other_property) {
    EXPECT_EQ(printed_with({.name = "late and long", .offline = 2}),
              "MIDIGetNumberOfDestinations 1 \r\nCCCCC: late and long is online\r\n");
}

TEST_F(LateDestination, without_a_name_is_reported_by_the_name_before) {
    EXPECT_EQ(printed_with({.offline = 1}),
              "MIDIGetNumberOfDestinations 1 \r\nAAAAA: 4ACCF4C4 is offline\r\n");
}

TEST_F(Destination, count_is_hexadecimal) {
    for (int i = 0; i < 0x2B; ++i)
        recording.add_destination({.name = i == 0x1A ? "4ACCF4C4" : "another"});
    EXPECT_EQ(printed(), "MIDIGetNumberOfDestinations 2b \r\nCCCCC: another is online\r\n");
    EXPECT_EQ(find(), 0x1AU);
}

TEST_F(Destination, connection_and_device_names_stay_as_they_are) {
    realtime_connect_state_flag = 1;
    std::strcpy(name, "name");
    std::strcpy(model, "model");
    recording.add_destination({.name = "4ACCF4C4", .offline = 1});
    find();
    EXPECT_EQ(realtime_connect_state_flag, 1);
    EXPECT_STREQ(name, "name");
    EXPECT_STREQ(model, "model");
}

} // namespace
