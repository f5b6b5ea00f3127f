// SPDX-License-Identifier: MIT
#include "tests/screen/controller_fixture.h"

using namespace std::string_literals;

/// The lines between the probe and the command, for a menu text and no machine.
class MachineText : public ScreenActions {
protected:
    std::string choice_lines(const std::string& menu) {
        fake_device = {};
        screen_.machine_type_menu_string = menu;
        const std::string text = apply();
        const std::string before = up_to_the_choice();
        const std::string after = printed(command_call(0, 0xB0, 0)) + "0\n";
        EXPECT_TRUE(text.starts_with(before)) << menu;
        EXPECT_TRUE(text.ends_with(after)) << menu;
        EXPECT_EQ(screen_.machine_type_menu_string, menu);
        return text.substr(before.size(), text.size() - before.size() - after.size());
    }
};

TEST_F(MachineText, EveryEntryOfTheMenuGivesItsCodeWithTheTopByte16) {
    const std::string digits = "0123456789ABCDEF";
    for (std::size_t i = 0; i < 16; ++i) {
        const std::string& menu = machine_type_array.at(i);
        EXPECT_EQ(choice_lines(menu), manual_choice(menu, digits[i]));
    }
}

TEST_F(MachineText, LowerCaseDigitInTheMiddleParses) {
    EXPECT_EQ(choice_lines("4ACaF4C4"), manual_choice("4ACaF4C4", 'A'));
    EXPECT_EQ(choice_lines("4ACfF4C4"), manual_choice("4ACfF4C4", 'F'));
}

TEST_F(MachineText, LeadingZerosInTheMiddleParse) {
    EXPECT_EQ(choice_lines("4AC05F4C4"), manual_choice("4AC05F4C4", '5'));
    EXPECT_EQ(choice_lines("4AC0000000FF4C4"), manual_choice("4AC0000000FF4C4", 'F'));
    EXPECT_EQ(choice_lines("4AC00000000000000000000CF4C4"),
              manual_choice("4AC00000000000000000000CF4C4", 'C'));
}

TEST_F(MachineText, SevenCharactersHaveAnEmptyMiddle) {
    EXPECT_EQ(choice_lines("4ACF4C4"), invalid_middle);
}

TEST_F(MachineText, MiddleAboveFifteenIsInvalid) {
    EXPECT_EQ(choice_lines("4AC10F4C4"), invalid_middle);
    EXPECT_EQ(choice_lines("4ACFFF4C4"), invalid_middle);
    EXPECT_EQ(choice_lines("4ACF4C4F4C4"), invalid_middle);
    EXPECT_EQ(choice_lines("4AC80000000F4C4"), invalid_middle);
    EXPECT_EQ(choice_lines("4ACFFFFFFFFF4C4"), invalid_middle);
}

TEST_F(MachineText, MiddleThatOverflows32BitsIsInvalidAndDoesNotWrap) {
    EXPECT_EQ(choice_lines("4AC100000005F4C4"), invalid_middle);
    EXPECT_EQ(choice_lines("4AC10000000000000005F4C4"), invalid_middle);
    EXPECT_EQ(choice_lines("4AC" + std::string(100, 'F') + "F4C4"), invalid_middle);
}

TEST_F(MachineText, MiddleWithAnythingButDigitsIsInvalid) {
    for (const std::string& middle :
         {"+5"s, "-0"s, "-5"s,  " 5"s,    "5 "s, "0x5"s, "5h"s, "G"s, "\t5"s, "5\n"s, "５"s,
          "."s,  "\0"s, "5\0"s, "\0005"s, "'"s,  "@"s,   "`"s,  "g"s, "/"s,   ":"s})
        EXPECT_EQ(choice_lines("4AC" + middle + "F4C4"), invalid_middle) << middle;
}

TEST_F(MachineText, OtherBeginningIsAnInvalidMachine) {
    for (const char* menu :
         {"5AC0F4C4", "4AB0F4C4", "4BC0F4C4", "4ac0F4C4", " 4AC0F4C4", "F4C4", "AC0F4C4", "C4F4C4"})
        EXPECT_EQ(choice_lines(menu), invalid_machine) << menu;
}

TEST_F(MachineText, OtherEndIsAnInvalidMachine) {
    for (const char* menu : {"4AC0F4C5", "4AC0F4C4 ", "4AC0f4c4", "4AC0F4C", "4AC0", "4AC",
                             "4AC0E4C4", "4AC0F4D4", "4AC0F5C4", "4AC4C4", "4ACC4", "4AC4"})
        EXPECT_EQ(choice_lines(menu), invalid_machine) << menu;
}

TEST_F(MachineText, EmptyAndShortTextsAreInvalidMachines) {
    for (const std::string& menu :
         {""s, "4"s, "4A"s, "F4C"s, "\0"s, "设备型号"s, "4AC5F4C4\0"s, "\0004AC5F4C4"s})
        EXPECT_EQ(choice_lines(menu), invalid_machine) << menu;
}

TEST_F(MachineText, LongTextIsReadAsAnyOther) {
    const std::string menu = "4AC" + std::string(10'000, '0') + "3F4C4";
    EXPECT_EQ(choice_lines(menu), manual_choice(menu, '3'));
    EXPECT_EQ(choice_lines(std::string(10'000, '4')), invalid_machine);
}
