// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// A key mapping, which is what one hardware part (a key, knob or fader) of a machine sends, and the
// three bytes of the MIDI message that sets it.

namespace protocol {

/// What a part can send; the value is the status byte without its channel.
enum class MessageType : std::uint8_t {
    note_off = 0x80,
    note_on = 0x90,
    control_change = 0xB0,
    bend_change = 0xE0
};

/// The status byte of a type on a channel, counted from 0. Only the low four bits are used.
[[nodiscard]] constexpr std::uint8_t status_of(MessageType type, int channel_bits) {
    return static_cast<std::uint8_t>(static_cast<int>(type) | (channel_bits & 0x0F));
}

struct NamedType {
    MessageType type;
    std::string_view name;
};

/// The types with the names that users see, in menu order.
inline constexpr std::array<NamedType, 4> message_types = {{
    {MessageType::note_on, "Note On"},
    {MessageType::note_off, "Note Off"},
    {MessageType::control_change, "Control Change"},
    {MessageType::bend_change, "Bend Change"},
}};

[[nodiscard]] constexpr std::string_view type_name(MessageType type) {
    for (const NamedType& known : message_types) {
        if (known.type == type)
            return known.name;
    }
    return {};
}

/// The type of exactly this name, or nothing.
[[nodiscard]] constexpr std::optional<MessageType> type_named(std::string_view name) {
    for (const NamedType& known : message_types) {
        if (known.name == name)
            return known.type;
    }
    return std::nullopt;
}

/// Highest number of a part and of a controller, and highest channel.
inline constexpr int highest_number = 127;
inline constexpr int highest_channel = 16;

/// A configuration message: status (type and channel), controller number, part.
using Message = std::array<std::uint8_t, 3>;

/// What one part sends. For a note, `controller` is the note's number; for a bend, the first byte
/// of its position.
struct KeyMapping {
    int part = 0; ///< 0 to 127
    MessageType type = MessageType::control_change;
    int channel = 1;    ///< 1 to 16
    int controller = 0; ///< 0 to 127

    bool operator==(const KeyMapping&) const = default;
};

/// The message that sets a mapping; nothing if a number of it is out of range.
[[nodiscard]] constexpr std::optional<Message> message_of(const KeyMapping& mapping) {
    const bool in_range = mapping.part >= 0 && mapping.part <= highest_number &&
                          mapping.channel >= 1 && mapping.channel <= highest_channel &&
                          mapping.controller >= 0 && mapping.controller <= highest_number &&
                          !type_name(mapping.type).empty();
    if (!in_range)
        return std::nullopt;
    return Message{status_of(mapping.type, mapping.channel - 1),
                   static_cast<std::uint8_t>(mapping.controller),
                   static_cast<std::uint8_t>(mapping.part)};
}

/// The mapping that a message sets; nothing if it sets none.
[[nodiscard]] constexpr std::optional<KeyMapping> mapping_of(const Message& message) {
    const auto type = static_cast<MessageType>(message[0] & 0xF0);
    if (type_name(type).empty() || message[1] > highest_number || message[2] > highest_number)
        return std::nullopt;
    return KeyMapping{.part = message[2],
                      .type = type,
                      .channel = (message[0] & 0x0F) + 1,
                      .controller = message[1]};
}

/// The mapping in words: "part 12: Control Change, channel 1, controller 7".
[[nodiscard]] inline std::string mapping_text(const KeyMapping& mapping) {
    return "part " + std::to_string(mapping.part) + ": " + std::string(type_name(mapping.type)) +
           ", channel " + std::to_string(mapping.channel) + ", controller " +
           std::to_string(mapping.controller);
}

} // namespace protocol
