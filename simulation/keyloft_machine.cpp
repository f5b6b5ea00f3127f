// SPDX-License-Identifier: MIT
#include "simulation/command_line.h"
#include "simulation/machine_arguments.h"
#include "simulation/machine_loop.h"
#include "simulation/sequencer_connection.h"

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

/// Prints events on standard output.
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

void serve(const MachineArguments& arguments) {
    MachineLoop loop(STDIN_FILENO);
    Show show;
    std::vector<std::unique_ptr<ConnectedMachine>> machines;
    machines.reserve(arguments.codes.size());
    for (const std::uint32_t code : arguments.codes)
        machines.push_back(std::make_unique<SequencerMachine>(code, arguments.faults, show));
    for (const auto& machine : machines)
        show.line(*machine, machine->place());
    if (loop.has_keys())
        std::puts("Keys: p switches off and on, q quits.");
    loop.run(machines, [&machines] {
        for (const auto& machine : machines)
            std::puts(tables_json(*machine).c_str());
    });
}

} // namespace

int main(int argc, char** argv) {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    try {
        const MachineArguments arguments = read_arguments({argv + 1, argv + argc});
        if (arguments.text.empty())
            serve(arguments);
        else
            std::fputs(arguments.text.c_str(), stdout);
        return 0;
    } catch (const WrongArguments& mistake) {
        std::fputs(mistake_text("keyloft-machine", mistake).c_str(), stderr);
        return 2;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "keyloft-machine: %s\n", error.what());
        return 1;
    }
}
