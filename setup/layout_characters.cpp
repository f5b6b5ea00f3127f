// SPDX-License-Identifier: MIT
#include "setup/layout_characters.h"

#include "setup/layout_text.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <utility>

namespace setup {

namespace {

/// Each dot of a key is a table inside a table. Machine, part and key need two.
constexpr unsigned most_dots_in_a_line = 250;

constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";

bool is_empty(std::string_view content) {
    return content.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

bool is_utf16(std::string_view content) {
    return content.starts_with("\xFF\xFE") || content.starts_with("\xFE\xFF");
}

/// Follows TOML as far as is needed to tell comments from all else. From the first mistake on it
/// may be wrong; the library stops there.
class Comments {
public:
    /// Whether the character in front of `rest` belongs to a comment. Is told of all, in order.
    bool holds(std::string_view rest) {
        const char letter = rest.front();
        if (skipped_ > 0)
            --skipped_;
        else if (inside_ == Inside::nothing)
            start(letter, rest);
        else if (inside_ == Inside::comment || inside_ == Inside::text)
            go_on_in_line(letter);
        else
            go_on_in_lines(letter, rest);
        return inside_ == Inside::comment;
    }

private:
    enum class Inside : std::uint8_t { nothing, comment, text, lines };

    void start(char letter, std::string_view rest) {
        if (letter == '#')
            inside_ = Inside::comment;
        if (letter != '"' && letter != '\'')
            return;
        mark_ = letter;
        inside_ = marks(rest) >= 3 ? Inside::lines : Inside::text;
        skipped_ = inside_ == Inside::lines ? 2 : 0;
    }

    void go_on_in_line(char letter) {
        if (letter == '\n' || (inside_ == Inside::text && letter == mark_))
            inside_ = Inside::nothing;
        else if (inside_ == Inside::text)
            escape(letter);
    }

    void go_on_in_lines(char letter, std::string_view rest) {
        escape(letter);
        const std::size_t found = marks(rest);
        if (found < 3)
            return;
        inside_ = Inside::nothing; // up to two marks belong to the text
        skipped_ = found - 1;
    }

    void escape(char letter) { skipped_ = letter == '\\' && mark_ == '"' ? 1 : 0; }

    /// How many marks `rest` begins with. More than five tell nothing.
    [[nodiscard]] std::size_t marks(std::string_view rest) const {
        const std::string_view few = rest.substr(0, 5);
        return std::min(few.find_first_not_of(mark_), few.size());
    }

    Inside inside_ = Inside::nothing;
    char mark_ = 0; ///< around a text; three of them around one of several lines
    std::size_t skipped_ = 0;
};

/// What is wrong with the character in front of `rest`; nothing for most.
std::string character_mistake(std::string_view rest, std::size_t length, bool is_comment) {
    if (length == 0)
        return "this is no text in UTF-8";
    if (rest.front() == '\0')
        return "this is no text: a byte is zero";
    if (length > 1 && !is_comment)
        return quoted(rest.substr(0, length)) + " can stand in a comment only";
    return {};
}

} // namespace

std::size_t character_length(std::string_view text) {
    const auto byte = [text](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
    const auto ones = static_cast<std::size_t>(std::countl_one(byte(0)));
    if (ones == 0)
        return 1;
    if (ones == 1 || ones > 4 || text.size() < ones)
        return 0;
    std::uint32_t character = byte(0) & (0x7FU >> ones);
    for (std::size_t i = 1; i < ones; ++i) {
        if (std::countl_one(byte(i)) != 1)
            return 0;
        character = character << 6 | (byte(i) & 0x3FU);
    }
    constexpr std::array<std::uint32_t, 5> least = {0, 0, 0x80, 0x800, 0x10000};
    const bool is_half_a_pair = character >= 0xD800 && character <= 0xDFFF;
    if (character < least.at(ones) || character > 0x10FFFF || is_half_a_pair)
        return 0;
    return ones;
}

std::optional<LayoutMistake> unreadable(const LayoutFile& file) {
    std::string_view rest = file.content;
    Place place{file.name, 1, 1};
    if (is_empty(rest))
        return LayoutMistake{place, "the file is empty"};
    if (is_utf16(rest))
        return LayoutMistake{place, "the file is in UTF-16: it has to be saved as UTF-8"};
    if (rest.starts_with(byte_order_mark))
        rest.remove_prefix(byte_order_mark.size());
    Comments comments;
    unsigned dots = 0; // of this line
    while (!rest.empty()) {
        const std::size_t length = character_length(rest);
        const bool is_comment = comments.holds(rest);
        std::string text = character_mistake(rest, length, is_comment);
        if (rest.front() == '.' && !is_comment && ++dots > most_dots_in_a_line)
            text =
                "there are more than " + std::to_string(most_dots_in_a_line) + " dots in this line";
        if (!text.empty())
            return LayoutMistake{place, std::move(text)};
        const bool is_end = rest.front() == '\n';
        dots = is_end ? 0 : dots;
        place.line += is_end ? 1 : 0;
        place.column = is_end ? 1 : place.column + 1;
        rest.remove_prefix(length);
    }
    return std::nullopt;
}

} // namespace setup
