// SPDX-License-Identifier: MIT
#include "protocol/device_code.h"

#include <cstdio>

#include <gtest/gtest.h>

namespace {

using namespace protocol;

static_assert(family_size == 16);
static_assert(family_code(0) == 0x4AC0F4C4);
static_assert(family_code(12) == 0x4ACCF4C4);
static_assert(family_code(15) == 0x4ACFF4C4);
static_assert(family_number(0x4AC5F4C4) == 5U);
static_assert(!family_number(0x16C5F4C4));
static_assert(parse_code("4ACCF4C4") == 0x4ACCF4C4U);
static_assert(carries("4ACCF4C4 MIDI 1", 0x4ACCF4C4));

std::string formatted(std::uint32_t code) {
    char text[9];
    std::snprintf(text, sizeof text, "%08X", code);
    return text;
}

TEST(DeviceCode, SixteenMachinesHaveTheNamesOfTheFamily) {
    const std::array<const char*, family_size> names = {
        "4AC0F4C4", "4AC1F4C4", "4AC2F4C4", "4AC3F4C4", "4AC4F4C4", "4AC5F4C4",
        "4AC6F4C4", "4AC7F4C4", "4AC8F4C4", "4AC9F4C4", "4ACAF4C4", "4ACBF4C4",
        "4ACCF4C4", "4ACDF4C4", "4ACEF4C4", "4ACFF4C4"};
    for (std::uint32_t number = 0; number < family_size; ++number) {
        EXPECT_EQ(code_text(family_code(number)), names[number]);
        EXPECT_EQ(parse_code(names[number]), family_code(number));
        EXPECT_EQ(family_number(family_code(number)), number);
    }
}

// Every high half with the family's low half, and every low half with a high half of the family.
TEST(DeviceCode, NoOtherCodeIsOfTheFamily) {
    unsigned members = 0;
    for (std::uint32_t half = 0; half <= 0xFFFF; ++half) {
        const auto by_high_half = family_number(half << 16 | 0xF4C4);
        ASSERT_EQ(by_high_half.has_value(), half >= 0x4AC0 && half <= 0x4ACF) << half;
        members += by_high_half.has_value();
        const auto by_low_half = family_number(0x4AC50000 | half);
        ASSERT_EQ(by_low_half.has_value(), half == 0xF4C4) << half;
    }
    EXPECT_EQ(members, 16U);
}

TEST(DeviceCode, TextIsEightUpperCaseDigitsAndIsReadBack) {
    for (std::uint32_t half = 0; half <= 0xFFFF; ++half) {
        for (const std::uint32_t code : {half << 16 | 0xF4C4, 0x4AC00000 | half, half}) {
            const std::string text = code_text(code);
            ASSERT_EQ(text, formatted(code));
            ASSERT_EQ(parse_code(text), code);
        }
    }
}

// Every byte in every place: a digit of either case, or no code.
TEST(DeviceCode, OnlyDigitsAreRead) {
    for (std::size_t place = 0; place < code_digits; ++place) {
        for (int byte = 0; byte < 256; ++byte) {
            std::string text = "4ACCF4C4";
            text[place] = static_cast<char>(byte);
            const std::string digits = "0123456789ABCDEFabcdef";
            const std::size_t at = digits.find(text[place]);
            std::optional<std::uint32_t> expected;
            if (at != std::string::npos) {
                const unsigned shift = 28 - 4 * static_cast<unsigned>(place);
                const auto value = static_cast<std::uint32_t>(at < 16 ? at : at - 6);
                expected = (0x4ACCF4C4U & ~(0xFU << shift)) | value << shift;
            }
            ASSERT_EQ(parse_code(text), expected) << place << ' ' << byte;
        }
    }
}

TEST(DeviceCode, OnlyEightDigitsAreACode) {
    for (std::size_t length = 0; length < 20; ++length)
        EXPECT_EQ(parse_code(std::string(length, '0')).has_value(), length == 8) << length;
    for (const char* text : {" 4ACCF4C", "4ACCF4C ", "+4ACCF4C", "-4ACCF4C", "0x4ACCF4",
                             "4ACCF4C4 ", " 4ACCF4C4", "4ACCF4C4 MIDI 1"})
        EXPECT_FALSE(parse_code(text)) << text;
}

TEST(DeviceCode, NameCarriesTheCodeInItsFirstEightBytes) {
    for (const char* name : {"4ACCF4C4", "4ACCF4C4 MIDI 1", "4ACCF4C4x", "4ACCF4C44ACCF4C5"})
        EXPECT_TRUE(carries(name, 0x4ACCF4C4)) << name;
    EXPECT_TRUE(carries(std::string_view{"4ACCF4C4\0x", 10}, 0x4ACCF4C4));
    for (const char* name : {"", "4ACCF4C", " 4ACCF4C4", "4accf4c4", "x4ACCF4C4"})
        EXPECT_FALSE(carries(name, 0x4ACCF4C4)) << name;
}

TEST(DeviceCode, NameThatDiffersInOneByteCarriesAnotherCodeOrNone) {
    for (std::size_t place = 0; place < code_digits; ++place) {
        for (int byte = 0; byte < 256; ++byte) {
            std::string name = "4ACCF4C4 MIDI 1";
            const bool same = name[place] == static_cast<char>(byte);
            name[place] = static_cast<char>(byte);
            ASSERT_EQ(carries(name, 0x4ACCF4C4), same) << place << ' ' << byte;
        }
    }
}

} // namespace
