// SPDX-License-Identifier: MIT
#pragma once

#include "fuzz/target.h"

#include <optional>

// The grammar of MIDI messages a second time, for the fuzz targets to compare with.

/// Number of data bytes after a status byte; nothing if the byte starts no short message.
inline std::optional<std::size_t> data_bytes(std::uint8_t status) {
    switch (status >> 4) {
    case 0x8:
    case 0x9:
    case 0xA:
    case 0xB:
    case 0xE:
        return 2;
    case 0xC:
    case 0xD:
        return 1;
    default:
        break;
    }
    switch (status) {
    case 0xF2:
        return 2;
    case 0xF1:
    case 0xF3:
        return 1;
    case 0xF6:
    case 0xF8:
    case 0xFA:
    case 0xFB:
    case 0xFC:
    case 0xFE:
    case 0xFF:
        return 0;
    default:
        return std::nullopt;
    }
}

/// Whether the bytes are one or more whole messages.
inline bool are_whole_messages(std::span<const std::uint8_t> bytes) {
    std::size_t at = 0;
    while (at < bytes.size()) {
        const std::uint8_t status = bytes[at++];
        const auto length = data_bytes(status);
        if (!length && status != 0xF0)
            return false;
        std::size_t data = 0;
        while (at < bytes.size() && bytes[at] < 0x80 && data != length) {
            ++at;
            ++data;
        }
        if (length ? data != *length : at == bytes.size() || bytes[at++] != 0xF7)
            return false;
    }
    return !bytes.empty();
}
