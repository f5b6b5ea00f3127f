// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// A MIDI message as people read it.
struct MessageReading {
    std::string_view name; ///< such as "Control Change", as the window calls it
    /// Its numbers under the names that they have in text and JSON, such as channel 1 (of 16),
    /// controller 7, value 64. The position of a bend goes from -8192 to 8191.
    std::vector<std::pair<std::string_view, int>> numbers{};

    /// "Control Change, channel 1, controller 7, value 64"
    [[nodiscard]] std::string text() const;
};

/// Reads one whole message; of system-exclusive data the beginning will do. Nothing for timing
/// clocks and active sensing, which come many times a second, and for what is no message, such as
/// the later pieces of system-exclusive data.
[[nodiscard]] std::optional<MessageReading> read_message(std::span<const std::uint8_t> bytes);

/// Bytes as two hexadecimal digits each: "B0 07 0C".
[[nodiscard]] std::string hex_text(std::span<const std::uint8_t> bytes);
