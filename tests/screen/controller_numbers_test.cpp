// SPDX-License-Identifier: MIT
#include "tests/screen/controller_fixture.h"
#include "tests/screen/throwing_stop.h"

#include <optional>

using namespace std::string_literals;

namespace {

constexpr const char* nil_message = "Unexpectedly found nil while unwrapping an Optional value";

/// Texts that are no decimal number of 64 bits.
const std::vector<std::string> no_numbers{
    ""s, " "s, "+"s, "-"s, "--1"s, "++1"s, "+-1"s, "-+1"s, "1-"s, "1+"s, " 1"s, "1 "s, "- 1"s,
    "\t1"s, "1\n"s, "\n1"s, "1\r"s, "\v1"s, "\f1"s, "1\0"s, "\0"s, "\0001"s, "1\0002"s, "0x10"s,
    "0X10"s, "a"s, "f"s, "1a"s, "a1"s, "1.0"s, "1e1"s, "1,0"s, "1_0"s, "１"s, "٣"s, "一"s, "1/"s,
    "1:"s, "/1"s, ":1"s, "\xB1"s, "1\xFF"s, "−1"s, "nan"s, "inf"s,
    // Beyond 64 bits.
    "9223372036854775808"s, "+9223372036854775808"s, "-9223372036854775809"s,
    "18446744073709551616"s, "18446744073709551617"s, "-18446744073709551615"s,
    "99999999999999999999"s, "-99999999999999999999"s, "340282366920938463463374607431768211457"s};

} // namespace

/// Presses with one field set, the others at their initial values.
class Numbers : public ScreenActions {
protected:
    using Field = std::string ScreenState::*;

    static constexpr Field part = &ScreenState::hardware_part_number_code_string;
    static constexpr Field channel = &ScreenState::message_channel_menu_string;
    static constexpr Field controller = &ScreenState::message_controller_number_code_string;

    std::string apply_with(Field field, const std::string& text) {
        fake_device = {};
        screen_ = {};
        screen_.*field = text;
        return apply();
    }

    /// Which entry the program has to name when this field stops it.
    static FatalReason reason_of(Field field) {
        if (field == part)
            return FatalReason::part;
        return field == channel ? FatalReason::channel : FatalReason::controller;
    }

    /// The program stops because of this field, with this output before it.
    void expect_stop(Field field, const std::string& text, const std::string& output) {
        screen_ = {};
        screen_.*field = text;
        CapturedOutput captured;
        std::optional<FatalStop> caught;
        try {
            apply_action(screen_);
        } catch (const FatalStop& stop) {
            caught = stop;
        }
        EXPECT_EQ(captured.take(), output) << '"' << text << '"';
        EXPECT_FALSE(screen_.showAlert);
        ASSERT_TRUE(caught) << '"' << text << '"';
        EXPECT_STREQ(caught->what(), nil_message) << '"' << text << '"';
        EXPECT_EQ(caught->reason, reason_of(field)) << '"' << text << '"';
    }

    /// The program stops, and not one device was touched.
    void expect_early_stop(Field field, const std::string& text, const std::string& output) {
        fake_device = {};
        expect_stop(field, text, output);
        EXPECT_TRUE(fake_device.calls.empty());
    }

    /// The program stops behind the probe and the choice, before the command.
    void expect_late_stop(Field field, const std::string& text) {
        fake_device = {};
        fake_device.answers[5] = 1;
        expect_stop(field, text, up_to_the_choice() + automatic_choice('5'));
        EXPECT_EQ(screen_.machine_type_menu_string, "4AC5F4C4");
    }
};

TEST_F(Numbers, ControllerThatIsNoNumberStopsBeforeAnythingIsPrinted) {
    for (const std::string& text : no_numbers)
        expect_early_stop(controller, text, "");
}

TEST_F(Numbers, ChannelThatIsNoNumberStopsBeforeAnythingIsPrinted) {
    for (const std::string& text : no_numbers)
        expect_early_stop(channel, text, "");
}

TEST_F(Numbers, PartThatIsNoNumberStopsAfterTheTypeLine) {
    for (const std::string& text : no_numbers)
        expect_early_stop(part, text, "CONTROL_CHANGE\n");
}

TEST_F(Numbers, ControllerIsReadAsWrittenWithSignAndZeros) {
    for (const auto& [text, value] :
         std::vector<std::pair<std::string, unsigned>>{{"0", 0},
                                                       {"7", 7},
                                                       {"+5", 5},
                                                       {"-0", 0},
                                                       {"+0", 0},
                                                       {"0005", 5},
                                                       {"-00", 0},
                                                       {"00000000000000000000000000127", 127},
                                                       {"+000000000000000000000000255", 255},
                                                       {"15", 15},
                                                       {"16", 16},
                                                       {"99", 99},
                                                       {"127", 127},
                                                       {"128", 128},
                                                       {"255", 255}}) {
        static_cast<void>(apply_with(controller, text));
        EXPECT_EQ(fake_device.calls.back(), command_call(0, 0xB0, value)) << text;
        EXPECT_EQ(command_bytes(), (CommandBytes{0, 0xB0, value, value})) << text;
    }
}

TEST_F(Numbers, EveryPartAndControllerUpTo255GoesThrough) {
    for (unsigned value = 0; value <= 255; ++value) {
        static_cast<void>(apply_with(part, std::to_string(value)));
        EXPECT_EQ(fake_device.calls.back(), command_call(value, 0xB0, 0));
        EXPECT_EQ(c_arg_transfer_UInt8_1, value);
        EXPECT_EQ(screen_.showmessage, "旋钮" + std::to_string(value) + "--设置成功!");
        static_cast<void>(apply_with(controller, std::to_string(value)));
        EXPECT_EQ(fake_device.calls.back(), command_call(0, 0xB0, value));
    }
}

TEST_F(Numbers, PartZeroIsByteZero) {
    c_arg_transfer_UInt8_1 = 9;
    static_cast<void>(apply_with(part, "0"));
    EXPECT_EQ(c_arg_transfer_UInt8_1, 0);
    EXPECT_EQ(fake_device.calls.back(), command_call(0, 0xB0, 0));
}

TEST_F(Numbers, ControllerOutOf8BitsStopsAfterTheProbeAndTheChoice) {
    for (const char* text : {"256", "257", "-1", "-5", "-255", "-256", "65536", "4294967296",
                             "4294967301", "9223372036854775807", "-9223372036854775808"})
        expect_late_stop(controller, text);
}

TEST_F(Numbers, PartOutOf8BitsStopsAfterTheProbeAndTheChoice) {
    for (const char* text : {"256", "257", "-1", "-5", "-255", "-256", "65536", "4294967296",
                             "4294967301", "9223372036854775807", "-9223372036854775808"})
        expect_late_stop(part, text);
}

TEST_F(Numbers, ChannelAboveSixteenStopsAfterTheProbeAndTheChoice) {
    for (const char* text : {"17", "272", "4294967297", "72057594037927936"})
        expect_late_stop(channel, text);
}

TEST_F(Numbers, SmallestChannelDoesNotOverflow) {
    c_arg_transfer_UInt8_2 = 0x93;
    static_cast<void>(apply_with(channel, "-9223372036854775808"));
    EXPECT_EQ(fake_device.calls.back(), command_call(0, 0x93, 0));
}

TEST_F(Numbers, MappingOfAllFourFieldsGoesOutAsFourBytes) {
    screen_.hardware_part_number_code_string = "5";
    screen_.message_channel_menu_string = "1";
    screen_.message_type_menu_string = "Note On";
    screen_.message_controller_number_code_string = "7";
    static_cast<void>(apply());
    EXPECT_EQ(command_bytes(), (CommandBytes{0x05, 0x90, 0x07, 0x07}));
    EXPECT_EQ(fake_device.calls.back(), command_call(0x05, 0x90, 0x07));
    EXPECT_EQ(screen_.showmessage, "旋钮5--设置成功!");
}
