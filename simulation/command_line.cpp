// SPDX-License-Identifier: MIT
#include "simulation/command_line.h"

#include "protocol/device_code.h"

#include <charconv>

namespace {

/// The whole number that an option was given, or `otherwise` without the option.
unsigned number(const char* option, const std::string& text, unsigned least, unsigned most,
                unsigned otherwise) {
    if (text.empty())
        return otherwise;
    unsigned value = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error == std::errc{} && stop == end && value >= least && value <= most)
        return value;
    throw WrongArguments(std::string(option) + " is \"" + text +
                         "\": it has to be a whole number from " + std::to_string(least) + " to " +
                         std::to_string(most));
}

} // namespace

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

MachineFaults faults_of(const FaultOptions& options) {
    constexpr unsigned many = MachineFaults::always;
    if (!options.wrong && !options.wrong_byte.empty())
        throw WrongArguments("--wrong-byte needs --wrong");
    const unsigned times = number("--times", options.times, 1, many, many);
    MachineFaults faults;
    faults.silent = options.silent ? times : 0;
    faults.delay_ms = number("--delay", options.delay, 0, 60000, 0);
    faults.slow = faults.delay_ms != 0 ? times : 0;
    faults.wrong = options.wrong ? times : 0;
    faults.wrong_byte = number("--wrong-byte", options.wrong_byte, 1, 3, faults.wrong_byte);
    faults.chatter = options.chatter ? times : 0;
    faults.vanish_after = number("--vanish-after", options.vanish_after, 1, many, 0);
    return faults;
}
