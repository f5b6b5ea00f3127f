// SPDX-License-Identifier: MIT
#pragma once

#include <string>
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

    /// From now on a reader that is slow holds nobody up: line() and text() keep what cannot be
    /// written at once.
    void keep_for_slow_reader() { is_patient_ = true; }
    /// Whether something is kept. write_kept() can write more when the descriptor is ready for
    /// output.
    [[nodiscard]] bool has_kept() const { return !kept_.empty(); }
    /// Writes as much of it as can be written without waiting.
    void write_kept();

    /// Why not all was written: an errno, such as EPIPE when the reader has gone; else 0.
    [[nodiscard]] int error() const { return error_; }
    [[nodiscard]] int descriptor() const { return descriptor_; }

private:
    [[nodiscard]] std::size_t write_some(std::string_view text);

    const int descriptor_;
    int error_ = 0;
    bool is_patient_ = false;
    std::string kept_{};
};

/// Whether this descriptor is a terminal that can do more than print lines: TERM is set, and not
/// "dumb".
[[nodiscard]] bool is_able_terminal(int descriptor);

/// Whether text on this descriptor may be coloured: it is an able terminal, and NO_COLOR is not set
/// or empty.
[[nodiscard]] bool wants_colour(int descriptor);
