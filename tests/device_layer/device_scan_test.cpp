// SPDX-License-Identifier: MIT
#include "tests/device_layer/confirmed_sequence.h"

#include <cstring>

namespace {

class DeviceScan : public ConfirmedSequence {
protected:
    static int send(std::uint8_t type, std::uint8_t channel, std::uint8_t data1,
                    std::uint8_t data2) {
        recording.journal.clear();
        return quietly([=] { return send_midi_out_data(type, channel, data1, data2); });
    }

    static int probe() { return send(0xFF, 0x0F, 0, 0); }
};

/// What the confirmed send and the entry that makes five plain sends do before they send.
struct Search {
    decltype(&send_midi_out_data) entry;
    std::size_t sends; ///< without an echo
};

class DeviceSearch : public ConfirmedSequence, public testing::WithParamInterface<Search> {
protected:
    static auto outcome_of_type(std::uint8_t type) {
        recording.journal.clear();
        return outcome_of([=] { return GetParam().entry(type, 3, 0x10, 0x22); });
    }
};

INSTANTIATE_TEST_SUITE_P(confirmed, DeviceSearch, testing::Values(Search{&send_midi_out_data, 20}));
INSTANTIATE_TEST_SUITE_P(plain, DeviceSearch,
                         testing::Values(Search{&send_midi_out_data_combo, 5}));

TEST_P(DeviceSearch, probe_that_finds_the_machine_says_so_in_its_own_words_and_only_looks) {
    EXPECT_THAT(outcome_of_type(0xFF), Pair(0, scan_of_one + "no macthing name B \r\n"));
    EXPECT_EQ(recording.calls({"MIDIPacketListInit", "MIDISend", "usleep"}), Lines{});
}

TEST_F(DeviceScan, probe_never_sends_whatever_its_other_arguments) {
    for (const std::uint8_t byte : std::initializer_list<std::uint8_t>{0, 0x0F, 0x10, 0x7F, 0xFF}) {
        EXPECT_EQ(send(0xFF, byte, byte, byte), 0);
        EXPECT_EQ(recording.calls({"MIDIPacketListInit", "MIDISend", "usleep"}), Lines{});
    }
}

TEST_F(DeviceScan, reads_all_three_texts_and_then_converts_and_releases_each) {
    const MIDIObjectRef other = recording.add_device({.name = "a", .manufacturer = "b"});
    recording.devices = {other, device_};
    EXPECT_EQ(order_of([] { EXPECT_EQ(send_midi_out_data(0xFF, 0x0F, 0, 0), 0); }),
              (Lines{
                  "> send_midi_out_data\r\n",
                  "MIDIGetNumberOfDevices",
                  ">  MIDIGetNumberOfDevices  2\r\n",
                  "MIDIGetDevice 0",
                  "MIDIObjectGetStringProperty device1, name, into pname",
                  "MIDIObjectGetStringProperty device1, manufacturer, into pmanuf",
                  "MIDIObjectGetStringProperty device1, model, into pmodel",
                  "CFStringGetCString device1.name, into name, 64, encoding 0",
                  "CFRelease device1.name",
                  "CFStringGetCString device1.manufacturer, into manuf, 64, encoding 0",
                  "CFRelease device1.manufacturer",
                  "MIDIGetDevice 1",
                  "MIDIObjectGetStringProperty device0, name, into pname",
                  "MIDIObjectGetStringProperty device0, manufacturer, into pmanuf",
                  "MIDIObjectGetStringProperty device0, model, into pmodel",
                  "CFStringGetCString device0.name, into name, 64, encoding 0",
                  "CFRelease device0.name",
                  "CFStringGetCString device0.manufacturer, into manuf, 64, encoding 0",
                  "CFRelease device0.manufacturer",
                  "CFStringGetCString device0.model, into model, 64, encoding 0",
                  "CFRelease device0.model",
                  "> no macthing name B \r\n",
              }));
    EXPECT_STREQ(name, "4ACCF4C4");
    EXPECT_STREQ(manuf, "maker");
    EXPECT_STREQ(model, "4ACCF4C4 controller");
}

TEST_F(DeviceScan, stops_at_the_machine) {
    recording.add_device({.name = "behind", .manufacturer = "it", .model = "there"});
    EXPECT_EQ(probe(), 0);
    EXPECT_EQ(recording.calls({"MIDIGetDevice"}), Lines{"MIDIGetDevice 0"});
    EXPECT_STREQ(name, "4ACCF4C4");
}

TEST_F(DeviceScan, found_machine_gets_the_message) {
    echo_in_the_long_pause({0xB2, 0x10, 0x22});
    EXPECT_THAT(outcome_of([&] { return send_midi_out_data(0xB0, 3, 0x10, 0x22); }),
                Pair(0, scan_of_one + "midiOutShortMsg\r\n" + three_lookups +
                            "clock mc\r\n"
                            "b2\t10\t22\t\r\n" +
                            echo_is_right + compared("b2", "b2", "10", "10") + "设置成功了 \r\n"));
    EXPECT_EQ(recording.calls({"MIDISend"}), sequence_sends(0xB2, 0x10, 0x22));
}

TEST_F(DeviceScan, gives_the_sends_own_result) {
    recording.send_statuses.assign(19, 0);
    recording.send_statuses.push_back(-19);
    EXPECT_EQ(send(0xB0, 1, 0x10, 0x22), 0xED);
    recording.objects[destination_].offline = 1;
    EXPECT_EQ(send(0xB0, 1, 0x10, 0x22), 1);
}

TEST_P(DeviceSearch, no_devices_at_all_read_as_success) {
    recording.devices.clear();
    for (const int type : {0xFF, 0xB0}) {
        EXPECT_THAT(outcome_of_type(static_cast<std::uint8_t>(type)),
                    Pair(0, "send_midi_out_data\r\n MIDIGetNumberOfDevices  0\r\n"));
        EXPECT_EQ(recording.journal, Lines{"MIDIGetNumberOfDevices"});
    }
}

TEST_P(DeviceSearch, devices_without_the_machine_read_as_failure) {
    recording.objects[device_].name = "another";
    recording.add_device({.name = "4ACCF4C5", .model = "4ACCF4C4"});
    recording.add_device({.name = "4ACCF4C4", .model = "another"});
    for (const int type : {0xFF, 0xB0}) {
        EXPECT_THAT(outcome_of_type(static_cast<std::uint8_t>(type)),
                    Pair(1, "send_midi_out_data\r\n MIDIGetNumberOfDevices  3\r\n"));
        EXPECT_EQ(recording.calls({"MIDISend"}), Lines{});
    }
}

TEST_F(DeviceScan, machine_behind_other_devices_is_found) {
    const MIDIObjectRef other = recording.add_device({.name = "a", .model = "b"});
    recording.devices = {other, other, device_};
    EXPECT_EQ(send(0xB0, 1, 0x10, 0x22), 0);
    EXPECT_EQ(recording.calls({"MIDISend"}).size(), 20U);
}

TEST_F(DeviceScan, right_name_with_another_model_is_not_the_machine) {
    recording.objects[device_].model = "controller";
    EXPECT_EQ(probe(), 1);
    recording.objects[device_].model = "4ACCF4C";
    EXPECT_EQ(probe(), 1);
}

TEST_F(DeviceScan, right_model_with_another_name_is_not_the_machine) {
    recording.objects[device_].name = "controller";
    EXPECT_EQ(probe(), 1);
}

// A missing text leaves the previous device's, which then counts as this one's.
TEST_P(DeviceSearch, missing_model_is_compared_with_the_device_before) {
    recording.objects[device_].name = "another";
    recording.add_device({.name = "4ACCF4C4 again"});
    EXPECT_EQ(outcome_of_type(0xFF).first, 0);
    EXPECT_STREQ(manuf, "maker");
    EXPECT_EQ(recording.calls({"MIDIGetDevice"}).size(), 2U);
}

TEST_F(DeviceScan, missing_name_is_compared_with_the_device_before) {
    recording.objects[device_].model = "another";
    recording.add_device({.model = "4ACCF4C4"});
    EXPECT_EQ(probe(), 0);
}

TEST_F(DeviceScan, texts_of_an_earlier_scan_count_for_a_device_without_any) {
    EXPECT_EQ(probe(), 0);
    recording.add_device({});
    recording.devices = {recording.devices[1]};
    EXPECT_EQ(probe(), 0);
    EXPECT_EQ(recording.calls({"CFStringGetCString", "CFRelease"}), Lines{});
    EXPECT_STREQ(name, "4ACCF4C4");
}

// An index behind the list is no object. It answers nothing and leaves every text.
TEST_F(DeviceScan, device_that_went_meanwhile_leaves_every_text) {
    recording.device_count = 2;
    recording.objects[device_].name = "another";
    EXPECT_EQ(probe(), 1);
    EXPECT_EQ(recording.calls({"MIDIObjectGetStringProperty"}).back(),
              "MIDIObjectGetStringProperty nothing, model, into pmodel");
    EXPECT_STREQ(name, "another");
}

TEST_F(DeviceScan, device_names_are_not_cut_to_eight_characters) {
    recording.objects[device_].name = "4ACCF4C4" + std::string(80, 'n');
    recording.objects[device_].manufacturer = std::string(80, 'm');
    EXPECT_EQ(probe(), 0);
    EXPECT_EQ(std::string(name), "4ACCF4C4" + std::string(55, 'n'));
    EXPECT_EQ(std::string(manuf), std::string(63, 'm'));
}

TEST_P(DeviceSearch, count_is_a_signed_32_bit_number_printed_in_hexadecimal) {
    const std::pair<ItemCount, const char*> none[] = {
        {0xFFFFFFFF, "ffffffff"}, {0x80000000, "80000000"}, {0x100000000, "0"}};
    for (const auto& [count, digits] : none) {
        recording.device_count = count;
        for (const int type : {0xFF, 0xB0}) {
            EXPECT_THAT(outcome_of_type(static_cast<std::uint8_t>(type)),
                        Pair(0, std::string("send_midi_out_data\r\n MIDIGetNumberOfDevices  ") +
                                    digits + "\r\n"));
            EXPECT_EQ(recording.calls({"MIDIGetDevice"}), Lines{});
        }
    }
    recording.device_count = 0x100000001;
    EXPECT_EQ(outcome_of_type(0xFF).second, scan_of_one + "no macthing name B \r\n");
    EXPECT_EQ(outcome_of_type(0xB0).first, 0);
    EXPECT_EQ(recording.calls({"MIDISend"}).size(), GetParam().sends);
}

TEST_F(DeviceScan, forty_three_devices_are_printed_as_2b) {
    recording.objects[device_].name = "another";
    for (int i = 1; i < 43; ++i)
        recording.add_device({.name = "x", .model = "y"});
    EXPECT_EQ(printed_by([] { send_midi_out_data(0xB0, 1, 0, 0); }),
              "send_midi_out_data\r\n MIDIGetNumberOfDevices  2b\r\n");
    EXPECT_EQ(recording.calls({"MIDIGetDevice"}).size(), 43U);
}

TEST_F(DeviceScan, every_type_and_channel_makes_its_status) {
    for (unsigned type = 0; type < 0xFF; ++type)
        for (unsigned channel = 1; channel <= 16; ++channel) {
            recording.send_statuses.clear();
            echo_in_the_long_pause(
                {static_cast<std::uint8_t>((type & 0xF0) | (channel - 1)), 1, 2});
            send(static_cast<std::uint8_t>(type), static_cast<std::uint8_t>(channel), 1, 2);
            const unsigned status = (type & 0xF0) + channel - 1;
            ASSERT_EQ(expected_echo(), (std::array{static_cast<int>(status), 1, 2})) << type;
            ASSERT_EQ(recording.calls({"MIDISend"}).size(), 10U);
        }
}

TEST_F(DeviceScan, channel_zero_wraps_to_the_sixteenth) {
    send(0xB0, 0, 1, 2);
    EXPECT_EQ(expected_echo(), (std::array{0xBF, 1, 2}));
    send(0xB0, 17, 1, 2);
    EXPECT_EQ(expected_echo(), (std::array{0xB0, 1, 2}));
    send(0xB0, 255, 1, 2);
    EXPECT_EQ(expected_echo(), (std::array{0xBE, 1, 2}));
}

TEST_F(DeviceScan, data_bytes_are_taken_whole_and_unsigned) {
    echo_in_the_long_pause({0x9F, 0xFF, 0x80});
    send(0x9A, 16, 0xFF, 0x80);
    EXPECT_EQ(recording.calls({"MIDISend"}), sequence_sends(0x9F, 0xFF, 0x80));
    send(0x90, 1, 0x80, 0xFF);
    EXPECT_EQ(expected_echo(), (std::array{0x90, 0x80, 0xFF}));
}

TEST_F(DeviceScan, word_is_taken_apart_without_its_type_bits) {
    struct Word {
        std::uint8_t type;
        std::uint32_t word;
        std::array<int, 3> message;
    };
    static constexpr Word words[] = {
        {0xB0, 0x002210B0, {0xB0, 0x10, 0x22}}, {0xB0, 0x0022109F, {0xBF, 0x10, 0x22}},
        {0x93, 0xFF0000F5, {0x95, 0x00, 0x00}}, {0xAF, 0xEE7F80A0, {0xA0, 0x80, 0x7F}},
        {0xFF, 0x00FFFFFF, {0xFF, 0xFF, 0xFF}},
    };
    for (const Word& each : words) {
        EXPECT_EQ(quietly([&] { return midiOutShortMsg(each.type, each.word); }), 0);
        EXPECT_EQ(expected_echo(), each.message) << std::hex << each.word;
    }
    EXPECT_EQ(recording.calls({"MIDIGetNumberOfDevices"}), Lines{});
}

TEST_F(DeviceScan, taking_a_word_apart_prints_nothing_and_gives_the_sends_result) {
    recording.destinations.clear();
    EXPECT_THAT(outcome_of([&] { return midiOutShortMsg(0xB0, 0x002210B0); }),
                Pair(1, "MIDIGetNumberOfDestinations 0 \r\nMIDIGetNumberOfDestinations 0 \r\n"));
}

TEST_F(DeviceScan, output_scratch_is_not_touched) {
    fill(midiout_databuffer, 0x5A);
    send(0xB0, 1, 2, 3);
    EXPECT_TRUE(is_filled(midiout_databuffer, 0x5A));
}

class NameJudge : public DeviceLayerTest {
protected:
    static void fill(const std::string& device, const std::string& in_name,
                     const std::string& in_model) {
        set_current_name(device);
        std::memset(name, 0, sizeof name);
        std::memset(model, 0, sizeof model);
        in_name.copy(name, sizeof name);
        in_model.copy(model, sizeof model);
    }
};

TEST_F(NameJudge, three_equal_names_are_the_machine) {
    fill("4ACCF4C4", "4ACCF4C4", "4ACCF4C4");
    EXPECT_EQ(midi_device_name_judge(), 1);
}

TEST_F(NameJudge, what_follows_the_eighth_byte_does_not_count) {
    fill("4ACCF4C4", "4ACCF4C4 MIDI 1", "4ACCF4C4 controller");
    device_name[8] = 'x';
    EXPECT_EQ(midi_device_name_judge(), 1);
}

// The value of each of the three at each position, high bytes included.
TEST_F(NameJudge, a_difference_at_any_position_of_any_of_the_three_is_another_machine) {
    for (std::size_t position = 0; position < 8; ++position)
        for (const char other : {'\0', 'x', static_cast<char>(0xCC)}) {
            for (const auto& [changed, which] : {std::pair{model, "model"}, std::pair{name, "name"},
                                                 std::pair{device_name, "device_name"}}) {
                fill("4ACCF4C4", "4ACCF4C4", "4ACCF4C4");
                changed[position] = other;
                EXPECT_EQ(midi_device_name_judge(), 0) << which << ' ' << position;
            }
        }
}

// Seven of the name's and seven of the model's bytes do not add up to eight.
TEST_F(NameJudge, differences_at_different_positions_do_not_make_up_for_each_other) {
    fill("4ACCF4C4", "4ACCF4Cx", "xACCF4C4");
    EXPECT_EQ(midi_device_name_judge(), 0);
}

TEST_F(NameJudge, bytes_after_a_terminator_take_part) {
    const std::string text("4A\0XYZ12", 8);
    for (char* const changed : {name, model, device_name}) {
        fill(text, text, text);
        EXPECT_EQ(midi_device_name_judge(), 1);
        changed[7] = 'x';
        EXPECT_EQ(midi_device_name_judge(), 0);
    }
}

TEST_F(NameJudge, empty_buffers_agree) {
    EXPECT_EQ(midi_device_name_judge(), 1);
}

TEST_F(NameJudge, the_manufacturer_does_not_count_and_nothing_is_printed) {
    fill("4ACCF4C4", "4ACCF4C4", "4ACCF4C4");
    std::memset(manuf, 'x', sizeof manuf);
    EXPECT_EQ(printed_by([] { EXPECT_EQ(midi_device_name_judge(), 1); }), "");
    EXPECT_EQ(recording.journal, Lines{});
}

} // namespace
