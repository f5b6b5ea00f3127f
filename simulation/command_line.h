// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

// What the command lines of programs with simulated machines have in common.

/// A mistake in the arguments, as a sentence to print behind the program's name.
struct WrongArguments : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The two lines that a program prints on standard error before it exits with 2.
[[nodiscard]] std::string mistake_text(const std::string& program, const WrongArguments& mistake);

/// The device code that eight hexadecimal digits stand for; WrongArguments.
[[nodiscard]] std::uint32_t code_argument(const std::string& text);

/// A whole decimal number from `least` to `most`; WrongArguments, which calls it `name`.
[[nodiscard]] unsigned count_argument(const std::string& name, const std::string& text,
                                      unsigned least, unsigned most);

/// The help of the fault options, one a line, in the columns 3 and 33.
inline constexpr const char* fault_help =
    "  --silent                      Do not echo\n"
    "  --delay MS                    Echo MS milliseconds later, at most 60000\n"
    "  --wrong                       Echo with one byte changed, the second\n"
    "  --wrong-byte N                With --wrong: change byte 1, 2 or 3 instead\n"
    "  --chatter                     Send clocks and notes of its own around the echo\n"
    "  --vanish-after N              Go away with the N-th message received\n"
    "  --times N                     Let only the first N echoes be faulty, not all\n";
