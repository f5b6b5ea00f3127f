// SPDX-License-Identifier: MIT
#include "simulation/machine_arguments.h"

#include "protocol/device_code.h"
#include "simulation/command_line_parser.h"

namespace {

constexpr const char* help_start = R"(Usage: keyloft-machine [OPTIONS] [CODE...]

Simulated machines on this computer's ALSA sequencer, for trying keyloft, or any other MIDI
program, without hardware. Each mapping that a machine gets is shown as it arrives.

  CODE...                       Device codes, such as 4AC5F4C4 (which is the default)
  --all                         The sixteen machines from 4AC0F4C4 to 4ACFF4C4
  -h, --help                    Print this and exit
  --version                     Print the version and exit

Faults:
)";

constexpr const char* help_end = R"(
SIGUSR1, or the key p, switches the machines off and on: they go back to what was saved.
SIGUSR2 prints what each machine holds. SIGINT, SIGTERM or the key q ends the program.

Exit codes: 0 ended on request; 1 there is no sequencer, or it failed; 2 the arguments are wrong.
)";

} // namespace

MachineArguments read_arguments(const std::vector<std::string>& arguments) {
    CLI::App app;
    bool help = false;
    bool version = false;
    bool all = false;
    app.set_help_flag("");
    app.add_flag("-h,--help", help)->disable_flag_override();
    app.add_flag("--version", version)->disable_flag_override();
    app.add_flag("--all", all)->disable_flag_override();
    add_fault_options(app);
    const std::vector<std::string> names = read_options(app, arguments);
    if (help)
        return {.text = std::string(help_start) + fault_help + help_end};
    if (version)
        return {.text = "keyloft-machine " KEYLOFT_VERSION "\n"};

    MachineArguments asked{.faults = faults_of(app)};
    if (all && !names.empty())
        throw WrongArguments("give device codes or --all, not both");
    for (const std::string& name : names)
        asked.codes.push_back(code_argument(name));
    for (std::uint32_t i = 0; all && i < protocol::family_size; ++i)
        asked.codes.push_back(protocol::family_code(i));
    if (asked.codes.empty())
        asked.codes.push_back(protocol::family_code(5));
    return asked;
}
