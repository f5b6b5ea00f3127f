// SPDX-License-Identifier: MIT
#include "ctl/arguments.h"

#include "ctl/help_text.h"
#include "simulation/machine_arguments.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <string_view>

namespace {

struct NamedCommand {
    std::string_view name;
    Command command;
    std::string_view arguments; ///< as the help shows them
    std::size_t count;          ///< of arguments
};

constexpr std::array<NamedCommand, 5> commands = {{
    {"list", Command::list, "no arguments", 0},
    {"set", Command::set, "four arguments: PART TYPE CHANNEL NUMBER", 4},
    {"save", Command::save, "no arguments", 0},
    {"watch", Command::watch, "no arguments", 0},
    {"doctor", Command::doctor, "no arguments", 0},
}};

/// The options as they stand on the command line.
struct Options {
    std::string machine;
    std::string demo;
    bool json = false;
    bool save = false;
    bool gentle = false;
    bool help = false;
    bool version = false;
};

void add_options(CLI::App& app, Options& options) {
    const auto flag = [&app](const char* name, bool& value) {
        app.add_flag(name, value)->disable_flag_override();
    };
    app.set_help_flag("");
    app.allow_extras(); // words are looked at in the order in which they stand
    app.add_option("-m,--machine", options.machine);
    app.add_flag("--demo{4AC5F4C4}", options.demo);
    flag("--json", options.json);
    flag("--save", options.save);
    flag("--gentle", options.gentle);
    flag("-h,--help", options.help);
    flag("--version", options.version);
}

/// CLI11's sentences differ from version to version, these do not. Both begin with the option's
/// name, with or without its dashes.
std::string mistake_text(const CLI::App& app, const CLI::ParseError& mistake) {
    const std::string said = mistake.what();
    const std::size_t start = std::min(said.find_first_not_of('-'), said.size());
    const std::string name = "--" + said.substr(start, said.find_first_of(": ", start) - start);
    const CLI::Option* const option = app.get_option_no_throw(name);
    if (option == nullptr || dynamic_cast<const CLI::ArgumentMismatch*>(&mistake) == nullptr)
        return said;
    if (option->get_items_expected_max() == 0)
        return name + " takes no value";
    return name + (option->count() > 1 ? " is given twice" : " needs a value");
}

/// The words that are no options, in order. A number below 0 is a word, so that it can be said
/// which argument it is.
std::vector<std::string> words_of(const std::vector<std::string>& extras) {
    std::vector<std::string> words;
    bool only_words = false;
    for (const std::string& extra : extras) {
        const bool looks_like_option =
            extra.size() > 1 && extra[0] == '-' && (extra[1] < '0' || extra[1] > '9');
        if (!only_words && extra == "--")
            only_words = true;
        else if (!only_words && looks_like_option)
            throw ArgumentError("there is no option " + extra.substr(0, extra.find('=')));
        else
            words.push_back(extra);
    }
    return words;
}

const NamedCommand& command_of(const std::vector<std::string>& words) {
    if (words.empty())
        throw ArgumentError("a command is missing");
    for (const NamedCommand& known : commands) {
        if (known.name != words[0])
            continue;
        if (words.size() != known.count + 1)
            throw ArgumentError(words[0] + " takes " + std::string(known.arguments));
        return known;
    }
    throw ArgumentError("there is no command \"" + words[0] + "\"");
}

protocol::KeyMapping mapping_argument(const std::vector<std::string>& words) {
    using protocol::highest_number;
    protocol::KeyMapping mapping;
    mapping.part = number_argument("PART", words[1], 0, highest_number);
    mapping.type = type_argument(words[2]);
    mapping.channel = number_argument("CHANNEL", words[3], 1, protocol::highest_channel);
    mapping.controller = number_argument("NUMBER", words[4], 0, highest_number);
    return mapping;
}

void refuse_what_does_not_fit(const CLI::App& app, const Options& options, Command command) {
    if (options.save && command != Command::set)
        throw ArgumentError("--save belongs to set");
    if (options.gentle && command != Command::set && command != Command::save)
        throw ArgumentError("--gentle belongs to set and save");
    for (const CLI::Option* const option : app.get_options()) {
        if (option->get_group() == "Faults" && option->count() != 0 && options.demo.empty())
            throw ArgumentError(option->get_name() + " needs --demo: a real machine has its own "
                                                     "faults");
    }
}

Request request_of(const CLI::App& app, const Options& options, const FaultArguments& faults) {
    const std::vector<std::string> words = words_of(app.remaining());
    const NamedCommand& command = command_of(words);
    refuse_what_does_not_fit(app, options, command.command);
    Request request{.command = command.command,
                    .save = options.save,
                    .gentle = options.gentle,
                    .json = options.json,
                    .faults = faults.faults()};
    if (app.count("-m") != 0)
        request.machine = machine_argument(options.machine);
    if (command.command == Command::set)
        request.mapping = mapping_argument(words);
    if (!options.demo.empty())
        request.demo = demo_argument(options.demo);
    return request;
}

ArgumentsEnd refusal(const std::string& sentence) {
    return {2, "keyloftctl: " + sentence + "\nTry \"keyloftctl --help\".\n"};
}

} // namespace

std::variant<Request, ArgumentsEnd> read_arguments(const std::vector<std::string>& arguments) {
    CLI::App app;
    Options options;
    add_options(app, options);
    const FaultArguments faults(app);
    try {
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
        if (options.help)
            return ArgumentsEnd{0, help_text};
        if (options.version)
            return ArgumentsEnd{0, "keyloftctl " KEYLOFT_VERSION "\n"};
        return request_of(app, options, faults);
    } catch (const CLI::ParseError& mistake) {
        return refusal(mistake_text(app, mistake));
    } catch (const ArgumentError& mistake) {
        return refusal(mistake.what());
    }
}
