// SPDX-License-Identifier: MIT
#include "simulation/command_line.h"
#include "simulation/machine_loop.h"
#include "tests/e2e/journal.h"
#include "tests/e2e/raw_arguments.h"
#include "tests/e2e/raw_connection.h"

#include <cstdio>

namespace {

/// Moves every part of a machine to the same place, one after the other.
void play(ConnectedMachine& machine) {
    constexpr int value = 64;
    for (const protocol::KeyMapping& mapping : machine.firmware().table())
        machine.play(mapping.part, value);
}

/// Serves the machines until a signal ends the program, then prints what they hold.
void serve(const RawArguments& arguments) {
    MachineLoop loop(-1);
    Journal journal(arguments.journal);
    std::vector<std::unique_ptr<ConnectedMachine>> machines;
    for (const RawPlace& place : arguments.places)
        machines.push_back(std::make_unique<RawMachine>(place.code, place.device, place.gadget,
                                                        arguments.faults, journal));
    const auto print = [&machines] {
        for (const auto& machine : machines)
            std::puts(tables_json(*machine).c_str());
        std::fflush(stdout);
    };
    const auto report = [&] {
        print();
        if (!arguments.plays)
            return;
        for (const auto& machine : machines)
            play(*machine);
    };
    std::puts("{\"ready\":true}");
    std::fflush(stdout);
    loop.run(machines, report);
    print();
}

} // namespace

int main(int argc, char** argv) {
    try {
        const RawArguments arguments = read_raw_arguments({argv + 1, argv + argc});
        if (arguments.help)
            std::fputs(raw_help_text().c_str(), stdout);
        else
            serve(arguments);
        return 0;
    } catch (const WrongArguments& mistake) {
        std::fputs(mistake_text("keyloft-raw-machine", mistake).c_str(), stderr);
        return 2;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "keyloft-raw-machine: %s\n", error.what());
        return 1;
    }
}
