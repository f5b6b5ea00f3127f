// SPDX-License-Identifier: MIT
// The command line of keyloftctl. An input is one argument a line. Nothing but a mistake is thrown,
// which is told in two lines, and what is asked for stands on the line and is within its ranges.
#include "ctl/arguments.h"
#include "fuzz/target.h"
#include "protocol/device_code.h"

#include <algorithm>
#include <cctype>
#include <string>

namespace {

using Lines = std::vector<std::string>;

bool has(const Lines& lines, const std::string& wanted) {
    return std::ranges::find(lines, wanted) != lines.end();
}

std::string lower_case(std::string text) {
    for (char& letter : text)
        letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    return text;
}

/// Whether an argument is this number in decimal digits.
bool has_number(const Lines& lines, int number) {
    return std::ranges::any_of(lines, [number](std::string line) {
        const bool all_digits = !line.empty() && std::ranges::all_of(line, [](unsigned char c) {
            return std::isdigit(c) != 0;
        });
        line.erase(0, std::min(line.find_first_not_of('0'), line.size() - 1));
        return all_digits && line == std::to_string(number);
    });
}

void check_mapping(const protocol::KeyMapping& mapping, const Lines& lines) {
    require(protocol::message_of(mapping).has_value(), "a mapping can be sent");
    for (const int number : {mapping.part, mapping.channel, mapping.controller})
        require(has_number(lines, number), "each number was given");
    const std::string name = lower_case(std::string(protocol::type_name(mapping.type)));
    std::string dashed = name;
    std::ranges::replace(dashed, ' ', '-');
    const bool is_named = std::ranges::any_of(lines, [&](const std::string& line) {
        const std::string word = lower_case(line);
        return word == name || word == dashed || (word == "cc" && dashed == "control-change") ||
               (word == "bend" && dashed == "bend-change");
    });
    require(is_named, "the type was given");
}

void check_machine(const MachineChoice& machine, const Lines& lines) {
    std::string text = lower_case(protocol::code_text(machine.code));
    const bool is_named = std::ranges::any_of(lines, [&](const std::string& line) {
        return lower_case(line).find(text) != std::string::npos;
    });
    require(is_named, "the machine was given");
    if (!machine.port)
        return;
    require(machine.port->client >= 0 && machine.port->client <= 255, "a client is one byte");
    require(machine.port->port >= 0 && machine.port->port <= 255, "a port is one byte");
}

void check_request(const Request& request, const Lines& lines) {
    if (request.command == Command::set)
        check_mapping(request.mapping, lines);
    if (request.machine)
        check_machine(*request.machine, lines);
    const bool is_set = request.command == Command::set;
    const bool is_apply = request.command == Command::apply;
    const bool is_identify = request.command == Command::identify;
    require(!request.save || is_set || is_apply, "only set and apply save afterwards");
    require(!request.gentle || is_set || is_apply || request.command == Command::save,
            "only what sends all that is asked for is gentle");
    require(!request.available || is_apply, "only apply leaves machines out");
    const bool is_keep = request.command == Command::keep;
    const bool needs_layout = is_apply || is_keep || request.command == Command::check;
    require(needs_layout ? !request.files.empty() : request.files.size() <= is_identify,
            "layouts are for who reads them");
    require(!is_keep || (!request.machine && !has(request.files, "-")),
            "keep reads its files again, for the machines that they name");
    require(request.then.size() <= is_identify, "only identify has a layout for its end");
    require(!request.is_agreed || (is_identify && has(lines, "--yes")), "nobody agreed");
    require(!request.json || has(lines, "--json"), "JSON was asked for");
    if (request.demo) {
        require(!request.demo->empty(), "a demo has a machine");
        return;
    }
    const MachineFaults& faults = request.faults;
    require((faults.silent | faults.slow | faults.wrong | faults.chatter | faults.vanish_after) ==
                0,
            "only simulated machines have faults");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Lines lines = read_lines({data, size});
    const auto read = read_arguments(lines);
    if (const auto* const end = std::get_if<ArgumentsEnd>(&read)) {
        require(end->status == 0 || end->status == 2, "0 or 2");
        if (end->status == 2)
            require(end->text.starts_with("keyloftctl: ") &&
                        end->text.ends_with("\nTry \"keyloftctl --help\".\n"),
                    "a mistake has a sentence");
        return 0;
    }
    check_request(std::get<Request>(read), lines);
    return 0;
}
