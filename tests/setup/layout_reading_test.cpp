// SPDX-License-Identifier: MIT
// What layouts say: every way to write one down, and where each part of it stands.
#include "setup/layout.h"

#include "protocol/device_code.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <random>
#include <string>
#include <utility>

using protocol::KeyMapping;
using protocol::MessageType;
using setup::Layout;
using setup::LayoutFile;

namespace {

using Lines = std::vector<std::string>;

Layout read(const std::string& content) {
    const std::array<LayoutFile, 1> files = {{{"a.toml", content}}};
    return read_layout(files);
}

/// Each machine and mapping with its place.
Lines lines_of(const Layout& layout) {
    Lines lines;
    for (const setup::MachineLayout& machine : layout.machines) {
        lines.push_back(place_text(machine.place) + " " + protocol::code_text(machine.code));
        for (const setup::LayoutEntry& entry : machine.entries)
            lines.push_back(place_text(entry.place) + " " + mapping_text(entry.mapping));
    }
    for (const setup::LayoutMistake& mistake : layout.mistakes)
        lines.push_back(mistake_line(mistake));
    return lines;
}

} // namespace

TEST(LayoutReading, MachineIsATableAndAPartIsAKey) {
    EXPECT_EQ(
        lines_of(read("[4AC5F4C4]\n"
                      "12 = { type = \"Control Change\", channel = 1, controller = 7 }\n"
                      "36 = { type = \"Note On\", channel = 10, controller = 36 }   # pads\n")),
        (Lines{"a.toml:1:2 4AC5F4C4", "a.toml:2:1 part 12: Control Change, channel 1, controller 7",
               "a.toml:3:1 part 36: Note On, channel 10, controller 36"}));
}

TEST(LayoutReading, EveryTypeHasItsName) {
    EXPECT_EQ(lines_of(read("[4AC5F4C4]\n"
                            "0 = { type = \"Note Off\", channel = 1, controller = 0 }\n"
                            "1 = { type = \"Note On\", channel = 2, controller = 0 }\n"
                            "2 = { type = \"Control Change\", channel = 16, controller = 127 }\n"
                            "127 = { type = \"Bend Change\", channel = 16, controller = 1 }\n")),
              (Lines{"a.toml:1:2 4AC5F4C4", "a.toml:2:1 part 0: Note Off, channel 1, controller 0",
                     "a.toml:3:1 part 1: Note On, channel 2, controller 0",
                     "a.toml:4:1 part 2: Control Change, channel 16, controller 127",
                     "a.toml:5:1 part 127: Bend Change, channel 16, controller 1"}));
}

TEST(LayoutReading, WhatTomlTakesForTheSameIsTheSame) {
    const Lines parts = {"part 3: Note On, channel 10, controller 31"};
    for (const char* const content : {
             "[4AC5F4C4.3]\ntype = \"Note On\"\nchannel = 10\ncontroller = 31\n",
             "[4AC5F4C4]\n3.type = 'Note On'\n3.channel = +1_0\n3.controller = 0x1F\n",
             "4AC5F4C4.3 = { controller = 0b11111, channel = 0o12, type = \"\"\"Note On\"\"\" }",
             "'4AC5F4C4' = { \"3\" = { type = \"\\u004eote On\", channel = 10, controller = 31 } }",
             "[ '4AC5F4C4' . 3 ]\r\ntype = \"Note On\"\r\nchannel = 10\r\n\"controller\" = 31\r\n",
             "\xEF\xBB\xBF[4ac5f4C4]\n003 = { type = \"Note On\", channel = 10, controller = 31 }",
         }) {
        const Layout layout = read(content);
        ASSERT_EQ(layout.machines.size(), 1U) << content;
        EXPECT_EQ(layout.machines[0].code, 0x4AC5F4C4U) << content;
        ASSERT_EQ(layout.machines[0].entries.size(), 1U) << content;
        EXPECT_EQ(
            layout.machines[0].entries[0].mapping,
            (KeyMapping{.part = 3, .type = MessageType::note_on, .channel = 10, .controller = 31}))
            << content;
        EXPECT_TRUE(layout.mistakes.empty()) << content;
        EXPECT_TRUE(layout.warnings.empty()) << content;
    }
}

TEST(LayoutReading, MachineOutsideOfTheFamilyIsOne) {
    EXPECT_EQ(
        lines_of(read("[00000000]\n1 = { type = \"Note On\", channel = 1, controller = 1 }\n"
                      "[deadbeef]\n1 = { type = \"Note On\", channel = 1, controller = 1 }")),
        (Lines{"a.toml:1:2 00000000", "a.toml:2:1 part 1: Note On, channel 1, controller 1",
               "a.toml:3:2 DEADBEEF", "a.toml:4:1 part 1: Note On, channel 1, controller 1"}));
}

TEST(LayoutReading, OrderIsThatOfCodesAndParts) {
    EXPECT_EQ(lines_of(read("[4AC6F4C4]\n"
                            "100 = { type = \"Note On\", channel = 1, controller = 1 }\n"
                            "9 = { type = \"Note On\", channel = 1, controller = 2 }\n"
                            "[4AC0F4C4]\n"
                            "20 = { type = \"Note On\", channel = 1, controller = 3 }\n")),
              (Lines{"a.toml:4:2 4AC0F4C4", "a.toml:5:1 part 20: Note On, channel 1, controller 3",
                     "a.toml:1:2 4AC6F4C4", "a.toml:3:1 part 9: Note On, channel 1, controller 2",
                     "a.toml:2:1 part 100: Note On, channel 1, controller 1"}));
}

TEST(LayoutReading, SeveralFilesAreOneLayout) {
    const std::array<LayoutFile, 2> files = {{
        {"keys.toml", "[4AC6F4C4]\n2 = { type = \"Note On\", channel = 1, controller = 2 }\n"
                      "[4AC5F4C4]\n7 = { type = \"Note On\", channel = 1, controller = 7 }"},
        {"pads.toml", "\n[4ac5f4c4]\n3 = { type = \"Note On\", channel = 1, controller = 3 }\n"},
    }};
    EXPECT_EQ(
        lines_of(setup::read_layout(files)),
        (Lines{"keys.toml:3:2 4AC5F4C4", "pads.toml:3:1 part 3: Note On, channel 1, controller 3",
               "keys.toml:4:1 part 7: Note On, channel 1, controller 7", "keys.toml:1:2 4AC6F4C4",
               "keys.toml:2:1 part 2: Note On, channel 1, controller 2"}));
}

TEST(LayoutReading, NoFilesAreAnEmptyLayout) {
    EXPECT_EQ(lines_of(setup::read_layout({})), Lines{});
}

TEST(LayoutReading, CommentsMayHaveAnyCharacter) {
    EXPECT_EQ(
        lines_of(read("# \xE6\x8E\xA8\xE5\xAD\x90 \xF0\x9F\x8E\xB9 .................... "
                      "..................................................................."
                      "..................................................................."
                      "...................................................................\n"
                      "[4AC5F4C4] # \xC2\xA0\xE2\x80\xA8\"\n"
                      "12 = { type = 'Note On', channel = 1, controller = 7 } # \xC3\xA9")),
        (Lines{"a.toml:2:2 4AC5F4C4", "a.toml:3:1 part 12: Note On, channel 1, controller 7"}));
}

TEST(LayoutReading, PlacesInsideOfALine) {
    EXPECT_EQ(lines_of(read("'4AC5F4C4' = {\t12 = { type = \"CC\", channel = 0, controller = 128 } "
                            "}")),
              (Lines{"a.toml:1:30: type of part 12 is \"CC\": it has to be \"Note On\", "
                     "\"Note Off\", \"Control Change\" or \"Bend Change\"",
                     "a.toml:1:46: channel of part 12 is 0: it has to be a whole number from 1 to "
                     "16",
                     "a.toml:1:62: controller of part 12 is 128: it has to be a whole number from "
                     "0 to 127"}));
}

TEST(LayoutReading, TwoPartsWithOneMessageAreAWarningForTheSecond) {
    const Layout layout =
        read("[4AC5F4C4]\n"
             "36 = { type = \"Note On\", channel = 10, controller = 36 }\n"
             "9 = { type = \"Note On\", channel = 10, controller = 36 }\n"
             "7 = { type = \"Note Off\", channel = 10, controller = 36 }\n" // others
             "6 = { type = \"Note On\", channel = 9, controller = 36 }\n"
             "5 = { type = \"Note On\", channel = 10, controller = 35 }\n"
             "40 = { type = \"Note On\", channel = 10, controller = 36 }\n"
             "[4AC6F4C4]\n" // another machine
             "10 = { type = \"Note On\", channel = 10, controller = 36 }\n");
    EXPECT_EQ(layout.machines.size(), 2U);
    EXPECT_TRUE(layout.mistakes.empty());
    Lines warnings;
    for (const setup::LayoutMistake& warning : layout.warnings)
        warnings.push_back(mistake_line(warning));
    EXPECT_EQ(warnings, (Lines{"a.toml:2:1: part 36 of 4AC5F4C4 sends the same message as part 9, "
                               "a.toml:3:1: Note On, channel 10, controller 36",
                               "a.toml:7:1: part 40 of 4AC5F4C4 sends the same message as part 9, "
                               "a.toml:3:1: Note On, channel 10, controller 36"}));
}

TEST(LayoutReading, LayoutOfOneMachineCanBeMovedToAnother) {
    const Layout moved = moved_to(
        read("[4AC5F4C4]\n12 = { type = \"Note On\", channel = 1, controller = 7 }\n"), 0xDEADBEEF);
    EXPECT_EQ(lines_of(moved), (Lines{"a.toml:1:2 DEADBEEF",
                                      "a.toml:2:1 part 12: Note On, channel 1, controller 7"}));
}

TEST(LayoutReading, LayoutOfSeveralMachinesCannotBeMoved) {
    const std::string part = "1 = { type = \"Note On\", channel = 1, controller = 7 }\n";
    const Layout layout =
        read("[4AC7F4C4]\n" + part + "[4AC5F4C4]\n" + part + "[4AC6F4C4]\n" + part);
    EXPECT_EQ(
        lines_of(moved_to(layout, 0x4AC5F4C4)),
        (Lines{"a.toml:5:2: 4AC6F4C4 is a second machine beside 4AC5F4C4, a.toml:3:2: only the "
               "layout of one machine can be used for another",
               "a.toml:1:2: 4AC7F4C4 is a second machine beside 4AC5F4C4, a.toml:3:2: only the "
               "layout of one machine can be used for another"}));
}

TEST(LayoutReading, LayoutWithAMistakeStaysOneWhenItIsMoved) {
    EXPECT_EQ(lines_of(moved_to(read("[4AC5F4C4]\n"), 0x4AC6F4C4)),
              Lines{"a.toml:1:2: 4AC5F4C4 has no parts"});
}

namespace {

/// Writes layouts down, each part in a spelling of its own.
class Writer {
public:
    explicit Writer(unsigned seed) : random_(seed) {}

    unsigned below(unsigned end) { return static_cast<unsigned>(random_() % end); }

    std::string number(int value) {
        switch (below(4)) {
        case 0:
            return "0b" + binary(value);
        case 1:
            return "+" + std::to_string(value);
        default:
            return std::to_string(value);
        }
    }

    std::string key(const std::string& name) {
        const char* const mark = std::array{"", "\"", "'"}.at(below(3));
        return mark + name + mark;
    }

    /// The three values in any order.
    std::string values(const KeyMapping& mapping, const std::string& prefix,
                       const std::string& between) {
        std::array<std::string, 3> values = {
            prefix + key("type") + " = \"" + std::string(protocol::type_name(mapping.type)) + "\"",
            prefix + key("channel") + "=" + number(mapping.channel),
            prefix + key("controller") + "\t= " + number(mapping.controller)};
        std::shuffle(values.begin(), values.end(), random_);
        return values[0] + between + values[1] + between + values[2];
    }

    /// Lines in the table of the part's machine.
    std::string part(const KeyMapping& mapping) {
        const std::string name = key(std::to_string(mapping.part));
        return below(2) == 0 ? name + " = { " + values(mapping, "", ", ") + " } # part\n"
                             : values(mapping, name + ".", "\n") + "\n";
    }

    /// A whole machine: parts as lines first, then those with a table of their own.
    std::string machine(std::uint32_t code, const std::map<int, KeyMapping>& parts) {
        const std::string name = key(protocol::code_text(code));
        std::string lines;
        std::string tables;
        for (const auto& item : parts) {
            if (below(3) == 0)
                tables += "[" + name + "." + key(std::to_string(item.first)) + "]\n" +
                          values(item.second, "", "\n") + "\n\n";
            else
                lines += part(item.second);
        }
        return (lines.empty() && below(2) == 0 ? "" : "[" + name + "]\n") + lines + tables;
    }

private:
    static std::string binary(int value) {
        std::string digits;
        for (int bit = 64; bit != 0; bit /= 2)
            digits += (value & bit) != 0 ? '1' : '0';
        return digits;
    }

    std::mt19937 random_;
};

KeyMapping any_mapping(Writer& writer, int part) {
    return {.part = part,
            .type = protocol::message_types.at(writer.below(4)).type,
            .channel = static_cast<int>(writer.below(16)) + 1,
            .controller = static_cast<int>(writer.below(128))};
}

} // namespace

TEST(LayoutReading, EveryLayoutInAnySpellingIsReadAsItWasMeant) {
    for (unsigned seed = 0; seed < 200; ++seed) {
        Writer writer(seed);
        std::map<std::uint32_t, std::map<int, KeyMapping>> meant;
        std::string content;
        for (unsigned i = 0; i <= writer.below(4); ++i) {
            const std::uint32_t code = protocol::family_code(15 - 3 * i);
            for (unsigned j = 0; j <= writer.below(40); ++j) {
                const int part = static_cast<int>(writer.below(128));
                meant[code][part] = any_mapping(writer, part);
            }
            content += writer.machine(code, meant[code]);
        }
        const Layout layout = read(content);
        ASSERT_TRUE(layout.mistakes.empty())
            << seed << ": " << mistake_line(layout.mistakes[0]) << "\n"
            << content;
        ASSERT_EQ(layout.machines.size(), meant.size());
        auto machine = layout.machines.begin();
        for (const auto& wanted : meant) {
            ASSERT_EQ(machine->code, wanted.first);
            ASSERT_EQ(machine->entries.size(), wanted.second.size());
            auto entry = machine->entries.begin();
            for (const auto& part : wanted.second)
                ASSERT_EQ((entry++)->mapping, part.second) << seed << "\n" << content;
            ++machine;
        }
    }
}
