// SPDX-License-Identifier: MIT
#include "tests/device_layer/device_layer_test.h"

#include <cstring>

namespace {

class SourceConnection : public DeviceLayerTest {
protected:
    SourceConnection() { set_current_name("4ACCF4C4"); }

    static std::uint64_t connect() {
        return quietly([] { return midi_source_connect(); });
    }

    static Lines connected() {
        connect();
        return recording.calls({"MIDIPortConnectSource"});
    }
};

TEST_F(SourceConnection, no_sources_end_with_the_failure_line) {
    realtime_connect_state_flag = 1;
    EXPECT_THAT(outcome_of([&] { return midi_source_connect(); }),
                Pair(no_index, "MIDIGetNumberOfSources 0 \r\nmidi init failed \r\n"));
    EXPECT_EQ(realtime_connect_state_flag, 0);
    EXPECT_EQ(recording.journal, Lines{"MIDIGetNumberOfSources"});
}

TEST_F(SourceConnection, does_everything_in_order) {
    recording.add_source({.name = "another"});
    recording.add_source({.name = "4ACCF4C4 MIDI 1"});
    EXPECT_EQ(order_of([] { midi_source_connect(); }),
              (Lines{
                  "MIDIGetNumberOfSources",
                  "> MIDIGetNumberOfSources 2 \r\n",
                  "MIDIGetSource 0",
                  "MIDIPortDisconnectSource out, source0",
                  "MIDIPortDisconnectSource in, source0",
                  "MIDIObjectGetStringProperty source0, name, into pname",
                  "CFStringGetCString source0.name, into jname, 64, encoding 0",
                  "CFRelease source0.name",
                  "MIDIGetSource 1",
                  "MIDIPortDisconnectSource out, source1",
                  "MIDIPortDisconnectSource in, source1",
                  "MIDIObjectGetStringProperty source1, name, into pname",
                  "CFStringGetCString source1.name, into jname, 64, encoding 0",
                  "CFRelease source1.name",
                  "> midi init success ,number code 1 \r\n",
                  "MIDIGetSource 1",
                  "MIDIObjectGetStringProperty source1, name, into pname",
                  "CFStringGetCString source1.name, into jname, 64, encoding 0",
                  "CFRelease source1.name",
                  "MIDIPortConnectSource out, source1, no context",
                  "MIDIPortConnectSource in, source1, no context",
                  "MIDIObjectGetIntegerProperty source1, offline",
                  "> 4ACCF4C4 MIDI 1 is online\r\n",
              }));
    EXPECT_EQ(realtime_connect_state_flag, 1);
}

TEST_F(SourceConnection, without_a_match_every_source_is_left_disconnected) {
    recording.add_source({.name = "another"});
    recording.add_source({});
    realtime_connect_state_flag = 1;
    EXPECT_EQ(order_of([] { midi_source_connect(); }),
              (Lines{
                  "MIDIGetNumberOfSources",
                  "> MIDIGetNumberOfSources 2 \r\n",
                  "MIDIGetSource 0",
                  "MIDIPortDisconnectSource out, source0",
                  "MIDIPortDisconnectSource in, source0",
                  "MIDIObjectGetStringProperty source0, name, into pname",
                  "CFStringGetCString source0.name, into jname, 64, encoding 0",
                  "CFRelease source0.name",
                  "MIDIGetSource 1",
                  "MIDIPortDisconnectSource out, source1",
                  "MIDIPortDisconnectSource in, source1",
                  "MIDIObjectGetStringProperty source1, name, into pname",
                  "> midi init failed \r\n",
              }));
    EXPECT_EQ(realtime_connect_state_flag, 0);
}

TEST_F(SourceConnection, last_of_two_matching_sources_is_connected) {
    recording.add_source({.name = "4ACCF4C4 A"});
    recording.add_source({.name = "4ACCF4C4 B"});
    recording.add_source({.name = "another"});
    EXPECT_EQ(connect(), 1U);
    EXPECT_EQ(recording.calls({"MIDIPortConnectSource"}),
              (Lines{"MIDIPortConnectSource out, source1, no context",
                     "MIDIPortConnectSource in, source1, no context"}));
    EXPECT_STREQ(jname, "4ACCF4C4 B");
}

TEST_F(SourceConnection, offline_source_is_connected_all_the_same) {
    recording.add_source({.name = "4ACCF4C4 with its full name", .offline = 1});
    realtime_connect_state_flag = 1;
    EXPECT_THAT(outcome_of([&] { return midi_source_connect(); }),
                Pair(0U, connecting_lines("1", "0", "4ACCF4C4 with its full name is offline")));
    EXPECT_EQ(realtime_connect_state_flag, 0);
    EXPECT_EQ(recording.calls({"MIDIPortConnectSource"}).size(), 2U);
}

TEST_F(SourceConnection, only_one_means_offline) {
    const MIDIObjectRef source = recording.add_source({.name = "4ACCF4C4"});
    for (const std::int32_t value : {0, 2, -1, 256, 257}) {
        recording.objects[source].offline = value;
        realtime_connect_state_flag = 0;
        EXPECT_EQ(printed_by([] { midi_source_connect(); }),
                  connecting_lines("1", "0", "4ACCF4C4 is online"));
        EXPECT_EQ(realtime_connect_state_flag, 1) << value;
    }
}

TEST_F(SourceConnection, failed_offline_query_reads_as_online) {
    recording.add_source({.name = "4ACCF4C4", .offline = {}});
    connect();
    EXPECT_EQ(realtime_connect_state_flag, 1);
}

TEST_F(SourceConnection, seven_characters_never_match) {
    recording.add_source({.name = "4ACCF4C4"});
    recording.add_source({.name = "4ACCF4C"});
    EXPECT_EQ(connect(), 0U);
    reset_recording();
    recording.add_source({.name = "4ACCF4C"});
    EXPECT_EQ(connect(), no_index);
}

TEST_F(SourceConnection, a_difference_at_any_of_eight_positions_is_another_source) {
    const MIDIObjectRef source = recording.add_source({.name = "4ACCF4C4"});
    EXPECT_EQ(connect(), 0U);
    for (std::size_t position = 0; position < 8; ++position) {
        std::string other = "4ACCF4C4 MIDI 1";
        other[position] = 'x';
        recording.objects[source].name = other;
        EXPECT_EQ(connect(), no_index) << position;
    }
    recording.objects[source].name = "4accf4c4";
    EXPECT_EQ(connect(), no_index);
}

TEST_F(SourceConnection, same_step_twice_reconnects_the_same_source) {
    recording.add_source({.name = "4ACCF4C4 MIDI 1"});
    const Lines first = order_of([] { EXPECT_EQ(midi_source_connect(), 0U); });
    const Lines second = order_of([] { EXPECT_EQ(midi_source_connect(), 0U); });
    EXPECT_EQ(first, second);
    EXPECT_EQ(
        recording.calls({"MIDIPortDisconnectSource", "MIDIPortConnectSource"}),
        (Lines{"MIDIPortDisconnectSource out, source0", "MIDIPortDisconnectSource in, source0",
               "MIDIPortConnectSource out, source0, no context",
               "MIDIPortConnectSource in, source0, no context"}));
}

// The terminator of a short name and the bytes after it are compared like any others.
TEST_F(SourceConnection, bytes_left_behind_a_terminator_take_part) {
    set_current_name(std::string("4A\0CF4C4", 8));
    recording.add_source({.name = "xxxCF4C4"});
    recording.add_source({.name = "4A"});
    EXPECT_EQ(connect(), 1U);

    reset_recording();
    std::memset(jname, 0, sizeof jname);
    recording.add_source({.name = "4A"});
    EXPECT_EQ(connect(), no_index);
}

TEST_F(SourceConnection, null_name_is_compared_with_what_the_name_before_left) {
    recording.add_source({.name = "4ACCF4C4 MIDI 1"});
    recording.add_source({});
    EXPECT_THAT(outcome_of([&] { return midi_source_connect(); }),
                Pair(1U, connecting_lines("2", "1", "4ACCF4C4 is online")));
    EXPECT_EQ(recording.calls({"MIDIPortConnectSource"}),
              (Lines{"MIDIPortConnectSource out, source1, no context",
                     "MIDIPortConnectSource in, source1, no context"}));
}

TEST_F(SourceConnection, null_name_is_compared_with_what_an_earlier_step_left) {
    std::strcpy(jname, "4ACCF4C4 from before");
    recording.add_source({});
    EXPECT_EQ(connect(), 0U);
    EXPECT_STREQ(jname, "4ACCF4C4");
}

TEST_F(SourceConnection, failed_conversion_leaves_what_was_there) {
    std::strcpy(jname, "4ACCF4C4 from before");
    recording.conversions_fail = true;
    recording.add_source({.name = "another"});
    EXPECT_EQ(connect(), 0U);
    EXPECT_STREQ(jname, "4ACCF4C4");
}

TEST_F(SourceConnection, name_examined_last_stays_cut_to_eight_characters) {
    recording.add_source({.name = "something longer"});
    EXPECT_EQ(connect(), no_index);
    EXPECT_EQ(std::string(jname, 17), std::string("somethin\0 longer\0", 17));
}

TEST_F(SourceConnection, name_of_the_connected_source_is_whole_up_to_63_characters) {
    const std::string long_name = "4ACCF4C4" + std::string(80, 'y');
    recording.add_source({.name = long_name});
    recording.add_source({.name = "another"});
    EXPECT_EQ(printed_by([] { midi_source_connect(); }),
              connecting_lines("2", "0", long_name.substr(0, 63) + " is online"));
    EXPECT_EQ(std::string(jname), long_name.substr(0, 63));
}

TEST_F(SourceConnection, count_and_index_are_hexadecimal) {
    for (unsigned i = 0; i < 0x2B; ++i)
        recording.add_source({.name = i == 0x1A ? "4ACCF4C4" : "another"});
    EXPECT_EQ(printed_by([] { midi_source_connect(); }),
              connecting_lines("2b", "1a", "4ACCF4C4 is online"));
    EXPECT_EQ(recording.calls({"MIDIPortDisconnectSource"}).size(), 2U * 0x2B);
}

TEST_F(SourceConnection, statuses_of_the_connections_do_not_count) {
    recording.connection_status = -22;
    recording.add_source({.name = "4ACCF4C4"});
    EXPECT_EQ(connected().size(), 2U);
    EXPECT_EQ(realtime_connect_state_flag, 1);
}

// The source at the index is fetched again: by then it may be another one.
TEST_F(SourceConnection, source_is_fetched_again_before_it_is_connected) {
    const MIDIObjectRef first = recording.add_source({.name = "4ACCF4C4 first"});
    const MIDIObjectRef second = recording.add_source({.name = "another"});
    at_call("MIDIGetSource", 3, [&] { recording.sources = {second, first}; });
    EXPECT_THAT(outcome_of([&] { return midi_source_connect(); }),
                Pair(0U, connecting_lines("2", "0", "another is online")));
    EXPECT_EQ(recording.calls({"MIDIPortConnectSource"}).front(),
              "MIDIPortConnectSource out, source1, no context");
}

// The source disappears between the loop and the connection: no object, which counts as online.
TEST_F(SourceConnection, source_that_went_meanwhile_is_carried_on_as_no_object) {
    recording.add_source({.name = "4ACCF4C4 MIDI 1"});
    at_call("MIDIGetSource", 2, [] { recording.sources.clear(); });
    EXPECT_EQ(printed_by([] { midi_source_connect(); }),
              connecting_lines("1", "0", "4ACCF4C4 is online"));
    EXPECT_EQ(recording.calls({"MIDIPortConnectSource"}),
              (Lines{"MIDIPortConnectSource out, nothing, no context",
                     "MIDIPortConnectSource in, nothing, no context"}));
    EXPECT_EQ(realtime_connect_state_flag, 1);
}

TEST_F(SourceConnection, name_and_halves_stay_as_they_are) {
    VID_PID_val = 5;
    recording.add_source({.name = "4ACCF4C4"});
    connect();
    EXPECT_STREQ(device_name, "4ACCF4C4");
    EXPECT_EQ(VID_PID_val, 5U);
    EXPECT_EQ(set_up_ok_flag, 0);
}

} // namespace
