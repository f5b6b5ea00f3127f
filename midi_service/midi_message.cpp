// SPDX-License-Identifier: MIT
#include "midi_service/midi_message.h"

#include <algorithm>

namespace {
constexpr std::uint8_t exclusive_start = 0xF0;
constexpr std::uint8_t exclusive_end = 0xF7;
constexpr std::uint8_t first_realtime = 0xF8;

bool is_data(std::uint8_t byte) {
    return byte < 0x80;
}
} // namespace

std::size_t whole_message(std::span<const std::uint8_t> bytes) {
    if (bytes.empty())
        return 0;
    const auto data = bytes.subspan(1);
    if (bytes.front() == exclusive_start) {
        const auto end = std::ranges::find_if_not(data, is_data);
        const bool closed = end != data.end() && *end == exclusive_end;
        return closed ? static_cast<std::size_t>(end - data.begin()) + 2 : 0;
    }
    const std::size_t length = message_length(bytes.front());
    if (length == 0 || bytes.size() < length)
        return 0;
    return std::ranges::all_of(data.first(length - 1), is_data) ? length : 0;
}

std::span<const std::uint8_t> MessageReader::read(std::uint8_t byte) {
    if (byte >= first_realtime) {
        realtime_ = byte;
        return std::span{&realtime_, message_length(byte)}; // empty for an undefined status
    }
    if (exclusive_)
        return read_exclusive(byte);
    return is_data(byte) ? read_data(byte) : read_status(byte);
}

std::span<const std::uint8_t> MessageReader::read_exclusive(std::uint8_t byte) {
    if (!is_data(byte) && byte != exclusive_end) {
        // Another message cut it off; the rest is lost.
        exclusive_ = false;
        return read_status(byte);
    }
    if (length_ == bytes_.size())
        length_ = 0; // the piece before was given out
    bytes_[length_++] = byte;
    exclusive_ = byte != exclusive_end;
    if (exclusive_ && length_ < bytes_.size())
        return {};
    return std::span{bytes_}.first(length_);
}

std::span<const std::uint8_t> MessageReader::read_status(std::uint8_t byte) {
    bytes_[0] = byte;
    length_ = 1;
    exclusive_ = byte == exclusive_start;
    running_ = byte < exclusive_start ? byte : 0;
    const std::size_t whole = message_length(byte);
    wanted_ = whole > 1 ? whole : 0;
    return std::span{bytes_}.first(whole == 1 ? 1 : 0);
}

std::span<const std::uint8_t> MessageReader::read_data(std::uint8_t byte) {
    if (wanted_ == 0) {
        if (running_ == 0)
            return {};
        bytes_[0] = running_;
        length_ = 1;
        wanted_ = message_length(running_);
    }
    bytes_[length_++] = byte;
    if (length_ < wanted_)
        return {};
    wanted_ = 0;
    return std::span{bytes_}.first(length_);
}
