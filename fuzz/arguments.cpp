// SPDX-License-Identifier: MIT
// The command line of keyloft-machine. An input is one argument a line. Nothing but a mistake is
// thrown, and what is asked for is within its ranges.
#include "fuzz/target.h"
#include "protocol/device_code.h"
#include "simulation/command_line.h"
#include "simulation/machine_arguments.h"

#include <algorithm>
#include <cctype>

namespace {

bool is_code(const std::string& text) {
    return text.size() == 8 &&
           std::ranges::all_of(text, [](unsigned char c) { return std::isxdigit(c) != 0; });
}

std::string upper_case(std::string text) {
    for (char& c : text)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return text;
}

bool has(const std::vector<std::string>& lines, const std::string& line) {
    return std::ranges::find(lines, line) != lines.end();
}

void check_codes(const std::vector<std::uint32_t>& codes, const std::vector<std::string>& lines) {
    require(!codes.empty(), "there is always a machine");
    const bool are_all = codes.size() == 16 && codes[0] == 0x4AC0F4C4 && codes[15] == 0x4ACFF4C4;
    for (const std::uint32_t code : codes) {
        const std::string name = protocol::code_text(code);
        const auto is_named = [&name](const std::string& line) {
            return upper_case(line).ends_with(name);
        };
        require(are_all || code == 0x4AC5F4C4 || std::ranges::any_of(lines, is_named),
                "each machine was asked for");
    }
    if (has(lines, "--all"))
        require(are_all || has(lines, "--"), "all of them are sixteen");
}

void check_faults(const MachineFaults& faults, const std::vector<std::string>& lines) {
    require(faults.wrong_byte >= 1 && faults.wrong_byte <= 3, "a message has three bytes");
    require(faults.delay_ms <= 60000, "an echo is a minute late at most");
    require((faults.slow != 0) == (faults.delay_ms != 0), "late is what has a delay");
    unsigned times = 0;
    for (const unsigned count : {faults.silent, faults.slow, faults.wrong, faults.chatter}) {
        require(count == 0 || times == 0 || count == times, "all faults last as long");
        times = std::max(times, count);
    }
    if (lines == std::vector<std::string>{"--silent"})
        require(faults.silent == MachineFaults::always, "faults last for ever");
}

void check_texts(const std::vector<std::string>& lines) {
    for (const std::string& line : lines) {
        const auto code = protocol::parse_code(line);
        require(code.has_value() == is_code(line), "a code is eight digits");
        if (code)
            require(protocol::code_text(*code) == upper_case(line), "the code is its digits");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto lines = read_lines({data, size});
    check_texts(lines);
    try {
        const MachineArguments arguments = read_arguments(lines);
        if (!arguments.text.empty())
            return 0;
        check_codes(arguments.codes, lines);
        check_faults(arguments.faults, lines);
    } catch (const WrongArguments& mistake) {
        require(!std::string(mistake.what()).empty(), "a mistake has words");
    }
    return 0;
}
