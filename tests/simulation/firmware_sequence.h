// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <vector>

using Bytes = std::vector<std::uint8_t>;

/// The ten messages of a confirmed command, byte for byte as they go over the cable.
inline Bytes sequence(std::uint8_t status, std::uint8_t data1, std::uint8_t data2) {
    const auto on = static_cast<std::uint8_t>(0x90 | (status & 0x0F));
    const auto off = static_cast<std::uint8_t>(0x80 | (status & 0x0F));
    return {0xF8,  0xF8, 0xF8,  0xF8,  0xF8,   0xF8,  on,    data1,
            data2, off,  data1, data2, status, data1, data2, 0xF8};
}
