// SPDX-License-Identifier: MIT
#include "ctl/argument_values.h"

#include "protocol/device_code.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using protocol::MessageType;
using testing::ElementsAre;

/// The sentence of the mistake in an argument, or "" when there is none.
std::string mistake(const std::function<void()>& read) {
    try {
        read();
    } catch (const WrongArguments& error) {
        return error.what();
    }
    return "";
}

TEST(NumberArgument, TakesBothEndsOfItsRangeAndLeadingZeros) {
    EXPECT_EQ(number_argument("PART", "0", 0, 127), 0);
    EXPECT_EQ(number_argument("PART", "127", 0, 127), 127);
    EXPECT_EQ(number_argument("PART", "012", 0, 127), 12);
}

TEST(NumberArgument, NamesArgumentValueAndRangeOfWhatItRefuses) {
    for (const char* const text : {"", " 1", "1 ", "+1", "-1", "-0", "128", "1.0", "0x10", "1e1",
                                   "x", "99999999999999999999", "-", "\xEF\xBC\x91"}) {
        EXPECT_EQ(mistake([&] { (void)number_argument("PART", text, 0, 127); }),
                  "PART is \"" + std::string(text) +
                      "\": it has to be a whole number from 0 to 127");
    }
    EXPECT_EQ(mistake([&] { (void)number_argument("CHANNEL", "17", 1, 16); }),
              "CHANNEL is \"17\": it has to be a whole number from 1 to 16");
    EXPECT_EQ(mistake([&] { (void)number_argument("CHANNEL", "0", 1, 16); }),
              "CHANNEL is \"0\": it has to be a whole number from 1 to 16");
}

TEST(NumberArgument, RefusesAZeroByteBehindTheNumber) {
    EXPECT_THROW((void)number_argument("PART", std::string_view("1\0", 2), 0, 127), WrongArguments);
}

TEST(TypeArgument, KnowsTheWindowsNamesAndTheShortOnesInAnyCase) {
    const std::vector<std::pair<const char*, MessageType>> names = {
        {"Note On", MessageType::note_on},
        {"Note Off", MessageType::note_off},
        {"Control Change", MessageType::control_change},
        {"Bend Change", MessageType::bend_change},
        {"note-on", MessageType::note_on},
        {"note-off", MessageType::note_off},
        {"control-change", MessageType::control_change},
        {"cc", MessageType::control_change},
        {"bend-change", MessageType::bend_change},
        {"bend", MessageType::bend_change},
        {"NOTE ON", MessageType::note_on},
        {"cC", MessageType::control_change},
        {"CONTROL-CHANGE", MessageType::control_change},
        {"Bend", MessageType::bend_change},
    };
    for (const auto& [name, type] : names)
        EXPECT_EQ(type_argument(name), type) << name;
}

TEST(TypeArgument, RefusesEverythingElse) {
    for (const char* const text : {"", "note", "note_on", "noteon", "cc ", " cc", "note on on",
                                   "program change", "0", "cc\xC4\xB0"}) {
        EXPECT_EQ(mistake([&] { (void)type_argument(text); }),
                  "TYPE is \"" + std::string(text) +
                      "\": it has to be note-on, note-off, control-change (or cc) or bend-change "
                      "(or bend)");
    }
}

TEST(MachineArgument, TakesACodeInEitherCase) {
    EXPECT_EQ(machine_argument("4AC5F4C4"), (MachineChoice{.code = 0x4AC5F4C4}));
    EXPECT_EQ(machine_argument("00c0ffee"), (MachineChoice{.code = 0x00C0FFEE}));
}

TEST(MachineArgument, TakesThePortToSendTo) {
    EXPECT_EQ(machine_argument("4AC5F4C4@24:0"),
              (MachineChoice{.code = 0x4AC5F4C4, .port = setup::PortAddress{24, 0}}));
    EXPECT_EQ(machine_argument("4AC5F4C4@255:255"),
              (MachineChoice{.code = 0x4AC5F4C4, .port = setup::PortAddress{255, 255}}));
}

TEST(MachineArgument, SaysWhatIsWrong) {
    const std::string no_code = ", which is no device code: that has eight hexadecimal digits, "
                                "such as 4AC5F4C4";
    const std::vector<std::pair<std::string, std::string>> mistakes = {
        {"", "-m names \"\"" + no_code},
        {"4AC5F4C", "-m names \"4AC5F4C\"" + no_code},
        {"4AC5F4C4 ", "-m names \"4AC5F4C4 \"" + no_code},
        {"0x4AC5F4", "-m names \"0x4AC5F4\"" + no_code},
        {"@24:0", "-m names \"\"" + no_code},
        {"4AC5F4C4@", "-m names the port \"\": it has to be CLIENT:PORT, such as 24:0"},
        {"4AC5F4C4@24", "-m names the port \"24\": it has to be CLIENT:PORT, such as 24:0"},
        {"4AC5F4C4@24:256", "PORT of -m is \"256\": it has to be a whole number from 0 to 255"},
        {"4AC5F4C4@256:0", "CLIENT of -m is \"256\": it has to be a whole number from 0 to 255"},
        {"4AC5F4C4@24:-1", "PORT of -m is \"-1\": it has to be a whole number from 0 to 255"},
        {"4AC5F4C4@24:0:0", "PORT of -m is \"0:0\": it has to be a whole number from 0 to 255"},
        {"4AC5F4C4@:0", "CLIENT of -m is \"\": it has to be a whole number from 0 to 255"},
    };
    for (const auto& [text, sentence] : mistakes)
        EXPECT_EQ(mistake([&name = text] { (void)machine_argument(name); }), sentence);
}

TEST(DemoArgument, TakesCodesOneByOneOrAllOfTheFamily) {
    EXPECT_THAT(demo_argument("4AC5F4C4"), ElementsAre(0x4AC5F4C4));
    EXPECT_THAT(demo_argument("4AC5F4C4,4ac0f4c4,4AC5F4C4"),
                ElementsAre(0x4AC5F4C4, 0x4AC0F4C4, 0x4AC5F4C4));
    const auto all = demo_argument("all");
    ASSERT_EQ(all.size(), 16U);
    EXPECT_EQ(all.front(), 0x4AC0F4C4U);
    EXPECT_EQ(all.back(), 0x4ACFF4C4U);
}

TEST(DemoArgument, RefusesAnEmptyCode) {
    for (const char* const text : {"", ",", "4AC5F4C4,", ",4AC5F4C4", "4AC5F4C4,,4AC5F4C4"}) {
        EXPECT_EQ(mistake([&] { (void)demo_argument(text); }),
                  "--demo names \"\", which is no device code: that has eight hexadecimal digits, "
                  "such as 4AC5F4C4")
            << text;
    }
}

} // namespace
