// SPDX-License-Identifier: MIT
// Each thing that can be wrong in a layout, with its sentence.
#include "setup/layout.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

using setup::Layout;
using setup::LayoutFile;

namespace {

using Lines = std::vector<std::string>;

/// The mistakes of one file, or of two, without the file's name.
Lines mistakes_in(const std::string& content) {
    const std::array<LayoutFile, 1> files = {{{"a", content}}};
    const Layout layout = read_layout(files);
    EXPECT_TRUE(layout.machines.empty()) << "nothing of it may be sent";
    Lines lines;
    for (const setup::LayoutMistake& mistake : layout.mistakes)
        lines.push_back(mistake_line(mistake).substr(2));
    return lines;
}

/// The mistakes in a machine's table; the part's lines start with line 2.
Lines mistakes_of_parts(const std::string& content) {
    return mistakes_in("[4AC5F4C4]\n" + content);
}

/// A part whose values are these, in one line: the values start in column 6.
Lines mistakes_of_values(const std::string& values) {
    return mistakes_of_parts("1 = {" + values + "}\n");
}

Lines mistakes_of(const std::string& type, const std::string& channel,
                  const std::string& controller) {
    return mistakes_of_parts("[4AC5F4C4.1]\ntype = " + type + "\nchannel = " + channel +
                             "\ncontroller = " + controller + "\n");
}

const std::string good = "{ type = \"Note On\", channel = 1, controller = 7 }";
const std::string types = "\"Note On\", \"Note Off\", \"Control Change\" or \"Bend Change\"";

} // namespace

// --- what is no text, or says nothing ---

TEST(LayoutMistakes, EmptyFile) {
    for (const char* const content : {"", "\n", " \t\r\n\n"})
        EXPECT_EQ(mistakes_in(content), Lines{"1:1: the file is empty"});
}

TEST(LayoutMistakes, FileWithoutAMachine) {
    EXPECT_EQ(mistakes_in("# [4AC5F4C4]\n"),
              Lines{"1:1: there is no machine in the file, such as [4AC5F4C4]"});
    EXPECT_EQ(mistakes_in("\xEF\xBB\xBF"),
              Lines{"1:1: there is no machine in the file, such as [4AC5F4C4]"});
}

TEST(LayoutMistakes, EachFileNeedsAMachine) {
    const std::array<LayoutFile, 2> files = {{{"a", "[4AC5F4C4]\n1 = " + good}, {"b", "#"}}};
    const Layout layout = read_layout(files);
    ASSERT_EQ(layout.mistakes.size(), 1U);
    EXPECT_EQ(mistake_line(layout.mistakes[0]),
              "b:1:1: there is no machine in the file, such as [4AC5F4C4]");
    EXPECT_TRUE(layout.machines.empty());
}

TEST(LayoutMistakes, TextInUtf16) {
    const Lines utf16 = {"1:1: the file is in UTF-16: it has to be saved as UTF-8"};
    EXPECT_EQ(mistakes_in(std::string("\xFF\xFE[\0", 4)), utf16);
    EXPECT_EQ(mistakes_in(std::string("\xFE\xFF\0[", 4)), utf16);
}

TEST(LayoutMistakes, ZeroByte) {
    EXPECT_EQ(mistakes_in(std::string("\x7F"
                                      "ELF\n\x02\0",
                                      7)),
              Lines{"2:2: this is no text: a byte is zero"});
}

TEST(LayoutMistakes, BytesThatAreNoUtf8) {
    for (const char* const bytes :
         {"\xFF", "\x80", "\xC3", "\xC3(", "\xC0\x80", "\xE0\x9F\xBF", "\xED\xA0\x80", "\xE2\x82",
          "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF8\x88\x80\x80\x80"})
        EXPECT_EQ(mistakes_in("[4AC5F4C4]\n# \xC3\xA9" + std::string(bytes)),
                  Lines{"2:4: this is no text in UTF-8"});
}

TEST(LayoutMistakes, CharactersThatOnlyACommentCanHave) {
    for (const char* const text :
         {"\xC2\xA0", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF", "\xEE\x80\x80", "\xEF\xBF\xBF",
          "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"})
        EXPECT_EQ(mistakes_of_parts("# " + std::string(text) + "\n" + text),
                  Lines{"3:1: \"" + std::string(text) + "\" can stand in a comment only"});
    EXPECT_EQ(mistakes_in("\xEF\xBB\xBF\xC3\xA9"),
              Lines{"1:1: \"\xC3\xA9\" can stand in a comment only"});
    EXPECT_EQ(mistakes_in("# \xC3\xA9\n\xC2\x85"), Lines{"2:1: \"?\" can stand in a comment only"});
}

TEST(LayoutMistakes, CommentsAreToldFromTexts) {
    // Each text has an end, and what stands behind it is no comment, although there is a # in it.
    for (const char* const text :
         {R"('#')", R"("#")", R"("\"#")", R"("\\")", R"('\')", R"("")", R"('')", R"("""#""")",
          R"("""#"""")", R"("""#""""")", R"("""" # """)", R"("""\""" # """)", R"("""""")",
          R"('''#\''')", R"('''"#'''')", "\"\"\"\n#\n\"\"\"", "'#\n", "\"#\n"}) {
        const std::string before = std::string("x = ") + text;
        const Lines lines = mistakes_in(before + "\xC3\xA9 # \xC3\xA9");
        ASSERT_EQ(lines.size(), 1U) << text;
        EXPECT_TRUE(lines[0].ends_with(": \"\xC3\xA9\" can stand in a comment only"))
            << text << ": " << lines[0];
        const std::string behind = mistakes_in(before + " # \xC3\xA9").at(0);
        EXPECT_EQ(behind.find("comment only"), std::string::npos) << text << ": " << behind;
    }
}

// --- what is no TOML ---

TEST(LayoutMistakes, SyntaxErrorIsTheLibrarysAndComesAlone) {
    const Lines lines = mistakes_of_parts("knob = 1\n1 = { type = }\n300 = {}\n");
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_TRUE(lines[0].starts_with("3:14: ")) << lines[0];
    EXPECT_GT(lines[0].size(), 20U);
}

TEST(LayoutMistakes, KeyThatIsGivenTwice) {
    const Lines lines = mistakes_of_parts("1 = " + good + "\n1 = " + good);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_TRUE(lines[0].starts_with("3:")) << lines[0];
    EXPECT_NE(lines[0].find("redefine"), std::string::npos) << lines[0];
}

TEST(LayoutMistakes, TableThatIsGivenTwice) {
    const Lines lines = mistakes_in("[4AC5F4C4]\n1 = " + good + "\n[4AC5F4C4]\n2 = " + good);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_TRUE(lines[0].starts_with("3:1: ")) << lines[0];
}

TEST(LayoutMistakes, SyntaxErrorHidesNoOtherFile) {
    const std::array<LayoutFile, 3> files = {
        {{"a", "[4AC5F4C4]\nx = 1"}, {"b", "["}, {"c", "[4AC5F4C4]\ny = 1"}}};
    const Layout layout = read_layout(files);
    ASSERT_EQ(layout.mistakes.size(), 3U);
    EXPECT_EQ(place_text(layout.mistakes[0].place), "a:2:1");
    EXPECT_EQ(layout.mistakes[1].place.file, "b");
    EXPECT_EQ(place_text(layout.mistakes[2].place), "c:2:1");
}

TEST(LayoutMistakes, DeepNestingIsASyntaxError) {
    EXPECT_EQ(mistakes_in("a = " + std::string(1'000'000, '[')).size(), 1U);
    std::string tables = "a = ";
    for (int i = 0; i < 20'000; ++i)
        tables += "{a=";
    EXPECT_EQ(mistakes_in(tables).size(), 1U);
}

TEST(LayoutMistakes, ManyDotsInALine) {
    std::string dots;
    for (int i = 0; i < 251; ++i)
        dots += "a.";
    EXPECT_EQ(mistakes_in("# comment\n" + dots + "a = 1"),
              Lines{"2:502: there are more than 250 dots in this line"});
    const std::string fewer = dots.substr(2);
    EXPECT_EQ(mistakes_in("[" + fewer + "a]\n[b." + fewer.substr(2) + "c]\n" + fewer + "a = 1"),
              (Lines{"1:2: \"a\" is no device code: that has eight hexadecimal digits, such as "
                     "4AC5F4C4",
                     "2:2: \"b\" is no device code: that has eight hexadecimal digits, such as "
                     "4AC5F4C4"}));
}

TEST(LayoutMistakes, DeepestTablesAreReadAndForgotten) {
    std::string dots;
    for (int i = 0; i < 250; ++i)
        dots += "a.";
    // Arrays and tables in each other, nearly as many as may be, each with as many dots as may be.
    std::string value = "1";
    for (int i = 0; i < 3; ++i)
        value = "[\n{" + dots + "a = " + value + "}\n]";
    EXPECT_EQ(mistakes_in("[" + dots + "a]\n" + dots + "a = " + value),
              Lines{"1:2: \"a\" is no device code: that has eight hexadecimal digits, such as "
                    "4AC5F4C4"});
}

TEST(LayoutMistakes, AMillionQuotationMarksAreReadAtOnce) {
    EXPECT_EQ(mistakes_in("x = " + std::string(1'000'000, '"')).size(), 1U);
}

// --- machines ---

TEST(LayoutMistakes, NameThatIsNoCode) {
    const std::string sentence =
        " is no device code: that has eight hexadecimal digits, such as 4AC5F4C4";
    EXPECT_EQ(mistakes_in("[4AC5F4C]\n1 = 1\n[4AC5F4C45]\n[desk]\n['4AC5F4CG']\n['']\n[a.b]\n"),
              (Lines{"1:2: \"4AC5F4C\"" + sentence, "3:2: \"4AC5F4C45\"" + sentence,
                     "4:2: \"desk\"" + sentence, "5:2: \"4AC5F4CG\"" + sentence,
                     "6:2: \"\"" + sentence, "7:2: \"a\"" + sentence}));
}

TEST(LayoutMistakes, ValueOutsideOfAMachine) {
    EXPECT_EQ(mistakes_in("volume = 7\n[4AC5F4C4]\n1 = " + good),
              Lines{"1:1: \"volume\" stands outside of a machine's table, such as [4AC5F4C4]"});
}

TEST(LayoutMistakes, PartOutsideOfAMachine) {
    EXPECT_EQ(mistakes_in("12 = " + good + "\n[4AC5F4C4]\n1 = " + good),
              Lines{"1:1: \"12\" stands outside of a machine's table, such as [4AC5F4C4]"});
    EXPECT_EQ(mistakes_in("[12]\n" + good.substr(2, 16)),
              Lines{"1:2: \"12\" stands outside of a machine's table, such as [4AC5F4C4]"});
}

TEST(LayoutMistakes, MachineThatIsNoTable) {
    EXPECT_EQ(mistakes_in("4AC5F4C4 = 7\n4ac6f4c4 = [1]\n[[4AC7F4C4]]\n1 = " + good),
              (Lines{"1:1: 4AC5F4C4 is 7: it has to be a table, [4AC5F4C4]",
                     "2:1: 4ac6f4c4 is an array: it has to be a table, [4ac6f4c4]",
                     "3:3: 4AC7F4C4 is an array: it has to be a table, [4AC7F4C4]"}));
}

TEST(LayoutMistakes, MachineWithoutParts) {
    EXPECT_EQ(mistakes_in("[4AC6F4C4]\n[4AC5F4C4]\n1 = " + good),
              Lines{"1:2: 4AC6F4C4 has no parts"});
}

TEST(LayoutMistakes, MachineInTwoSpellings) {
    EXPECT_EQ(mistakes_in("[4ac5f4c4]\n1 = " + good + "\n[4AC5F4C4]\n2 = " + good +
                          "\n[4Ac5F4C4]\n3 = " + good),
              (Lines{"3:2: 4AC5F4C4 is the same machine as 4ac5f4c4, a:1:2",
                     "5:2: 4Ac5F4C4 is the same machine as 4ac5f4c4, a:1:2"}));
}

// --- parts ---

TEST(LayoutMistakes, NameThatIsNoPart) {
    const std::string sentence = "\" is no part: that is a whole number from 0 to 127";
    for (const char* const name :
         {"128", "-1", "-0", "99999999999999999999", "0x0C", "1_2", "knob", "12a", "type"})
        EXPECT_EQ(mistakes_of_parts(name + std::string(" = ") + good),
                  Lines{"2:1: \"" + std::string(name) + sentence});
    for (const char* const name : {"", "+12", " 12", "12 ", "1.2"})
        EXPECT_EQ(mistakes_of_parts("'" + std::string(name) + "' = " + good),
                  Lines{"2:1: \"" + std::string(name) + sentence});
}

TEST(LayoutMistakes, MappingsBelowWrongNamesAreReadToo) {
    const std::string mapping = "{ type = \"Note On\", channel = 17, controler = 7 }";
    EXPECT_EQ(
        mistakes_of_parts("128 = " + mapping),
        (Lines{"2:1: \"128\" is no part: that is a whole number from 0 to 127",
               "2:1: part \"128\" has no controller",
               "2:37: channel of part \"128\" is 17: it has to be a whole number from 1 to 16",
               "2:41: part \"128\" has a key \"controler\": only type, channel and controller "
               "are known"}));
    EXPECT_EQ(mistakes_in("[desk]\n12 = { channel = 0, type = \"Note On\", controller = 7 }"),
              (Lines{"1:2: \"desk\" is no device code: that has eight hexadecimal digits, such as "
                     "4AC5F4C4",
                     "2:18: channel of part 12 is 0: it has to be a whole number from 1 to 16"}));
}

TEST(LayoutMistakes, WhatIsNoMappingBelowAWrongNameIsNotSpokenOf) {
    EXPECT_EQ(mistakes_of_parts("[4AC5F4C4.parts]\n12 = " + good + "\n[4AC5F4C4.name]\n"),
              (Lines{"2:11: \"parts\" is no part: that is a whole number from 0 to 127",
                     "4:11: \"name\" is no part: that is a whole number from 0 to 127"}));
    EXPECT_EQ(mistakes_in("[about]\nauthor = 'me'\n").size(), 1U);
}

TEST(LayoutMistakes, PartThatIsNoTable) {
    const std::string sentence =
        ": it has to be a table, { type = ..., channel = ..., controller = ... }";
    EXPECT_EQ(mistakes_of_parts("1 = 7\n2 = [" + good + "]\n3 = 'Note On'\n[[4AC5F4C4.4]]"),
              (Lines{"2:1: part 1 is 7" + sentence, "3:1: part 2 is an array" + sentence,
                     "4:1: part 3 is the text \"Note On\"" + sentence,
                     "5:12: part 4 is an array" + sentence}));
}

TEST(LayoutMistakes, PartInTwoSpellings) {
    EXPECT_EQ(mistakes_of_parts("12 = " + good + "\n012 = " + good + "\n0012 = 7"),
              (Lines{"3:1: part 12 of 4AC5F4C4 is also at a:2:1",
                     "4:1: part 12 is 7: it has to be a table, { type = ..., channel = ..., "
                     "controller = ... }",
                     "4:1: part 12 of 4AC5F4C4 is also at a:2:1"}));
}

TEST(LayoutMistakes, PartInTwoSpellingsOfItsMachine) {
    EXPECT_EQ(mistakes_in("[4ac5f4c4]\n1 = " + good + "\n[4AC5F4C4]\n1 = " + good),
              (Lines{"3:2: 4AC5F4C4 is the same machine as 4ac5f4c4, a:1:2",
                     "4:1: part 1 of 4AC5F4C4 is also at a:2:1"}));
}

TEST(LayoutMistakes, PartInTwoFiles) {
    const std::array<LayoutFile, 2> files = {{
        {"keys.toml", "[4AC5F4C4]\n1 = 7\n2 = " + good},
        {"pads\x1B.toml", "[4AC5F4C4]\n3 = " + good + "\n  2 = " + good + "\n1 = " + good},
    }};
    const Layout layout = read_layout(files);
    Lines lines;
    for (const setup::LayoutMistake& mistake : layout.mistakes)
        lines.push_back(mistake_line(mistake));
    EXPECT_EQ(lines, (Lines{"keys.toml:2:1: part 1 is 7: it has to be a table, { type = ..., "
                            "channel = ..., controller = ... }",
                            "pads?.toml:3:3: part 2 of 4AC5F4C4 is also at keys.toml:3:1",
                            "pads?.toml:4:1: part 1 of 4AC5F4C4 is also at keys.toml:2:1"}));
    EXPECT_TRUE(layout.machines.empty());
}

// --- values ---

TEST(LayoutMistakes, MissingKeys) {
    EXPECT_EQ(mistakes_of_values(""),
              (Lines{"2:1: part 1 has no type", "2:1: part 1 has no channel",
                     "2:1: part 1 has no controller"}));
    EXPECT_EQ(mistakes_of_values("channel = 1, type = \"Note On\""),
              Lines{"2:1: part 1 has no controller"});
}

TEST(LayoutMistakes, UnknownKeys) {
    const std::string sentence = ": only type, channel and controller are known";
    EXPECT_EQ(mistakes_of_values("type = \"Note On\", channel = 1, controller = 7, part = 1"),
              Lines{"2:53: part 1 has a key \"part\"" + sentence});
    EXPECT_EQ(mistakes_of_values("type = \"Note On\", chanel = 1, Controller = {}"),
              (Lines{"2:1: part 1 has no channel", "2:1: part 1 has no controller",
                     "2:24: part 1 has a key \"chanel\"" + sentence,
                     "2:36: part 1 has a key \"Controller\"" + sentence}));
    EXPECT_EQ(mistakes_in("[4AC5F4C4.1.x]\n[4AC5F4C4.1]\ntype = \"Note On\"\nchannel = 1\n"
                          "controller = 2\n"),
              Lines{"1:13: part 1 has a key \"x\"" + sentence});
}

TEST(LayoutMistakes, TypesThatThereAreNot) {
    for (const std::string type :
         {"\"CC\"", "\"note-on\"", "\"Note on\"", "\"Note On \"", "\"\"", "\"Key Pressure\""})
        EXPECT_EQ(mistakes_of(type, "1", "7"),
                  Lines{"3:8: type of part 1 is " + type + ": it has to be " + types});
    for (const std::string type : {"7", "true", "0.5"})
        EXPECT_EQ(mistakes_of(type, "1", "7"),
                  Lines{"3:8: type of part 1 is " + type + ": it has to be " + types});
    EXPECT_EQ(mistakes_of("[\"Note On\"]", "1", "7"),
              Lines{"3:8: type of part 1 is an array: it has to be " + types});
}

TEST(LayoutMistakes, ChannelsThatThereAreNot) {
    const std::string sentence = ": it has to be a whole number from 1 to 16";
    for (const std::string channel :
         {"0", "17", "-1", "9223372036854775807", "-9223372036854775808", "1.5", "true", "inf"})
        EXPECT_EQ(mistakes_of("\"Note On\"", channel, "7"),
                  Lines{"4:11: channel of part 1 is " + channel + sentence});
    EXPECT_EQ(mistakes_of("\"Note On\"", "\"1\"", "7"),
              Lines{"4:11: channel of part 1 is the text \"1\"" + sentence});
    EXPECT_EQ(mistakes_of("\"Note On\"", "[1]", "7"),
              Lines{"4:11: channel of part 1 is an array" + sentence});
}

TEST(LayoutMistakes, ControllersThatThereAreNot) {
    const std::string sentence = ": it has to be a whole number from 0 to 127";
    for (const std::string controller : {"128", "-1", "4294967296", "7.5", "false", "nan"})
        EXPECT_EQ(mistakes_of("\"Note On\"", "1", controller),
                  Lines{"5:14: controller of part 1 is " + controller + sentence});
    EXPECT_EQ(mistakes_of("\"Note On\"", "1", "{ a = 1 }"),
              Lines{"5:14: controller of part 1 is a table" + sentence});
    for (const std::string date : {"1979-05-27", "07:32:00", "1979-05-27T07:32:00Z"})
        EXPECT_EQ(mistakes_of("\"Note On\"", "1", date),
                  Lines{"5:14: controller of part 1 is a date or time" + sentence});
}

TEST(LayoutMistakes, EdgesOfRangesAreNone) {
    for (const char* const values :
         {"channel = 1, controller = 0", "channel = 16, controller = 127"}) {
        const std::array<LayoutFile, 1> files = {
            {{"a",
              "[4AC5F4C4]\n0 = {type = \"Note On\", " + std::string(values) + "}\n127 = " + good}}};
        EXPECT_TRUE(read_layout(files).mistakes.empty());
    }
}

// --- all of them ---

TEST(LayoutMistakes, AllComeAtOnceInTheOrderOfTheFile) {
    EXPECT_EQ(mistakes_in("[desk]\n"
                          "[4AC6F4C4]\n"
                          "2 = { channel = 0, type = \"CC\" }\n"
                          "1 = " +
                          good +
                          "\n"
                          "01 = { type = \"Note On\", channel = 1, controller = 7.5 }\n"
                          "[4AC5F4C4]\n"),
              (Lines{"1:2: \"desk\" is no device code: that has eight hexadecimal digits, such as "
                     "4AC5F4C4",
                     "3:1: part 2 has no controller",
                     "3:17: channel of part 2 is 0: it has to be a whole number from 1 to 16",
                     "3:27: type of part 2 is \"CC\": it has to be " + types,
                     "5:1: part 1 of 4AC6F4C4 is also at a:4:1",
                     "5:52: controller of part 1 is 7.5: it has to be a whole number from 0 to 127",
                     "6:2: 4AC5F4C4 has no parts"}));
}

TEST(LayoutMistakes, OtherPeoplesWordsSteerNoTerminalAndAreCutShort) {
    EXPECT_EQ(mistakes_in("[\"\\u001B[31m\\u009B\\n\\\"\"]\n"),
              Lines{"1:2: \"?[31m??\"\" is no device code: that has eight hexadecimal digits, "
                    "such as 4AC5F4C4"});
    std::string forty;
    std::string escaped;
    for (int i = 0; i < 40; ++i) {
        forty += "\xE4\xB8\xAD";
        escaped += "\\u4e2d";
    }
    EXPECT_EQ(
        mistakes_of_parts("\"" + escaped + "\" = 1\n\"" + escaped + "x\" = 1"),
        (Lines{"2:1: \"" + forty + "\" is no part: that is a whole number from 0 to 127",
               "3:1: \"" + forty + "...\" is no part: that is a whole number from 0 to 127"}));
}

TEST(LayoutMistakes, ManyAreAllTold) {
    std::string content;
    for (int i = 0; i < 20'000; ++i)
        content += "k" + std::to_string(i) + "=1\n";
    const Lines lines = mistakes_of_parts(content);
    ASSERT_EQ(lines.size(), 20'000U);
    EXPECT_EQ(lines.back(), "20001:1: \"k19999\" is no part: that is a whole number from 0 to 127");
}
