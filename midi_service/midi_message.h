// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

/// Length in bytes, 1 to 3, of a message with this status byte. 0 for a byte that starts no such
/// message: a data byte, 0xF0, 0xF7 or an undefined status.
[[nodiscard]] constexpr std::size_t message_length(std::uint8_t status) {
    if (status < 0x80)
        return 0;
    if (status < 0xF0)
        return (status & 0xE0) == 0xC0 ? 2 : 3;
    constexpr std::array<std::uint8_t, 16> system = {0, 2, 3, 2, 0, 0, 1, 0,
                                                     1, 0, 1, 1, 1, 0, 1, 1};
    return system[status & 0x0F];
}

/// Length of the whole, valid message at the start of `bytes`: its status and all its data bytes,
/// or system-exclusive data from 0xF0 to 0xF7. 0 when there is none.
[[nodiscard]] std::size_t whole_message(std::span<const std::uint8_t> bytes);

/// Splits a stream of bytes into whole messages. Running status is written out, a real-time byte
/// inside another message comes out before it, and bytes that belong to no message are dropped.
class MessageReader {
public:
    /// Reads one byte. The result is the message that it ends (in a buffer that the next call
    /// overwrites), or nothing. System-exclusive data come in pieces of at most 256 bytes.
    [[nodiscard]] std::span<const std::uint8_t> read(std::uint8_t byte);

private:
    std::span<const std::uint8_t> read_exclusive(std::uint8_t byte);
    std::span<const std::uint8_t> read_status(std::uint8_t byte);
    std::span<const std::uint8_t> read_data(std::uint8_t byte);

    std::array<std::uint8_t, 256> bytes_{};
    std::size_t length_ = 0;    ///< bytes of the message so far
    std::size_t wanted_ = 0;    ///< its whole length; 0: no message has begun
    bool exclusive_ = false;    ///< inside system-exclusive data
    std::uint8_t running_ = 0;  ///< the running status, or 0
    std::uint8_t realtime_ = 0; ///< apart from bytes_: it can come inside another message
};
