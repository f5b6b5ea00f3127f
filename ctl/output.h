// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

/// Lines on a descriptor, each written at once and as a whole. SIGPIPE has to be ignored. One
/// thread.
class Output {
public:
    /// `descriptor` stays open for as long as the object lives.
    explicit Output(int descriptor) : descriptor_(descriptor) {}

    /// Writes a text and the end of the line. Nothing is written any more after a failure.
    void line(std::string_view text);
    /// Writes a text as it is.
    void text(std::string_view text);

    /// Why not all was written: an errno, such as EPIPE when the reader has gone; else 0.
    [[nodiscard]] int error() const { return error_; }
    [[nodiscard]] int descriptor() const { return descriptor_; }

private:
    const int descriptor_;
    int error_ = 0;
};

/// Whether text on this descriptor may be coloured: it is a terminal, TERM is not "dumb", and
/// NO_COLOR is not set or empty.
[[nodiscard]] bool wants_colour(int descriptor);
