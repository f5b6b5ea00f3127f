// SPDX-License-Identifier: MIT
#include "ctl/arguments.h"

#include "ctl/help_text.h"
#include "simulation/command_line_parser.h"

#include <algorithm>
#include <array>
#include <limits>
#include <string_view>

namespace {

struct NamedCommand {
    std::string_view name;
    Command command;
    std::string_view arguments; ///< as the help shows them
    std::size_t least;          ///< number of arguments
    std::size_t most;
};

constexpr std::size_t any_number = std::numeric_limits<std::size_t>::max();
constexpr std::string_view some_files = "one or more layout files, or - for standard input";

constexpr std::array<NamedCommand, 9> commands = {{
    {"list", Command::list, "no arguments", 0, 0},
    {"set", Command::set, "four arguments: PART TYPE CHANNEL NUMBER", 4, 4},
    {"save", Command::save, "no arguments", 0, 0},
    {"check", Command::check, some_files, 1, any_number},
    {"apply", Command::apply, some_files, 1, any_number},
    {"keep", Command::keep, "one or more layout files", 1, any_number},
    {"watch", Command::watch, "no arguments", 0, 0},
    {"identify", Command::identify, "no arguments", 0, 0},
    {"doctor", Command::doctor, "no arguments", 0, 0},
}};

/// The options as they stand on the command line.
struct Options {
    std::string machine;
    std::string demo;
    bool json = false;
    bool save = false;
    bool available = false;
    bool gentle = false;
    bool yes = false;
    std::string layout;
    std::string then;
    bool help = false;
    bool version = false;
};

void add_options(CLI::App& app, Options& options) {
    const auto flag = [&app](const char* name, bool& value) {
        app.add_flag(name, value)->disable_flag_override();
    };
    app.set_help_flag("");
    app.add_option("-m,--machine", options.machine);
    app.add_flag("--demo{4AC5F4C4}", options.demo);
    flag("--json", options.json);
    flag("--save", options.save);
    flag("--available", options.available);
    flag("--gentle", options.gentle);
    flag("--yes", options.yes);
    app.add_option("--layout", options.layout);
    app.add_option("--then", options.then);
    flag("-h,--help", options.help);
    flag("--version", options.version);
    add_fault_options(app);
}

const NamedCommand& command_of(const std::vector<std::string>& words) {
    if (words.empty())
        throw WrongArguments("a command is missing");
    for (const NamedCommand& known : commands) {
        if (known.name != words[0])
            continue;
        if (words.size() - 1 < known.least || words.size() - 1 > known.most)
            throw WrongArguments(words[0] + " takes " + std::string(known.arguments));
        return known;
    }
    throw WrongArguments("there is no command \"" + words[0] + "\"");
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
    const bool is_apply = command == Command::apply;
    if (options.save && command != Command::set && !is_apply)
        throw WrongArguments("--save belongs to set and apply");
    if (options.available && !is_apply)
        throw WrongArguments("--available belongs to apply");
    if (options.gentle && command != Command::set && command != Command::save && !is_apply)
        throw WrongArguments("--gentle belongs to set, save and apply");
    if (app.count("-m") != 0 && command == Command::keep)
        throw WrongArguments("keep takes no -m: its layouts name the machines");
    for (const char* const option : {"--yes", "--layout", "--then"}) {
        if (app.count(option) != 0 && command != Command::identify)
            throw WrongArguments(option + std::string(" belongs to identify"));
    }
    if (options.layout == "-" && options.then == "-")
        throw WrongArguments("only one of --layout and --then can be standard input");
    for (const CLI::Option* const option : app.get_options()) {
        if (option->get_group() == "Faults" && option->count() != 0 && options.demo.empty())
            throw WrongArguments(option->get_name() + " needs --demo: a real machine has its own "
                                                      "faults");
    }
}

Request request_of(const CLI::App& app, const Options& options,
                   const std::vector<std::string>& words) {
    const NamedCommand& command = command_of(words);
    refuse_what_does_not_fit(app, options, command.command);
    Request request{.command = command.command,
                    .save = options.save,
                    .available = options.available,
                    .gentle = options.gentle,
                    .is_agreed = options.yes,
                    .json = options.json,
                    .faults = faults_of(app)};
    if (app.count("-m") != 0)
        request.machine = machine_argument(options.machine);
    if (command.command == Command::set)
        request.mapping = mapping_argument(words);
    if (command.command == Command::check || command.command == Command::apply ||
        command.command == Command::keep)
        request.files.assign(words.begin() + 1, words.end());
    if (command.command == Command::keep &&
        std::ranges::find(request.files, "-") != request.files.end())
        throw WrongArguments("keep reads its files again when they change, which - cannot");
    if (app.count("--layout") != 0)
        request.files = {options.layout};
    if (app.count("--then") != 0)
        request.then = {options.then};
    if (!options.demo.empty())
        request.demo = demo_argument(options.demo);
    return request;
}

} // namespace

std::variant<Request, ArgumentsEnd> read_arguments(const std::vector<std::string>& arguments) {
    CLI::App app;
    Options options;
    add_options(app, options);
    try {
        const std::vector<std::string> words = read_options(app, arguments);
        if (options.help)
            return ArgumentsEnd{0, std::string(help_start) + fault_help + help_end};
        if (options.version)
            return ArgumentsEnd{0, "keyloftctl " KEYLOFT_VERSION "\n"};
        return request_of(app, options, words);
    } catch (const WrongArguments& mistake) {
        return ArgumentsEnd{2, mistake_text("keyloftctl", mistake)};
    }
}
