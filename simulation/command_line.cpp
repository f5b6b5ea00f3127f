// SPDX-License-Identifier: MIT
#include "simulation/command_line.h"

#include "protocol/device_code.h"

#include <charconv>

std::string mistake_text(const std::string& program, const WrongArguments& mistake) {
    return program + ": " + mistake.what() + "\nTry \"" + program + " --help\".\n";
}

std::uint32_t code_argument(const std::string& text) {
    if (const auto code = protocol::parse_code(text))
        return *code;
    throw WrongArguments("\"" + text +
                         "\" is not a device code: it has eight hexadecimal digits, such as " +
                         protocol::code_text(protocol::family_code(5)));
}

unsigned count_argument(const std::string& name, const std::string& text, unsigned least,
                        unsigned most) {
    unsigned value = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error == std::errc{} && stop == end && value >= least && value <= most)
        return value;
    throw WrongArguments(name + " is \"" + text + "\": it has to be a whole number from " +
                         std::to_string(least) + " to " + std::to_string(most));
}
