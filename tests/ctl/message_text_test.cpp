// SPDX-License-Identifier: MIT
#include "ctl/message_text.h"

#include <gtest/gtest.h>

namespace {

using Bytes = std::vector<std::uint8_t>;

std::string text(const Bytes& bytes) {
    const auto reading = read_message(bytes);
    return reading ? reading->text() : "";
}

TEST(MessageText, ReadsEachChannelMessage) {
    EXPECT_EQ(text({0x80, 60, 64}), "Note Off, channel 1, note 60, velocity 64");
    EXPECT_EQ(text({0x99, 36, 100}), "Note On, channel 10, note 36, velocity 100");
    EXPECT_EQ(text({0xAF, 127, 1}), "Key Pressure, channel 16, note 127, pressure 1");
    EXPECT_EQ(text({0xB0, 7, 0}), "Control Change, channel 1, controller 7, value 0");
    EXPECT_EQ(text({0xC3, 5}), "Program Change, channel 4, program 5");
    EXPECT_EQ(text({0xD0, 90}), "Channel Pressure, channel 1, pressure 90");
    EXPECT_EQ(text({0xE1, 0, 64}), "Bend Change, channel 2, position 0");
    EXPECT_EQ(text({0xE0, 0, 0}), "Bend Change, channel 1, position -8192");
    EXPECT_EQ(text({0xE0, 127, 127}), "Bend Change, channel 1, position 8191");
    EXPECT_EQ(text({0xE0, 1, 64}), "Bend Change, channel 1, position 1");
}

TEST(MessageText, ReadsEachSystemMessage) {
    EXPECT_EQ(text({0xF0, 0x7E, 0xF7}), "System Exclusive");
    EXPECT_EQ(text({0xF0, 0x7E, 0x7F}), "System Exclusive");
    EXPECT_EQ(text({0xF1, 3}), "Time Code, quarter frame 3");
    EXPECT_EQ(text({0xF2, 1, 2}), "Song Position, position 257");
    EXPECT_EQ(text({0xF3, 9}), "Song Select, song 9");
    EXPECT_EQ(text({0xF6}), "Tune Request");
    EXPECT_EQ(text({0xFA}), "Start");
    EXPECT_EQ(text({0xFB}), "Continue");
    EXPECT_EQ(text({0xFC}), "Stop");
    EXPECT_EQ(text({0xFF}), "Reset");
}

TEST(MessageText, LeavesOutClocksAndActiveSensing) {
    EXPECT_EQ(text({0xF8}), "");
    EXPECT_EQ(text({0xFE}), "");
}

TEST(MessageText, ReadsNothingIntoWhatIsNoMessage) {
    for (const Bytes& bytes : std::vector<Bytes>{{},
                                                 {0x01, 0x02},
                                                 {0xF7},
                                                 {0x90},
                                                 {0x90, 1},
                                                 {0x90, 1, 2, 3},
                                                 {0x90, 0x80, 0},
                                                 {0xC0, 1, 2},
                                                 {0xE0, 1},
                                                 {0xF2, 1},
                                                 {0xF4},
                                                 {0xF5},
                                                 {0xF9},
                                                 {0xFD},
                                                 {0xFA, 0}})
        EXPECT_EQ(text(bytes), "") << hex_text(bytes);
}

TEST(MessageText, ShowsBytesAsTwoDigitsEach) {
    EXPECT_EQ(hex_text(Bytes{0xB0, 0x07, 0x0C}), "B0 07 0C");
    EXPECT_EQ(hex_text(Bytes{}), "");
}

} // namespace
