// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// Device codes and the names that carry them. A machine's MIDI ports, and its device, have names
// that begin with the eight upper-case hexadecimal digits of its code.

namespace protocol {

/// Length of a code in a name: these first bytes tell whose it is.
inline constexpr std::size_t code_digits = 8;

/// Machines in the family.
inline constexpr std::uint32_t family_size = 16;

/// The code of the family's machine `number`, 0 to 15: 4AC0F4C4 to 4ACFF4C4.
[[nodiscard]] constexpr std::uint32_t family_code(std::uint32_t number) {
    return 0x4AC0F4C4U + number * 0x10000U;
}

/// The number of the family's machine with this code, 0 to 15; nothing for any other code.
[[nodiscard]] constexpr std::optional<std::uint32_t> family_number(std::uint32_t code) {
    const std::uint32_t number = (code >> 16) & 0xF;
    if (code != family_code(number))
        return std::nullopt;
    return number;
}

/// The code as its eight upper-case hexadecimal digits.
[[nodiscard]] constexpr std::array<char, code_digits> code_characters(std::uint32_t code) {
    std::array<char, code_digits> text{};
    for (std::size_t i = 0; i < code_digits; ++i)
        text[i] = "0123456789ABCDEF"[(code >> (28 - 4 * i)) & 0xF];
    return text;
}

[[nodiscard]] inline std::string code_text(std::uint32_t code) {
    const auto text = code_characters(code);
    return {text.data(), text.size()};
}

/// Reads exactly eight hexadecimal digits, upper or lower case; nothing for any other text.
[[nodiscard]] constexpr std::optional<std::uint32_t> parse_code(std::string_view text) {
    if (text.size() != code_digits)
        return std::nullopt;
    std::uint32_t code = 0;
    for (const char character : text) {
        const std::size_t digit = std::string_view("0123456789ABCDEFabcdef").find(character);
        if (digit == std::string_view::npos)
            return std::nullopt;
        code = code << 4 | static_cast<std::uint32_t>(digit < 16 ? digit : digit - 6);
    }
    return code;
}

/// Whether a port or device of this name belongs to the machine with this code.
[[nodiscard]] constexpr bool carries(std::string_view name, std::uint32_t code) {
    const auto text = code_characters(code);
    return name.starts_with(std::string_view{text.data(), text.size()});
}

} // namespace protocol
