// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <vector>

// The confirmed sequence as the tests expect it, written out independently of the product.

using Bytes = std::vector<std::uint8_t>;

/// The bytes of several messages, one behind the other.
inline Bytes joined(const std::vector<Bytes>& messages) {
    Bytes all;
    for (const Bytes& message : messages)
        all.insert(all.end(), message.begin(), message.end());
    return all;
}

/// The ten events that carry one message, in order.
inline std::vector<Bytes> sequence_events(std::uint8_t status, std::uint8_t data1,
                                          std::uint8_t data2) {
    const auto on = static_cast<std::uint8_t>(0x90 | (status & 0x0F));
    const auto off = static_cast<std::uint8_t>(0x80 | (status & 0x0F));
    std::vector<Bytes> events(6, Bytes{0xF8});
    events.insert(events.end(),
                  {{on, data1, data2}, {off, data1, data2}, {status, data1, data2}, {0xF8}});
    return events;
}

/// The same as the bytes on the cable.
inline Bytes sequence(std::uint8_t status, std::uint8_t data1, std::uint8_t data2) {
    return joined(sequence_events(status, data1, data2));
}

/// The pauses in microseconds: before the burst, before each of the other four events, and after
/// the last one.
inline const std::vector<unsigned> sequence_pauses = {2000, 1000, 2000, 2000, 2000, 2000};

/// For the echo, in microseconds.
inline constexpr unsigned echo_wait = 300'000;

/// The pauses of a whole command: a sequence, the wait for the echo and, without an echo, the
/// sequence again.
inline std::vector<unsigned> command_pauses(bool repeated) {
    std::vector<unsigned> pauses = sequence_pauses;
    pauses.push_back(echo_wait);
    if (repeated)
        pauses.insert(pauses.end(), sequence_pauses.begin(), sequence_pauses.end());
    return pauses;
}
