// SPDX-License-Identifier: MIT
#include "setup/layout_text.h"

#include "protocol/device_code.h"
#include "setup/layout_characters.h"
#include "setup/plain_text.h"

#include <algorithm>

namespace setup {

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

std::string part_name(int part) {
    return "part " + std::to_string(part);
}

std::string part_name(std::string_view key) {
    return "part " + quoted(key);
}

std::string no_mapping_text(std::string_view part, std::string_view found) {
    return std::string(part) + " is " + std::string(found) +
           ": it has to be a table, { type = ..., channel = ..., controller = ... }";
}

std::string unknown_key_text(std::string_view part, std::string_view key) {
    return std::string(part) + " has a key " + quoted(key) +
           ": only type, channel and controller are known";
}

std::string missing_key_text(std::string_view part, std::string_view key) {
    return std::string(part) + " has no " + std::string(key);
}

std::string same_part_text(std::uint32_t code, int part, const Place& place_of_other) {
    return part_name(part) + " of " + protocol::code_text(code) + " is also at " +
           place_text(place_of_other);
}

std::string same_message_text(std::uint32_t code, const LayoutEntry& entry,
                              const LayoutEntry& other) {
    const std::string words = protocol::mapping_text(entry.mapping);
    return part_name(entry.mapping.part) + " of " + protocol::code_text(code) +
           " sends the same message as " + part_name(other.mapping.part) + ", " +
           place_text(other.place) + words.substr(words.find(": "));
}

std::string value_name(std::string_view key, std::string_view part) {
    return std::string(key) + " of " + std::string(part);
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
