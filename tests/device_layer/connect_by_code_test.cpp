// SPDX-License-Identifier: MIT
#include "tests/device_layer/device_layer_test.h"

namespace {

class ConnectByCode : public DeviceLayerTest {
protected:
    static int probe(std::uint32_t code) {
        return quietly([code] { return judge_device_connect_state_with_id(code); });
    }
};

TEST_F(ConnectByCode, machine_that_is_online_answers_one) {
    recording.add_source({.name = "4AC3F4C4 MIDI 1"});
    EXPECT_THAT(outcome_of([&] { return judge_device_connect_state_with_id(0x4AC3F4C4); }),
                Pair(1, "set_device_name 4ac3f4c4 \r\n"
                        "MIDIGetNumberOfSources 1 \r\n"
                        "midi init success ,number code 0 \r\n"
                        "4AC3F4C4 MIDI 1 is online\r\n"));
    EXPECT_STREQ(device_name, "4AC3F4C4");
    EXPECT_EQ(VID_PID_val, 0x4AC3F4C4U);
    EXPECT_EQ(recording.calls({"MIDIPortConnectSource"}).size(), 2U);
}

TEST_F(ConnectByCode, machine_that_is_offline_answers_zero) {
    recording.add_source({.name = "4AC3F4C4 MIDI 1", .offline = 1});
    realtime_connect_state_flag = 1;
    EXPECT_THAT(outcome_of([&] { return judge_device_connect_state_with_id(0x4AC3F4C4); }),
                Pair(0, "set_device_name 4ac3f4c4 \r\n"
                        "MIDIGetNumberOfSources 1 \r\n"
                        "midi init success ,number code 0 \r\n"
                        "4AC3F4C4 MIDI 1 is offline\r\n"));
}

TEST_F(ConnectByCode, without_sources_every_machine_answers_zero) {
    realtime_connect_state_flag = 1;
    EXPECT_THAT(outcome_of([&] { return judge_device_connect_state_with_id(0x4AC3F4C4); }),
                Pair(0, "set_device_name 4ac3f4c4 \r\n"
                        "MIDIGetNumberOfSources 0 \r\n"
                        "midi init failed \r\n"));
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
