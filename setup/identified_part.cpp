// SPDX-License-Identifier: MIT
#include "setup/identified_part.h"

namespace setup {

namespace {

/// The first number of a controller that is a mode message.
constexpr int first_mode = 120;
/// How far below their part the other controllers are.
constexpr int shift = part_count - first_mode;

constexpr int channel = 16;
constexpr int channel_of_others = 15;

} // namespace

protocol::KeyMapping identifying_mapping(int part) {
    const bool is_other = part >= first_mode;
    return {.part = part,
            .type = protocol::MessageType::control_change,
            .channel = is_other ? channel_of_others : channel,
            .controller = is_other ? part - shift : part};
}

std::optional<int> identified_part(std::span<const std::uint8_t> bytes) {
    if (bytes.size() != 3 || bytes[1] > protocol::highest_number ||
        bytes[2] > protocol::highest_number)
        return std::nullopt;
    const auto sent_on = [&bytes](int which) {
        return bytes[0] == protocol::status_of(protocol::MessageType::control_change, which - 1);
    };
    const int controller = bytes[1];
    if (sent_on(channel) && controller < first_mode)
        return controller;
    if (sent_on(channel_of_others) && controller >= first_mode - shift && controller < first_mode)
        return controller + shift;
    return std::nullopt;
}

void MovedParts::expect_late_echo(int part) {
    echo_may_come_.at(static_cast<std::size_t>(part)) = true;
}

std::optional<int> MovedParts::heard(std::span<const std::uint8_t> bytes) {
    const auto part = identified_part(bytes);
    if (!part || part == last_)
        return std::nullopt;
    // The message that sets a part has its number where a movement has the value.
    const bool is_late_echo = bytes[2] == *part && echo_may_come_[static_cast<std::size_t>(*part)];
    if (is_late_echo)
        return std::nullopt;
    last_ = part;
    return part;
}

} // namespace setup
