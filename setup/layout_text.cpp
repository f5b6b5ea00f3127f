// SPDX-License-Identifier: MIT
#include "setup/layout_text.h"

#include "protocol/device_code.h"
#include "setup/plain_text.h"

#include <algorithm>
#include <array>
#include <bit>
#include <utility>

namespace setup {

namespace {

/// Each dot of a key is a table inside a table. Machine, part and key need two.
constexpr unsigned most_dots_in_a_line = 250;

constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";

/// How many bytes the UTF-8 character in front of `text` has; 0 if it is none.
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

bool is_empty(std::string_view content) {
    return content.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

bool is_utf16(std::string_view content) {
    return content.starts_with("\xFF\xFE") || content.starts_with("\xFE\xFF");
}

/// Follows TOML as far as is needed to tell comments from all else. Where the text is none, the
/// library stops at the same place.
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
        skipped_ = std::min<std::size_t>(found, 5) - 1;
    }

    void escape(char letter) { skipped_ = letter == '\\' && mark_ == '"' ? 1 : 0; }

    [[nodiscard]] std::size_t marks(std::string_view rest) const {
        return std::min(rest.find_first_not_of(mark_), rest.size());
    }

    Inside inside_ = Inside::nothing;
    char mark_ = 0; ///< around a text, which goes over several lines if there are three
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

std::string quoted(std::string_view words) {
    constexpr std::size_t most = 40;
    std::size_t length = 0;
    std::size_t characters = 0;
    while (length < words.size() && characters < most) {
        length += std::max<std::size_t>(character_length(words.substr(length)), 1);
        ++characters;
    }
    return '"' + printable(words.substr(0, length)) + (length < words.size() ? "...\"" : "\"");
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

std::string outside_text(std::string_view name) {
    return quoted(name) + " stands outside of a machine's table, such as [4AC5F4C4]";
}

std::string no_code_text(std::string_view name) {
    return quoted(name) + " is no device code: that has eight hexadecimal digits, such as 4AC5F4C4";
}

std::string no_part_text(std::string_view name) {
    return quoted(name) + " is no part: that is a whole number from 0 to " +
           std::to_string(protocol::highest_number);
}

std::string no_table_text(std::string_view code, std::string_view found) {
    return std::string(code) + " is " + std::string(found) + ": it has to be a table, [" +
           std::string(code) + "]";
}

std::string no_parts_text(std::string_view code) {
    return std::string(code) + " has no parts";
}

std::string same_machine_text(std::string_view code, std::string_view other,
                              const Place& place_of_other) {
    return std::string(code) + " is the same machine as " + std::string(other) + ", " +
           place_text(place_of_other);
}

std::string second_machine_text(std::uint32_t code, const MachineLayout& first) {
    return protocol::code_text(code) + " is a second machine beside " +
           protocol::code_text(first.code) + ", " + place_text(first.place) +
           ": only the layout of one machine can be used for another";
}

std::string no_table_text(int part, std::string_view found) {
    return "part " + std::to_string(part) + " is " + std::string(found) +
           ": it has to be a table, { type = ..., channel = ..., controller = ... }";
}

std::string unknown_key_text(int part, std::string_view key) {
    return "part " + std::to_string(part) + " has a key " + quoted(key) +
           ": only type, channel and controller are known";
}

std::string missing_key_text(int part, std::string_view key) {
    return "part " + std::to_string(part) + " has no " + std::string(key);
}

std::string same_part_text(std::uint32_t code, int part, const Place& place_of_other) {
    return "part " + std::to_string(part) + " of " + protocol::code_text(code) + " is also at " +
           place_text(place_of_other);
}

std::string same_message_text(std::uint32_t code, const LayoutEntry& entry,
                              const LayoutEntry& other) {
    const std::string words = protocol::mapping_text(entry.mapping);
    return "part " + std::to_string(entry.mapping.part) + " of " + protocol::code_text(code) +
           " sends the same message as part " + std::to_string(other.mapping.part) + ", " +
           place_text(other.place) + words.substr(words.find(": "));
}

std::string value_name(std::string_view key, int part) {
    return std::string(key) + " of part " + std::to_string(part);
}

std::string wrong_type_text(std::string_view name, std::string_view found) {
    std::string text = std::string(name) + " is " + std::string(found) + ": it has to be ";
    const std::size_t last = protocol::message_types.size() - 1;
    for (std::size_t i = 0; i <= last; ++i) {
        text += i == 0 ? "" : i == last ? " or " : ", ";
        text += quoted(protocol::message_types.at(i).name);
    }
    return text;
}

std::string wrong_number_text(std::string_view name, std::string_view found, int least, int most) {
    return std::string(name) + " is " + std::string(found) + ": it has to be a whole number from " +
           std::to_string(least) + " to " + std::to_string(most);
}

std::string place_text(const Place& place) {
    std::string text = printable(place.file);
    if (place.line != 0)
        text.append(1, ':').append(std::to_string(place.line) + ':' + std::to_string(place.column));
    return text;
}

std::string mistake_line(const LayoutMistake& mistake) {
    return place_text(mistake.place) + ": " + mistake.text;
}

} // namespace setup
