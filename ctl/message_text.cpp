// SPDX-License-Identifier: MIT
#include "ctl/message_text.h"

#include "protocol/mapping.h"

#include <algorithm>

namespace {

struct Form {
    std::uint8_t status; ///< of a channel message without its channel
    std::string_view name;
    std::array<std::string_view, 2> data; ///< names of the data bytes; empty: there is none
};

/// The form of a message that a part can be set to send.
constexpr Form mapped(protocol::MessageType type, std::array<std::string_view, 2> data) {
    return {static_cast<std::uint8_t>(type), protocol::type_name(type), data};
}

constexpr std::array<Form, 6> channel_forms = {{
    mapped(protocol::MessageType::note_off, {"note", "velocity"}),
    mapped(protocol::MessageType::note_on, {"note", "velocity"}),
    mapped(protocol::MessageType::control_change, {"controller", "value"}),
    {0xA0, "Key Pressure", {"note", "pressure"}},
    {0xC0, "Program Change", {"program", ""}},
    {0xD0, "Channel Pressure", {"pressure", ""}},
}};

constexpr std::array<Form, 7> system_forms = {{
    {0xF1, "Time Code", {"quarter_frame", ""}},
    {0xF3, "Song Select", {"song", ""}},
    {0xF6, "Tune Request", {"", ""}},
    {0xFA, "Start", {"", ""}},
    {0xFB, "Continue", {"", ""}},
    {0xFC, "Stop", {"", ""}},
    {0xFF, "Reset", {"", ""}},
}};

/// Two data bytes as one number of fourteen bits, the lower seven first.
int wide_number(std::span<const std::uint8_t> bytes) {
    return bytes[1] + bytes[2] * 128;
}

bool reads_form(const Form& form, std::span<const std::uint8_t> data, MessageReading& reading) {
    const auto wanted = static_cast<std::size_t>(
        std::ranges::count_if(form.data, [](std::string_view name) { return !name.empty(); }));
    if (data.size() != wanted)
        return false;
    reading.name = form.name;
    for (std::size_t i = 0; i < wanted; ++i)
        reading.numbers.emplace_back(form.data[i], data[i]);
    return true;
}

std::optional<MessageReading> read_channel_message(std::span<const std::uint8_t> bytes) {
    MessageReading reading;
    reading.numbers.emplace_back("channel", (bytes[0] & 0x0F) + 1);
    const int status = bytes[0] & 0xF0;
    if (status == static_cast<int>(protocol::MessageType::bend_change) && bytes.size() == 3) {
        reading.name = protocol::type_name(protocol::MessageType::bend_change);
        reading.numbers.emplace_back("position", wide_number(bytes) - 8192);
        return reading;
    }
    for (const Form& form : channel_forms) {
        if (form.status == status && reads_form(form, bytes.subspan(1), reading))
            return reading;
    }
    return std::nullopt;
}

std::optional<MessageReading> read_system_message(std::span<const std::uint8_t> bytes) {
    MessageReading reading;
    if (bytes[0] == 0xF0) {
        reading.name = "System Exclusive";
        return reading;
    }
    if (bytes[0] == 0xF2 && bytes.size() == 3) {
        reading.name = "Song Position";
        reading.numbers.emplace_back("position", wide_number(bytes));
        return reading;
    }
    for (const Form& form : system_forms) {
        if (form.status == bytes[0] && reads_form(form, bytes.subspan(1), reading))
            return reading;
    }
    return std::nullopt;
}

} // namespace

std::string MessageReading::text() const {
    std::string text(name);
    for (const auto& [what, number] : numbers) {
        text += ", ";
        for (const char letter : what)
            text += letter == '_' ? ' ' : letter;
        text += ' ';
        text += std::to_string(number);
    }
    return text;
}

std::optional<MessageReading> read_message(std::span<const std::uint8_t> bytes) {
    const auto is_data = [](std::uint8_t byte) { return byte <= 0x7F; };
    if (bytes.empty() || is_data(bytes[0]))
        return std::nullopt;
    if (bytes[0] != 0xF0 && !std::ranges::all_of(bytes.subspan(1), is_data))
        return std::nullopt;
    return bytes[0] < 0xF0 ? read_channel_message(bytes) : read_system_message(bytes);
}

std::string hex_text(std::span<const std::uint8_t> bytes) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        if (!text.empty())
            text += ' ';
        text += digits[byte >> 4];
        text += digits[byte & 0xF];
    }
    return text;
}
