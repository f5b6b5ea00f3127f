// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace setup {

/// The text with a question mark for each control character: those would steer a terminal, and
/// other people choose the names of ports and what stands in files.
[[nodiscard]] inline std::string printable(std::string_view text) {
    std::string plain;
    plain.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : 0);
        const bool is_long_control =
            byte == 0xC2 && next >= 0x80 && next < 0xA0; // U+0080 to U+009F
        if (is_long_control)
            ++i;
        plain += is_long_control || byte < ' ' || byte == 0x7F ? '?' : text[i];
    }
    return plain;
}

} // namespace setup
