// SPDX-License-Identifier: MIT
#include "tests/screen/controller_fixture.h"
#include "tests/screen/throwing_stop.h"

using namespace std::string_literals;

/// Presses with a type and a channel, and gives the status byte that went out.
class StatusByte : public ScreenActions {
protected:
    unsigned status(std::string_view type, const std::string& channel) {
        fake_device = {};
        screen_.message_type_menu_string = type;
        screen_.message_channel_menu_string = channel;
        printed_ = apply();
        EXPECT_EQ(fake_device.calls.back(), command_call(0, c_arg_transfer_UInt8_2, 0));
        return c_arg_transfer_UInt8_2;
    }

    void expect_stop(std::string_view type, const std::string& channel) {
        EXPECT_THROW(static_cast<void>(status(type, channel)), FatalStop) << channel;
    }

    std::string printed_;
};

TEST_F(StatusByte, EveryTypeOnEveryChannelHasItsStatus) {
    struct Row {
        std::string type;
        unsigned nibble;
        std::string line;
    };
    const std::vector<Row> rows{
        {"Note On", 0x90, "NOTE_ON\n"},
        {"Note Off", 0x80, "NOTE_OFF\n"},
        {"Control Change", 0xB0, "CONTROL_CHANGE\n"},
        {"Bend Change", 0xE0, "BEND_CHANGE\n"},
        {"System Change", 0xB0, "default\n"},
        {"", 0xB0, "default\n"},
        {"anything else", 0xB0, "default\n"},
    };
    for (const Row& row : rows) {
        for (unsigned channel = 1; channel <= 16; ++channel) {
            EXPECT_EQ(status(row.type, std::to_string(channel)), row.nibble | (channel - 1))
                << row.type << ' ' << channel;
            EXPECT_TRUE(printed_.starts_with(row.line + printed(probe_call(0)))) << row.type;
        }
    }
}

TEST_F(StatusByte, TypeThatDiffersInTheLeastIsTheDefault) {
    for (const std::string& type :
         {"Note on"s,          "note On"s,     "NOTE ON"s,   "Note On "s,       " Note On"s,
          "Note  On"s,         "NoteOn"s,      "Note O"s,    "Note Onn"s,       "Note On\0"s,
          "NOTE_ON"s,          "Note off"s,    "Note Off "s, "control Change"s, "Control change"s,
          "Control Change\n"s, "Bend change"s, "Bend"s,      "Ｎote On"s,       "系统"s}) {
        EXPECT_EQ(status(type, "3"), 0xB2U) << type;
        EXPECT_TRUE(printed_.starts_with("default\n")) << type;
    }
}

TEST_F(StatusByte, ChannelZeroKeepsTheStatusBeforeInSilence) {
    ASSERT_EQ(status(NOTE_ON, "7"), 0x96U);
    EXPECT_EQ(status(BEND_CHANGE, "0"), 0x96U);
    EXPECT_EQ(printed_, "BEND_CHANGE\n" + probe_transcript() + manual_choice("4AC0F4C4", '0') +
                            "<usb_midi_main 00 96 00 00>\n0\n");
    EXPECT_EQ(screen_.showmessage, "旋钮0--设置成功!");
}

TEST_F(StatusByte, FirstPressWithChannelZeroSendsStatusZero) {
    EXPECT_EQ(status(CONTROL_CHANGE, "0"), 0U);
}

TEST_F(StatusByte, NegativeChannelKeepsTheStatusBefore) {
    ASSERT_EQ(status(NOTE_OFF, "16"), 0x8FU);
    for (const char* channel : {"-0", "-1", "-2", "-16", "-17", "-255", "-256", "-2147483648",
                                "-9223372036854775807", "-9223372036854775808"})
        EXPECT_EQ(status(NOTE_ON, channel), 0x8FU) << channel;
}

TEST_F(StatusByte, ChannelAboveSixteenIsFatal) {
    for (const char* channel :
         {"17", "18", "32", "256", "257", "65536", "2147483648", "4294967296", "4294967297"})
        expect_stop(NOTE_ON, channel);
}

// The type's digit and those of channel - 1 are read as one signed 64-bit number. Every type's
// digit has its highest bit set: the number fits with fourteen digits behind it, but not with
// fifteen.

TEST_F(StatusByte, LargestChannelThatStillParsesIsFatal) {
    for (const std::string_view type : {NOTE_ON, NOTE_OFF, CONTROL_CHANGE, BEND_CHANGE})
        expect_stop(type, "72057594037927936"); // ffffffffffffff
}

TEST_F(StatusByte, ChannelWhoseStatusOverflows64BitsKeepsTheStatusBefore) {
    ASSERT_EQ(status(BEND_CHANGE, "2"), 0xE1U);
    for (const std::string_view type : {NOTE_ON, NOTE_OFF, CONTROL_CHANGE, BEND_CHANGE})
        EXPECT_EQ(status(type, "72057594037927937"), 0xE1U); // 100000000000000
    EXPECT_EQ(status(NOTE_OFF, "1152921504606846976"), 0xE1U) << "fifteen digits, the last number";
    EXPECT_EQ(status(NOTE_ON, "1152921504606846977"), 0xE1U) << "sixteen digits";
    EXPECT_EQ(status(NOTE_ON, "9223372036854775807"), 0xE1U);
}

TEST_F(StatusByte, ChannelTextIsNotPadded) {
    EXPECT_EQ(status(NOTE_ON, "16"), 0x9FU);
    EXPECT_EQ(status(NOTE_ON, "0000000000000000000000016"), 0x9FU);
    EXPECT_EQ(status(NOTE_ON, "+16"), 0x9FU);
}
