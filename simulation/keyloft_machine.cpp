// SPDX-License-Identifier: MIT
#include "simulation/machine_arguments.h"
#include "simulation/machine_loop.h"
#include "simulation/machine_text.h"
#include "simulation/sequencer_connection.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <cstdlib>

#include <unistd.h>

namespace {

bool wants_colour() {
    const char* const no_colour = secure_getenv("NO_COLOR");
    const char* const terminal = secure_getenv("TERM");
    return isatty(STDOUT_FILENO) != 0 && (no_colour == nullptr || *no_colour == '\0') &&
           terminal != nullptr && std::string_view(terminal) != "dumb";
}

/// Shows what happens as lines on standard output.
class Show final : public MachineWatcher {
public:
    void happened(const ConnectedMachine& machine, const MachineEvent& event) override {
        line(machine, event_text(machine, event));
        if (event.kind == MachineEvent::Kind::power_cycle)
            line(machine, machine.place());
    }

    void line(const ConnectedMachine& machine, const std::string& text) const {
        std::printf("%s%s%s  %s\n", colour_ ? "\x1b[1;36m" : "", machine.name().c_str(),
                    colour_ ? "\x1b[0m" : "", text.c_str());
    }

private:
    const bool colour_ = wants_colour();
};

/// Puts the machines on the sequencer and serves them until the end is asked for.
void serve(const std::vector<std::uint32_t>& codes, const MachineFaults& faults) {
    MachineLoop loop(STDIN_FILENO);
    Show show;
    std::vector<std::unique_ptr<ConnectedMachine>> machines;
    machines.reserve(codes.size());
    for (const std::uint32_t code : codes)
        machines.push_back(std::make_unique<SequencerMachine>(code, faults, show));
    for (const auto& machine : machines)
        show.line(*machine, machine->place());
    if (loop.has_keys())
        std::puts("Keys: p switches off and on, q quits.");
    loop.run(machines, [&machines] {
        for (const auto& machine : machines)
            std::puts(tables_json(*machine).c_str());
    });
}

constexpr const char* purpose =
    "Simulated machines on this computer's ALSA sequencer, for trying keyloft, or any other MIDI\n"
    "program, without hardware. Each mapping that a machine gets is shown as it arrives.";

constexpr const char* notes =
    "SIGUSR1, or the key p, switches the machines off and on: they go back to what was saved.\n"
    "SIGUSR2 prints what each machine holds. SIGINT, SIGTERM or the key q ends the program.\n"
    "\n"
    "Exit codes: 0 it ended as it was told to; 1 there is no sequencer, or it failed; 2 the\n"
    "arguments are wrong.";

int run(int argc, char** argv) {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    CLI::App app(purpose, "keyloft-machine");
    app.footer(notes);
    app.set_version_flag("--version", "keyloft-machine " KEYLOFT_VERSION);
    const CodeArguments codes(app);
    const FaultArguments faults(app);
    if (const auto code = read_arguments(app, argc, argv))
        return *code;
    serve(codes.codes(), faults.faults());
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "keyloft-machine: %s\n", error.what());
        return 1;
    }
}
