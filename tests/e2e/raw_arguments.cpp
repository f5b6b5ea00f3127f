// SPDX-License-Identifier: MIT
#include "tests/e2e/raw_arguments.h"

#include "simulation/command_line_parser.h"

namespace {

constexpr const char* help_start = R"(Usage: keyloft-raw-machine [OPTIONS] DEVICE=CODE[@GADGET]...

Simulated machines on raw MIDI ports, such as those of USB gadgets.

  DEVICE=CODE[@GADGET]...       Such as hw:1,0=4AC5F4C4
  --journal FILE                Append what happens to this file, not standard output
  --play                        On SIGUSR2 each part that has a mapping is moved, too
  -h, --help                    Print this and exit

Faults:
)";

constexpr const char* help_end = R"(
Prints {"ready":true} when it serves, and what each machine holds on SIGUSR2 and at its end.
SIGUSR1 switches the machines off and on; SIGINT and SIGTERM end the program.

GADGET is the UDC attribute of the gadget that the device belongs to. A machine that vanishes or
is switched off unbinds it.

Exit codes: 0 ended on request; 1 failed; 2 wrong arguments.
)";

RawPlace place_argument(const std::string& text) {
    const std::size_t equals = std::min(text.find('='), text.size());
    const std::size_t at = std::min(text.find('@', equals), text.size());
    if (equals == 0 || equals == text.size())
        throw WrongArguments("\"" + text +
                             "\" is not DEVICE=CODE or DEVICE=CODE@GADGET, such as "
                             "hw:1,0=4AC5F4C4");
    return {.device = text.substr(0, equals),
            .code = code_argument(text.substr(equals + 1, at - equals - 1)),
            .gadget = at < text.size() ? text.substr(at + 1) : ""};
}

} // namespace

RawArguments read_raw_arguments(const std::vector<std::string>& arguments) {
    CLI::App app;
    RawArguments asked;
    app.set_help_flag("");
    app.add_flag("-h,--help", asked.help)->disable_flag_override();
    app.add_option("--journal", asked.journal);
    app.add_flag("--play", asked.plays)->disable_flag_override();
    add_fault_options(app);
    const std::vector<std::string> places = read_options(app, arguments);
    if (asked.help)
        return asked;
    for (const std::string& text : places)
        asked.places.push_back(place_argument(text));
    asked.faults = faults_of(app);
    if (asked.places.empty())
        throw WrongArguments("DEVICE=CODE is missing");
    return asked;
}

std::string raw_help_text() {
    return std::string(help_start) + fault_help + help_end;
}
