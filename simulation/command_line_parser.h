// SPDX-License-Identifier: MIT
#pragma once

#include "simulation/command_line.h"
#include "simulation/firmware.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <vector>

// CLI11 with our own sentences: those of the library differ from version to version. It takes
// seconds to compile, so a program includes this header in one file, the one that reads its
// arguments.

/// Adds the fault options, in the group "Faults".
inline void add_fault_options(CLI::App& app) {
    for (const char* const flag : {"--silent", "--wrong", "--chatter"})
        app.add_flag(flag)->disable_flag_override()->group("Faults");
    for (const char* const text : {"--delay", "--wrong-byte", "--vanish-after", "--times"})
        app.add_option(text)->group("Faults");
}

/// The faults that the options ask for, once they were read; WrongArguments.
[[nodiscard]] inline MachineFaults faults_of(const CLI::App& app) {
    constexpr unsigned many = MachineFaults::always;
    const auto number = [&app](const char* name, unsigned least, unsigned most,
                               unsigned otherwise) {
        const auto texts = app.get_option(name)->results();
        return texts.empty() ? otherwise : count_argument(name, texts.front(), least, most);
    };
    if (app.count("--wrong") == 0 && app.count("--wrong-byte") != 0)
        throw WrongArguments("--wrong-byte needs --wrong");
    const unsigned times = number("--times", 1, many, many);
    MachineFaults faults;
    faults.silent = app.count("--silent") != 0 ? times : 0;
    faults.delay_ms = number("--delay", 0, 60000, 0);
    faults.slow = faults.delay_ms != 0 ? times : 0;
    faults.wrong = app.count("--wrong") != 0 ? times : 0;
    faults.wrong_byte = number("--wrong-byte", 1, 3, faults.wrong_byte);
    faults.chatter = app.count("--chatter") != 0 ? times : 0;
    faults.vanish_after = number("--vanish-after", 1, many, 0);
    return faults;
}

/// Why the options and their values do not go together. `arguments` are what CLI11 refused.
[[nodiscard]] inline std::string mismatch(const CLI::App& app,
                                          const std::vector<std::string>& arguments) {
    const auto takes_value = [](const CLI::Option* option) {
        return option->get_items_expected_max() > 0;
    };
    for (const CLI::Option* const option : app.get_options()) {
        if (takes_value(option) && option->count() > 1)
            return option->get_name() + " is given twice";
    }
    for (const std::string& argument : arguments) {
        const std::string name = argument.substr(0, argument.find('='));
        const CLI::Option* const option = app.get_option_no_throw(name);
        if (option != nullptr && name != argument && !takes_value(option))
            return name + " takes no value";
    }
    // Anything behind an option is taken as its value, so the one without is the last.
    return arguments.back().substr(0, arguments.back().find('=')) + " needs a value";
}

/// Reads a command line, given without the program's name, into the options of `app`, all of them
/// flags without override or single texts. Returns the words that are no options, in their order: a
/// number below 0 is a word, and so is all that follows "--". WrongArguments.
[[nodiscard]] inline std::vector<std::string>
read_options(CLI::App& app, const std::vector<std::string>& arguments) {
    const auto mark = std::ranges::find(arguments, "--");
    const std::vector<std::string> front(arguments.begin(), mark);
    app.allow_extras();
    try {
        app.parse(std::vector<std::string>(front.rbegin(), front.rend()));
    } catch (const CLI::ArgumentMismatch&) {
        throw WrongArguments(mismatch(app, front));
    }
    for (const CLI::Option* const option : app.get_options()) {
        if (std::ranges::count(option->results(), "") != 0)
            throw WrongArguments(option->get_name() + " needs a value");
    }
    std::vector<std::string> words = app.remaining();
    for (const std::string& word : words) {
        if (word.size() > 1 && word[0] == '-' && (word[1] < '0' || word[1] > '9'))
            throw WrongArguments("there is no option " + word.substr(0, word.find('=')));
    }
    if (mark != arguments.end())
        words.insert(words.end(), mark + 1, arguments.end());
    return words;
}
