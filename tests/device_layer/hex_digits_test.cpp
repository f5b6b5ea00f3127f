// SPDX-License-Identifier: MIT
#include "tests/device_layer/device_layer_test.h"

#include <type_traits>

namespace {

// The value of a digit as a table, so that the tests share nothing with what they test.
unsigned digit_value(unsigned byte) {
    static const std::string upper = "0123456789ABCDEF";
    static const std::string lower = "0123456789abcdef";
    const auto character = static_cast<char>(byte);
    if (const auto at = upper.find(character); at != std::string::npos)
        return static_cast<unsigned>(at);
    if (const auto at = lower.find(character); at != std::string::npos)
        return static_cast<unsigned>(at);
    return 255;
}

class HexDigits : public DeviceLayerTest {};

TEST_F(HexDigits, every_byte_has_its_value_and_no_digit_is_255) {
    unsigned digits = 0;
    for (unsigned byte = 0; byte < 256; ++byte) {
        EXPECT_EQ(CharToHex(static_cast<std::uint8_t>(byte)), digit_value(byte)) << byte;
        digits += digit_value(byte) != 255;
    }
    EXPECT_EQ(digits, 22U);
}

TEST_F(HexDigits, letters_count_in_both_cases) {
    EXPECT_EQ(CharToHex('f'), 15);
    EXPECT_EQ(CharToHex('F'), 15);
    EXPECT_EQ(CharToHex('a'), 10);
    EXPECT_EQ(CharToHex('A'), 10);
}

TEST_F(HexDigits, other_letters_spaces_and_high_bytes_are_255) {
    for (const char byte :
         {'G', 'g', ' ', '/', ':', '@', '`', '\0', '\x80', '\xB0', '\xC1', '\xFF'})
        EXPECT_EQ(CharToHex(static_cast<std::uint8_t>(byte)), 255) << byte;
}

TEST_F(HexDigits, two_digits_compound_to_a_signed_byte) {
    static_assert(std::is_same_v<decltype(two_hex_compound('F', 'F')), std::int8_t>);
    EXPECT_EQ(two_hex_compound('F', 'F'), -1);
    EXPECT_EQ(two_hex_compound('4', 'A'), 0x4A);
    EXPECT_EQ(two_hex_compound('8', '0'), -128);
    EXPECT_EQ(two_hex_compound('7', 'f'), 127);
}

TEST_F(HexDigits, every_pair_compounds_with_255_for_what_is_no_digit) {
    for (unsigned hi = 0; hi < 256; ++hi)
        for (unsigned lo = 0; lo < 256; ++lo) {
            const unsigned byte = (digit_value(hi) * 16 | digit_value(lo)) & 0xFF;
            const auto compound =
                two_hex_compound(static_cast<std::uint8_t>(hi), static_cast<std::uint8_t>(lo));
            ASSERT_EQ(static_cast<std::uint8_t>(compound), byte) << hi << ' ' << lo;
        }
}

TEST_F(HexDigits, halves_and_code_are_read_back_from_the_name) {
    set_current_name("4ACCF4C4");
    set_usb_id();
    expect_halves(0x4ACC, 0xF4C4);
}

TEST_F(HexDigits, lower_case_names_read_back_too) {
    set_current_name("89abcdef");
    set_usb_id();
    EXPECT_EQ(VID_PID_val, 0x89ABCDEFU);
}

TEST_F(HexDigits, empty_name_gives_halves_of_ones) {
    set_usb_id();
    expect_halves(0xFFFF, 0xFFFF);
}

TEST_F(HexDigits, terminator_in_the_name_goes_in_unmasked) {
    set_current_name("4AC");
    set_usb_id();
    expect_halves(0x4AFF, 0xFFFF);
}

TEST_F(HexDigits, only_eight_characters_count_and_the_name_stays) {
    set_current_name("1234567890ABCDEF");
    set_usb_id();
    EXPECT_EQ(VID_PID_val, 0x12345678U);
    EXPECT_STREQ(device_name, "1234567890ABCDEF");
}

// Each position with every byte: where the 255 lands, and that high bytes are not sign-extended.
TEST_F(HexDigits, every_byte_at_every_position_goes_in_unmasked) {
    const std::string digits = "12345678";
    for (std::size_t position = 0; position < 8; ++position)
        for (unsigned byte = 0; byte < 256; ++byte) {
            std::string text = digits;
            text[position] = static_cast<char>(byte);
            set_current_name(text);
            set_usb_id();
            unsigned halves[2] = {0, 0};
            for (std::size_t i = 0; i < 8; ++i)
                halves[i / 4] |= digit_value(static_cast<std::uint8_t>(text[i]))
                                 << (12 - 4 * (i % 4));
            ASSERT_EQ(VID_val, halves[0] & 0xFFFF) << position << ' ' << byte;
            ASSERT_EQ(PID_val, halves[1] & 0xFFFF) << position << ' ' << byte;
            ASSERT_EQ(VID_PID_val, (halves[0] & 0xFFFF) << 16 | (halves[1] & 0xFFFF));
        }
}

TEST_F(HexDigits, debug_text_is_printed_only_with_the_flag_set) {
    EXPECT_EQ(printed_by([] { debug_printf("text"); }), "");
    debug_flag = 1;
    EXPECT_EQ(printed_by([] { debug_printf("100 %s %d"); }), "\r\nDEBUG: 100 %s %d\r\n");
    debug_flag = 0xFF;
    EXPECT_EQ(printed_by([] { debug_printf(""); }), "\r\nDEBUG: \r\n");
}

} // namespace
