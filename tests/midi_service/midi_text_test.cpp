// SPDX-License-Identifier: MIT
#include "midi_service/midi_service.h"
#include "midi_service/midi_text.h"

#include <algorithm>
#include <array>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

using namespace std::string_literals;

namespace {

struct Converted {
    std::string text; ///< up to the terminator
    int result;
    bool operator==(const Converted&) const = default;
};

/// What CFStringGetCString makes of a text in a buffer of so many bytes; it touches no byte behind
/// them and leaves the bytes behind the terminator alone.
Converted convert(CFStringRef text, std::size_t size = 64) {
    std::vector<char> buffer(size + 16, '#');
    const int result = CFStringGetCString(text, buffer.data(), static_cast<std::int64_t>(size), 0);
    const auto end = std::find(buffer.begin(), buffer.end(), '\0');
    EXPECT_LT(static_cast<std::size_t>(end - buffer.begin()), size) << "no terminator";
    EXPECT_TRUE(std::all_of(end + 1, buffer.end(), [](char c) { return c == '#'; }));
    return {{buffer.begin(), end}, result};
}

Converted convert(std::string_view utf8, std::size_t size = 64) {
    const TextHandle text(make_text(utf8));
    return convert(text.get(), size);
}

void PrintTo(const Converted& converted, std::ostream* out) {
    *out << testing::PrintToString(converted.text) << " with " << converted.result;
}

} // namespace

TEST(MidiText, AsciiComesOutAsItIs) {
    EXPECT_EQ(convert("4AC5F4C4 MIDI 1"), (Converted{"4AC5F4C4 MIDI 1", 1}));
    EXPECT_EQ(convert(""), (Converted{"", 1}));
    EXPECT_EQ(convert("="), (Converted{"=", 1}));
    EXPECT_EQ(convert("=4AC5F4C4"), (Converted{"=4AC5F4C4", 1}));
}

TEST(MidiText, AccentedLettersHaveTheirMacRomanBytes) {
    EXPECT_EQ(convert("ÄÅÇÉÑÖÜáàâäãåçéèêëíìîïñóòôöõúùûü"),
              (Converted{"\x80\x81\x82\x83\x84\x85\x86\x87\x88\x89\x8A\x8B\x8C\x8D\x8E\x8F"
                         "\x90\x91\x92\x93\x94\x95\x96\x97\x98\x99\x9A\x9B\x9C\x9D\x9E\x9F",
                         1}));
    EXPECT_EQ(convert("ß©®™"), (Converted{"\xA7\xA9\xA8\xAA", 1}));
}

TEST(MidiText, CharactersWithoutACounterpartAreReplacedOneForOne) {
    EXPECT_EQ(convert("4AC5F4C4 设备"), (Converted{"4AC5F4C4 ??", 0}));
    EXPECT_EQ(convert("设4AC5F4C4"), (Converted{"?4AC5F4C4", 0}));
    EXPECT_EQ(convert("a🎹b"), (Converted{"a?b", 0}));
    EXPECT_EQ(convert("Ł"), (Converted{"?", 0}));
}

TEST(MidiText, BytesThatAreNoUtf8AreReplacedAndWhatFollowsIsKept) {
    EXPECT_EQ(convert("4AC5F4C4\xFF"), (Converted{"4AC5F4C4?", 0}));
    EXPECT_EQ(convert("\xFF"
                      "4AC5F4C4"),
              (Converted{"?4AC5F4C4", 0}));
    EXPECT_EQ(convert("4AC5F4C4\xC3"), (Converted{"4AC5F4C4?", 0})) << "cut off in a character";
    EXPECT_EQ(convert("\x80\x80X"), (Converted{"??X", 0}));
    EXPECT_EQ(convert("éA\x80Z"), (Converted{"\x8E"
                                             "A?Z",
                                             0}));
    for (const char* broken : {"A\xC0\x80Z", "A\xED\xA0\x80Z", "A\xF8\x88\x80\x80Z", "A\xE2\x82Z",
                               "A\xF4\x90\x80\x80Z"}) {
        const Converted converted = convert(broken);
        EXPECT_EQ(converted.result, 0);
        ASSERT_GE(converted.text.size(), 3U);
        EXPECT_EQ(converted.text.front(), 'A');
        EXPECT_EQ(converted.text.back(), 'Z');
        EXPECT_EQ(converted.text.find_first_not_of('?', 1), converted.text.size() - 1);
    }
}

TEST(MidiText, LongNameIsCutToTheBuffer) {
    EXPECT_EQ(convert(std::string(62, 'a')), (Converted{std::string(62, 'a'), 1}));
    EXPECT_EQ(convert(std::string(63, 'a')), (Converted{std::string(63, 'a'), 1}));
    EXPECT_EQ(convert(std::string(64, 'a')), (Converted{std::string(63, 'a'), 0}));
    EXPECT_EQ(convert("4AC5F4C4" + std::string(100'000, 'x')),
              (Converted{"4AC5F4C4" + std::string(55, 'x'), 0}));
}

TEST(MidiText, LongNameOfTwoByteCharactersIsCutByCharacters) {
    std::string utf8;
    for (int i = 0; i < 100; ++i)
        utf8 += "é";
    EXPECT_EQ(convert(utf8), (Converted{std::string(63, '\x8E'), 0}));
    EXPECT_EQ(convert(utf8.substr(0, 126)), (Converted{std::string(63, '\x8E'), 1}));
}

TEST(MidiText, LongNameWithoutACounterpartIsCutToo) {
    std::string utf8 = "4AC5F4C4";
    for (int i = 0; i < 100; ++i)
        utf8 += "设";
    EXPECT_EQ(convert(utf8), (Converted{"4AC5F4C4" + std::string(55, '?'), 0}));
}

TEST(MidiText, BufferOfOneByteHoldsTheTerminatorAlone) {
    EXPECT_EQ(convert("a", 1), (Converted{"", 0}));
    EXPECT_EQ(convert("", 1), (Converted{"", 1}));
    EXPECT_EQ(convert("é", 1), (Converted{"", 0}));
    EXPECT_EQ(convert("ab", 2), (Converted{"a", 0}));
    EXPECT_EQ(convert("a", 2), (Converted{"a", 1}));
}

TEST(MidiText, BufferOfNoByteIsLeftAlone) {
    const TextHandle text(make_text("4AC5F4C4"));
    char byte = '#';
    EXPECT_EQ(CFStringGetCString(text.get(), &byte, 0, 0), 0);
    EXPECT_EQ(CFStringGetCString(text.get(), &byte, -1, 0), 0);
    EXPECT_EQ(byte, '#');
}

TEST(MidiText, Utf8ComesOutAsItIsAndIsCutBehindAWholeCharacter) {
    constexpr std::uint32_t utf_8 = 0x08000100;
    const TextHandle text(make_text("4AC5F4C4 设备\xFF!"));
    const auto in_a_buffer_of = [&text](std::int64_t size) {
        std::array<char, 32> buffer{};
        const int result = CFStringGetCString(text.get(), buffer.data(), size, utf_8);
        return Converted{buffer.data(), result};
    };
    EXPECT_EQ(in_a_buffer_of(32), (Converted{"4AC5F4C4 设备\xFF!", 1}));
    EXPECT_EQ(in_a_buffer_of(18), (Converted{"4AC5F4C4 设备\xFF!", 1}));
    EXPECT_EQ(in_a_buffer_of(17), (Converted{"4AC5F4C4 设备\xFF", 0}));
    EXPECT_EQ(in_a_buffer_of(15), (Converted{"4AC5F4C4 设", 0}));
    EXPECT_EQ(in_a_buffer_of(13), (Converted{"4AC5F4C4 设", 0}));
    EXPECT_EQ(in_a_buffer_of(12), (Converted{"4AC5F4C4 ", 0}));
    EXPECT_EQ(in_a_buffer_of(1), (Converted{"", 0}));
}

TEST(MidiText, OtherEncodingsGiveNothing) {
    const TextHandle text(make_text("4AC5F4C4"));
    std::array<char, 64> buffer{};
    buffer.fill('#');
    EXPECT_EQ(CFStringGetCString(text.get(), buffer.data(), std::ssize(buffer), 0x0600), 0);
    EXPECT_EQ(buffer[0], '\0');
}

TEST(MidiText, ConstantTextIsATextLikeAnyOtherAndOutlivesItsReleases) {
    const CFStringRef text = CFSTR("MIDI Client");
    EXPECT_EQ(convert(text), (Converted{"MIDI Client", 1}));
    CFRelease(text);
    CFRelease(share_text(text));
    CFRelease(text);
    EXPECT_EQ(view_text(text), "MIDI Client");
    EXPECT_EQ(convert(CFSTR("")), (Converted{"", 1}));
}

TEST(MidiText, AnyBytesAreKept) {
    for (const std::string& bytes : {""s, "a"s, "\xFF\xFE"s, "设备"s, "=x"s}) {
        const TextHandle text(make_text(bytes));
        EXPECT_EQ(view_text(text.get()), bytes);
    }
}

TEST(MidiText, LivesUntilItsLastUserGivesItBack) {
    const CFStringRef text = make_text("4AC5F4C4");
    const CFStringRef shared = share_text(text);
    CFRelease(text);
    EXPECT_EQ(view_text(shared), "4AC5F4C4");
    EXPECT_EQ(convert(shared), (Converted{"4AC5F4C4", 1}));
    CFRelease(shared);
}

TEST(MidiText, ThreadsMayShareAndGiveBackAtTheSameTime) {
    const TextHandle text(make_text("4AC5F4C4"));
    const auto use = [&] {
        for (int i = 0; i < 1000; ++i) {
            const TextHandle shared(share_text(text.get()));
            EXPECT_EQ(view_text(shared.get()), "4AC5F4C4");
        }
    };
    std::thread other(use);
    use();
    other.join();
    EXPECT_EQ(convert(text.get()), (Converted{"4AC5F4C4", 1}));
}
