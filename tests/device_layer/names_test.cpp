// SPDX-License-Identifier: MIT
#include "tests/device_layer/device_layer_test.h"

#include <cstring>
#include <sstream>

namespace {

class Names : public DeviceLayerTest {
protected:
    Names() { std::memset(device_name, 0x5A, sizeof device_name); }

    // The name, with nothing of the previous one behind it.
    static void expect_name(const std::string& expected) {
        EXPECT_EQ(std::string(device_name), expected);
        EXPECT_EQ(std::string(device_name + expected.size(), device_name + sizeof device_name),
                  std::string(sizeof device_name - expected.size(), '\0'));
    }
};

// Upper-case hexadecimal digits, without leading zeros.
std::string digits_of(std::uint32_t code) {
    std::ostringstream digits;
    digits << std::hex << std::uppercase << code;
    return digits.str();
}

// What the connection step prints where there are no sources.
const std::string no_sources = "MIDIGetNumberOfSources 0 \r\nmidi init failed \r\n";

TEST_F(Names, start_machine_gets_its_name_and_halves) {
    EXPECT_EQ(printed_by([] { set_device_name(0x4ACCF4C4); }), "set_device_name 4accf4c4 \r\n"
                                                               "middle_value c \r\n"
                                                               "Generated device_name: 4ACCF4C4\n" +
                                                                   no_sources);
    expect_name("4ACCF4C4");
    expect_halves(0x4ACC, 0xF4C4);
}

TEST_F(Names, each_family_names_its_machines) {
    for (const std::uint32_t code : {0x16C3C008U, 0x4D4FFF04U, 0x608AFF04U, 0x4AC0CC27U,
                                     0x4AC1CC04U, 0x4AC2CC15U, 0x4ACFFF10U}) {
        quietly([code] { return set_device_name(code); });
        expect_name(digits_of(code));
    }
}

TEST_F(Names, high_half_out_of_range_gives_an_empty_name) {
    EXPECT_EQ(printed_by([] { set_device_name(0x4AD0F4C4); }), "set_device_name 4ad0f4c4 \r\n"
                                                               "Generated device_name: \n" +
                                                                   no_sources);
    expect_name("");
    expect_halves(0xFFFF, 0xFFFF);
}

TEST_F(Names, low_half_alone_prints_the_middle_value_in_the_first_rows) {
    EXPECT_EQ(printed_by([] { set_device_name(0x4AD0CC04); }), "set_device_name 4ad0cc04 \r\n"
                                                               "middle_value 0 \r\n"
                                                               "Generated device_name: \n" +
                                                                   no_sources);
    expect_name("");
    EXPECT_EQ(printed_by([] { set_device_name(0x1234CC04); }), "set_device_name 1234cc04 \r\n"
                                                               "middle_value 4 \r\n"
                                                               "Generated device_name: \n" +
                                                                   no_sources);
    expect_name("");
    expect_halves(0xFFFF, 0xFFFF);
}

TEST_F(Names, fixed_code_is_stored_after_the_empty_name_was_printed) {
    EXPECT_EQ(printed_by([] { set_device_name(0x44CACC10); }), "set_device_name 44cacc10 \r\n"
                                                               "Generated device_name: \n" +
                                                                   no_sources);
    expect_name("44CACC10");
    expect_halves(0x44CA, 0xCC10);
}

TEST_F(Names, naming_ends_by_connecting_and_gives_the_index) {
    recording.add_source({.name = "another"});
    recording.add_source({.name = "4AC5F4C4 MIDI 1"});
    EXPECT_THAT(outcome_of([&] { return set_device_name(0x4AC5F4C4); }),
                Pair(1U, "set_device_name 4ac5f4c4 \r\n"
                         "middle_value 5 \r\n"
                         "Generated device_name: 4AC5F4C4\n" +
                             connecting_lines("2", "1", "4AC5F4C4 MIDI 1 is online")));
    EXPECT_EQ(realtime_connect_state_flag, 1);
    EXPECT_EQ(recording.calls({"MIDIPortConnectSource"}).size(), 2U);
}

TEST_F(Names, naming_without_a_source_gives_no_index) {
    EXPECT_EQ(quietly([] { return set_device_name(0x4AC5F4C4); }), no_index);
    EXPECT_EQ(quietly([] { return set_device_name_with_hexcode(0x4AC5F4C4); }), no_index);
}

// The halves are set before the connection step.
TEST_F(Names, halves_are_set_before_the_sources_are_counted) {
    std::uint32_t seen = 0;
    recording.before_call = [&](std::string_view) { seen = VID_PID_val; };
    quietly([] { return set_device_name(0x608AFF04); });
    EXPECT_EQ(seen, 0x608AFF04U);
    quietly([] { return set_device_name_with_hexcode(0x98765432); });
    EXPECT_EQ(seen, 0x98765432U);
}

TEST_F(Names, empty_name_matches_a_source_whose_first_eight_bytes_are_zero) {
    recording.add_source({.name = "4ACCF4C4"});
    recording.add_source({.name = std::string(8, '\0')});
    EXPECT_EQ(quietly([] { return set_device_name(0); }), 1U);
    EXPECT_EQ(realtime_connect_state_flag, 1);
}

TEST_F(Names, hexcode_takes_any_code_without_the_rules) {
    EXPECT_EQ(printed_by([] { set_device_name_with_hexcode(0xDEADBEEF); }),
              "set_device_name deadbeef \r\n" + no_sources);
    expect_name("DEADBEEF");
    expect_halves(0xDEAD, 0xBEEF);
    for (const std::uint32_t code : {0x44CACC10U, 0x10000000U, 0xFFFFFFFFU}) {
        quietly([code] { return set_device_name_with_hexcode(code); });
        expect_name(digits_of(code));
    }
}

TEST_F(Names, hexcode_of_seven_digits_ends_at_position_seven) {
    EXPECT_EQ(printed_by([] { set_device_name_with_hexcode(0x0ABCDEF0); }),
              "set_device_name abcdef0 \r\n" + no_sources);
    expect_name("ABCDEF0");
    expect_halves(0xABCD, 0xEFFF);
}

// The bytes between the end of a shorter text and position 8 may be anything.
TEST_F(Names, shorter_hexcodes_give_their_digits_and_no_more_than_eight_bytes) {
    for (const std::uint32_t code : {0U, 1U, 0x12U, 0xABCU, 0xF4C4U, 0x12345U, 0xABCDEFU}) {
        std::memset(device_name, 0x5A, sizeof device_name);
        quietly([code] { return set_device_name_with_hexcode(code); });
        EXPECT_EQ(device_name, digits_of(code));
        EXPECT_EQ(std::string(device_name + 8, 16), std::string(16, '\0'));
    }
}

TEST_F(Names, hexcode_naming_ends_by_connecting_and_gives_the_index) {
    recording.add_source({.name = "another"});
    recording.add_source({.name = "another"});
    recording.add_source({.name = "DEADBEEF"});
    EXPECT_EQ(quietly([] { return set_device_name_with_hexcode(0xDEADBEEF); }), 2U);
    EXPECT_EQ(realtime_connect_state_flag, 1);
}

class ConnectByCode : public DeviceLayerTest {
protected:
    static int probe(std::uint32_t code) {
        return quietly([code] { return judge_device_connect_state_with_id(code); });
    }
};

TEST_F(ConnectByCode, machine_that_is_online_answers_one) {
    recording.add_source({.name = "4AC3F4C4 MIDI 1"});
    EXPECT_THAT(outcome_of([&] { return judge_device_connect_state_with_id(0x4AC3F4C4); }),
                Pair(1, "set_device_name 4ac3f4c4 \r\n" +
                            connecting_lines("1", "0", "4AC3F4C4 MIDI 1 is online")));
    EXPECT_STREQ(device_name, "4AC3F4C4");
    EXPECT_EQ(VID_PID_val, 0x4AC3F4C4U);
    EXPECT_EQ(recording.calls({"MIDIPortConnectSource"}).size(), 2U);
}

TEST_F(ConnectByCode, machine_that_is_offline_answers_zero) {
    recording.add_source({.name = "4AC3F4C4 MIDI 1", .offline = 1});
    realtime_connect_state_flag = 1;
    EXPECT_THAT(outcome_of([&] { return judge_device_connect_state_with_id(0x4AC3F4C4); }),
                Pair(0, "set_device_name 4ac3f4c4 \r\n" +
                            connecting_lines("1", "0", "4AC3F4C4 MIDI 1 is offline")));
}

TEST_F(ConnectByCode, without_sources_every_machine_answers_zero) {
    realtime_connect_state_flag = 1;
    EXPECT_THAT(outcome_of([&] { return judge_device_connect_state_with_id(0x4AC3F4C4); }),
                Pair(0, "set_device_name 4ac3f4c4 \r\n" + no_sources));
}

TEST_F(ConnectByCode, machine_probed_last_stays_the_current_one) {
    recording.add_source({.name = "4AC3F4C4"});
    EXPECT_EQ(probe(0x4AC3F4C4), 1);
    EXPECT_EQ(probe(0x4AC4F4C4), 0);
    EXPECT_STREQ(device_name, "4AC4F4C4");
    EXPECT_EQ(VID_PID_val, 0x4AC4F4C4U);
    EXPECT_EQ(probe(0x4AC3F4C4), 1);
    EXPECT_STREQ(device_name, "4AC3F4C4");
}

// A probe knows no families: any code is a machine.
TEST_F(ConnectByCode, codes_outside_the_naming_rules_are_probed_too) {
    recording.add_source({.name = "4AD0F4C4"});
    EXPECT_EQ(probe(0x4AD0F4C4), 1);
    EXPECT_STREQ(device_name, "4AD0F4C4");
}

TEST_F(ConnectByCode, sixteen_probes_find_the_machines_that_are_there) {
    recording.add_source({.name = "4AC0F4C4"});
    recording.add_source({.name = "4AC9F4C4", .offline = 1});
    recording.add_source({.name = "4ACFF4C4 MIDI 1"});
    std::string answers;
    for (std::uint32_t machine = 0; machine < 16; ++machine)
        answers += std::to_string(probe(0x4AC0F4C4 + machine * 0x10000));
    EXPECT_EQ(answers, "1000000000000001");
    EXPECT_STREQ(device_name, "4ACFF4C4");
}

} // namespace
