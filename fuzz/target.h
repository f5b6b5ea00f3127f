// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <vector>

// What the fuzz targets share. A target is one function, LLVMFuzzerTestOneInput(), which libFuzzer
// calls with bytes of its own making over and over. It starts from the same state each time.

using Bytes = std::vector<std::uint8_t>;

/// Ends the program, which libFuzzer reports with the input, unless something holds.
inline void require(bool holds, const char* what) {
    if (holds)
        return;
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
}

/// The bytes of an input, read from the front. Numbers that are not there any more read as zero.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : rest_(data, size) {}

    [[nodiscard]] bool empty() const { return rest_.empty(); }

    std::uint8_t byte() {
        const auto one = bytes(1);
        return one.empty() ? std::uint8_t{0} : one.front();
    }

    /// Two bytes, the low one first.
    std::uint16_t word() {
        const unsigned low = byte();
        return static_cast<std::uint16_t>(low | static_cast<unsigned>(byte()) << 8);
    }

    /// So many bytes, or as many as are left.
    std::span<const std::uint8_t> bytes(std::size_t length) {
        const auto taken = rest_.first(std::min(length, rest_.size()));
        rest_ = rest_.subspan(taken.size());
        return taken;
    }

    /// A length in one byte and so many bytes.
    Bytes run() {
        const auto taken = bytes(byte());
        return {taken.begin(), taken.end()};
    }

private:
    std::span<const std::uint8_t> rest_;
};
