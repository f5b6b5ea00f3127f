// SPDX-License-Identifier: MIT
#pragma once

#include "protocol/mapping.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

// The confirmed sequence. A machine takes a message as a setting only after a burst of timing
// clocks and a note pair with the message's channel and data bytes. It then sends the message back.

namespace protocol {

inline constexpr std::uint8_t timing_clock = 0xF8;
inline constexpr std::size_t clocks_in_front = 6;

/// Makes the machine keep its mappings when it is switched off. Sent like a mapping.
inline constexpr Message save_command = {0xAF, 0x7F, 0x7F};

// Times are in microseconds.

/// Least pause after the closing clock.
inline constexpr unsigned pause_behind = 2'000;
/// How long to wait for the echo, counted from the end of that pause.
inline constexpr unsigned echo_wait = 300'000;

/// If no echo comes, the sequence is sent once more.
inline constexpr unsigned attempts = 2;

/// One event of the sequence.
struct SequenceEvent {
    Message message;       ///< the first `length` bytes of it
    std::uint8_t length;   ///< 1 or 3
    unsigned pause_before; ///< least pause between the event before and this one
    bool is_echoed;        ///< the machine sends this one back

    [[nodiscard]] constexpr std::span<const std::uint8_t> bytes() const {
        return std::span{message}.first(length);
    }
};

using Sequence = std::array<SequenceEvent, clocks_in_front + 4>;

/// The ten events that make a machine take a message: six timing clocks, note on, note off, the
/// message, one timing clock.
[[nodiscard]] constexpr Sequence confirmed_sequence(const Message& message) {
    constexpr Message clock = {timing_clock, 0, 0};
    const auto note = [&message](MessageType type) -> Message {
        return {status_of(type, message[0]), message[1], message[2]};
    };
    Sequence sequence{};
    sequence[0] = {clock, 1, 2'000, false};
    for (std::size_t i = 1; i < clocks_in_front; ++i)
        sequence[i] = {clock, 1, 0, false};
    sequence[clocks_in_front] = {note(MessageType::note_on), 3, 1'000, false};
    sequence[clocks_in_front + 1] = {note(MessageType::note_off), 3, 2'000, false};
    sequence[clocks_in_front + 2] = {message, 3, 2'000, true};
    sequence[clocks_in_front + 3] = {clock, 1, 2'000, false};
    return sequence;
}

/// Least time from the start of a sequence to the end of the pause behind it.
inline constexpr unsigned least_time = [] {
    unsigned time = pause_behind;
    for (const SequenceEvent& event : confirmed_sequence({}))
        time += event.pause_before;
    return time;
}();

/// The window's rule for an echo: the status has to agree and, except for a bend, the first data
/// byte. It never looks at the second. Deliberate; confirms() is the strict rule.
[[nodiscard]] constexpr bool confirms_loosely(std::uint8_t status, std::uint8_t data1,
                                              std::uint8_t echoed_status,
                                              std::uint8_t echoed_data1) {
    const bool is_bend = (status & 0xF0) == static_cast<int>(MessageType::bend_change);
    return status == echoed_status && (is_bend || data1 == echoed_data1);
}

/// Whether received bytes are the echo of this very message: all three bytes, whatever the type.
[[nodiscard]] constexpr bool confirms(const Message& message,
                                      std::span<const std::uint8_t> received) {
    return received.size() == message.size() && received[0] == message[0] &&
           received[1] == message[1] && received[2] == message[2];
}

} // namespace protocol
