// SPDX-License-Identifier: MIT
#include "simulation/machine_arguments.h"

#include "protocol/device_code.h"

#include <CLI/CLI.hpp>

#include <iostream>

std::string mistake_in_code(const std::string& text) {
    if (protocol::parse_code(text))
        return {};
    return "\"" + text +
           "\" is not a device code: it has eight hexadecimal digits, such as 4AC5F4C4";
}

CodeArguments::CodeArguments(CLI::App& app) {
    auto* some =
        app.add_option("CODE", names_, "Device codes, such as 4AC5F4C4 (which is the default)")
            ->check(&mistake_in_code)
            ->type_name("");
    app.add_flag("--all", all_, "The sixteen machines from 4AC0F4C4 to 4ACFF4C4")->excludes(some);
}

std::vector<std::uint32_t> CodeArguments::codes() const {
    std::vector<std::uint32_t> codes;
    codes.reserve(names_.size() + protocol::family_size);
    for (const std::string& name : names_)
        codes.push_back(protocol::parse_code(name).value());
    for (std::uint32_t i = 0; all_ && i < protocol::family_size; ++i)
        codes.push_back(protocol::family_code(i));
    if (codes.empty())
        codes.push_back(protocol::family_code(5));
    return codes;
}

FaultArguments::FaultArguments(CLI::App& app) {
    const auto add = [](auto* option) { return option->group("Faults"); };
    const auto number = [&](const char* name, const char* type, unsigned& value, unsigned least,
                            unsigned most, const char* help) {
        return add(app.add_option(name, value, help)->type_name(type))
            ->check(CLI::Range(least, most).description(""));
    };
    constexpr unsigned many = MachineFaults::always;
    add(app.add_flag("--silent", silent_, "Do not echo"));
    number("--delay", "MS", delay_ms_, 0, 60000, "Echo so many milliseconds later");
    auto* wrong = add(app.add_flag("--wrong", wrong_, "Echo with one byte changed, the second"));
    number("--wrong-byte", "N", wrong_byte_, 1, 3, "Change byte 1, 2 or 3 instead")->needs(wrong);
    add(app.add_flag("--chatter", chatter_, "Echo between clocks and notes of its own"));
    number("--vanish-after", "N", vanish_after_, 1, many, "Go away with the N-th message it gets");
    number("--times", "N", times_, 1, many, "Let only the first N echoes be faulty, not all");
}

MachineFaults FaultArguments::faults() const {
    MachineFaults faults;
    faults.silent = silent_ ? times_ : 0;
    faults.slow = delay_ms_ != 0 ? times_ : 0;
    faults.delay_ms = delay_ms_;
    faults.wrong = wrong_ ? times_ : 0;
    faults.wrong_byte = wrong_byte_;
    faults.chatter = chatter_ ? times_ : 0;
    faults.vanish_after = vanish_after_;
    return faults;
}

std::optional<int> read_arguments(CLI::App& app, int count, const char* const* arguments) {
    try {
        app.parse(count, arguments);
        return std::nullopt;
    } catch (const CLI::Success& request) {
        return app.exit(request);
    } catch (const CLI::ParseError& mistake) {
        std::cerr << app.get_name() << ": " << mistake.what() << "\nTry \"" << app.get_name()
                  << " --help\".\n";
        return 2;
    }
}
