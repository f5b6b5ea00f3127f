// SPDX-License-Identifier: MIT
#include "protocol/mapping.h"

#include <climits>
#include <set>

#include <gtest/gtest.h>

namespace {

using namespace protocol;

static_assert(
    message_of({.part = 5, .type = MessageType::note_on, .channel = 1, .controller = 7}) ==
    Message{0x90, 7, 5});
static_assert(message_of({}) == Message{0xB0, 0, 0});
static_assert(mapping_of({0xEF, 127, 0})->type == MessageType::bend_change);
static_assert(mapping_of({0xEF, 127, 0})->channel == 16);
static_assert(!mapping_of({0xAF, 0x7F, 0x7F}), "the save command sets no mapping");
static_assert(type_named("Note Off") == MessageType::note_off);
static_assert(!type_named("System Change"));

TEST(Mapping, TypesHaveTheirNamesAndStatusesInMenuOrder) {
    const std::array<std::pair<int, std::string_view>, 4> expected = {
        {{0x90, "Note On"}, {0x80, "Note Off"}, {0xB0, "Control Change"}, {0xE0, "Bend Change"}}};
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const auto [type, name] = message_types[i];
        EXPECT_EQ(static_cast<int>(type), expected[i].first);
        EXPECT_EQ(name, expected[i].second);
        EXPECT_EQ(type_name(type), name);
        EXPECT_EQ(type_named(name), type);
    }
}

TEST(Mapping, OnlyTheExactNameIsAType) {
    for (const char* name : {"", "note on", "Note on", "Note On ", " Note On", "Note", "NoteOn",
                             "Note Onn", "System Change", "NOTE_ON"})
        EXPECT_FALSE(type_named(name)) << name;
    EXPECT_FALSE(type_named(std::string_view{"Note On\0", 8}));
}

TEST(Mapping, OnlyFourTypesHaveAName) {
    unsigned named = 0;
    for (int type = 0; type < 256; ++type)
        named += !type_name(static_cast<MessageType>(type)).empty();
    EXPECT_EQ(named, 4U);
}

TEST(Mapping, EveryMappingHasAMessageOfItsOwnAndComesBackFromIt) {
    std::vector<bool> taken(std::size_t{1} << 24);
    unsigned mappings = 0, wrong = 0;
    for (const NamedType& named : message_types)
        for (int channel = 1; channel <= 16; ++channel)
            for (int controller = 0; controller <= 127; ++controller)
                for (int part = 0; part <= 127; ++part) {
                    const KeyMapping mapping{part, named.type, channel, controller};
                    const Message message = message_of(mapping).value();
                    const int status = static_cast<int>(named.type) + channel - 1;
                    const auto index =
                        static_cast<std::size_t>(status << 16 | controller << 8 | part);
                    const bool is_right = message[0] == status && message[1] == controller &&
                                          message[2] == part && mapping_of(message) == mapping;
                    wrong += !is_right || taken[index];
                    taken[index] = true;
                    ++mappings;
                }
    EXPECT_EQ(wrong, 0U);
    EXPECT_EQ(mappings, 4U * 16 * 128 * 128);
}

// All statuses and controllers, with parts on both sides of each border.
TEST(Mapping, EveryOtherMessageSetsNothing) {
    unsigned wrong = 0;
    for (int status = 0; status < 256; ++status)
        for (int controller = 0; controller < 256; ++controller)
            for (const int part : {0, 1, 64, 126, 127, 128, 129, 254, 255}) {
                const Message message{static_cast<std::uint8_t>(status),
                                      static_cast<std::uint8_t>(controller),
                                      static_cast<std::uint8_t>(part)};
                const int type = status & 0xF0;
                const bool is_mapping =
                    controller < 128 && part < 128 &&
                    (type == 0x80 || type == 0x90 || type == 0xB0 || type == 0xE0);
                const auto mapping = mapping_of(message);
                wrong += mapping.has_value() != is_mapping;
                wrong += mapping && message_of(*mapping) != message;
            }
    EXPECT_EQ(wrong, 0U);
}

TEST(Mapping, NumberOutOfRangeHasNoMessage) {
    for (const int number : {INT_MIN, -129, -128, -1, 128, 129, 255, 256, 65536, INT_MAX}) {
        EXPECT_FALSE(message_of({.part = number})) << number;
        EXPECT_FALSE(message_of({.controller = number})) << number;
    }
    for (const int channel : {INT_MIN, -16, -1, 0, 17, 18, 255, 256, 257, INT_MAX})
        EXPECT_FALSE(message_of({.channel = channel})) << channel;
    for (int type = 0; type < 256; ++type) {
        const auto known = type == 0x80 || type == 0x90 || type == 0xB0 || type == 0xE0;
        EXPECT_EQ(message_of({.type = static_cast<MessageType>(type)}).has_value(), known) << type;
    }
}

TEST(Mapping, NumbersAtTheirBordersHaveAMessage) {
    EXPECT_EQ(message_of({.part = 127, .channel = 16, .controller = 127}),
              (Message{0xBF, 127, 127}));
    EXPECT_EQ(message_of({.part = 0, .channel = 1, .controller = 0}), (Message{0xB0, 0, 0}));
}

TEST(Mapping, WordsNameEveryNumber) {
    EXPECT_EQ(mapping_text({12, MessageType::control_change, 1, 7}),
              "part 12: Control Change, channel 1, controller 7");
    EXPECT_EQ(mapping_text({127, MessageType::bend_change, 16, 0}),
              "part 127: Bend Change, channel 16, controller 0");
}

} // namespace
