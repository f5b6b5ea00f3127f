// SPDX-License-Identifier: MIT
#include "tests/device_layer/device_layer_test.h"

#include <cstring>

namespace {

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
            fill("4ACCF4C4", "4ACCF4C4", "4ACCF4C4");
            model[position] = other;
            EXPECT_EQ(midi_device_name_judge(), 0) << "model " << position;
            fill("4ACCF4C4", "4ACCF4C4", "4ACCF4C4");
            name[position] = other;
            EXPECT_EQ(midi_device_name_judge(), 0) << "name " << position;
            fill("4ACCF4C4", "4ACCF4C4", "4ACCF4C4");
            device_name[position] = other;
            EXPECT_EQ(midi_device_name_judge(), 0) << "device_name " << position;
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
