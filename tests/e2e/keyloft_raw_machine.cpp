// SPDX-License-Identifier: MIT
#include "protocol/device_code.h"
#include "simulation/machine_arguments.h"
#include "simulation/machine_loop.h"
#include "simulation/machine_text.h"
#include "tests/e2e/journal.h"
#include "tests/e2e/raw_connection.h"

#include <CLI/CLI.hpp>

#include <cstdio>

namespace {

/// What one argument says: DEVICE=CODE or DEVICE=CODE@GADGET.
struct Place {
    std::string device;
    std::string code;
    std::string gadget;
};

Place place_in(const std::string& text) {
    const std::size_t equals = std::min(text.find('='), text.size());
    const std::size_t at = std::min(text.find('@', equals), text.size());
    Place place = {.device = text.substr(0, equals), .code = {}, .gadget = {}};
    if (equals < text.size())
        place.code = text.substr(equals + 1, at - equals - 1);
    if (at < text.size())
        place.gadget = text.substr(at + 1);
    return place;
}

std::string mistake_in_place(const std::string& text) {
    const Place place = place_in(text);
    return place.device.empty() ? "\"" + text + "\" names no device" : mistake_in_code(place.code);
}

/// Serves the machines until the end is asked for, and says what they hold then.
void serve(const std::vector<std::string>& places, const MachineFaults& faults,
           const std::string& journal_path) {
    MachineLoop loop(-1);
    Journal journal(journal_path);
    std::vector<std::unique_ptr<ConnectedMachine>> machines;
    machines.reserve(places.size());
    for (const std::string& text : places) {
        Place place = place_in(text);
        machines.push_back(std::make_unique<RawMachine>(protocol::parse_code(place.code).value(),
                                                        std::move(place.device),
                                                        std::move(place.gadget), faults, journal));
    }
    const auto report = [&machines] {
        for (const auto& machine : machines)
            std::puts(tables_json(*machine).c_str());
        std::fflush(stdout);
    };
    std::puts("{\"ready\":true}");
    std::fflush(stdout);
    loop.run(machines, report);
    report();
}

int run(int argc, char** argv) {
    CLI::App app("Simulated machines on raw MIDI ports, such as those of USB gadgets.",
                 "keyloft-raw-machine");
    app.footer("It prints {\"ready\":true} when it serves, and what each machine holds on SIGUSR2 "
               "and at its end.\nSIGUSR1 switches the machines off and on; SIGINT and SIGTERM end "
               "the program.\nA GADGET is the UDC attribute of the gadget that the device belongs "
               "to; the machine\nunbinds it when it vanishes or is switched off.\n"
               "Exit codes: 0 ended as told to; 1 failed; 2 wrong arguments.");
    std::vector<std::string> places;
    app.add_option("DEVICE=CODE[@GADGET]", places, "Such as hw:1,0=4AC5F4C4")
        ->required()
        ->check(&mistake_in_place)
        ->type_name("");
    std::string journal;
    app.add_option("--journal", journal, "Append what happens to this file, not standard output")
        ->type_name("FILE");
    const FaultArguments faults(app);
    if (const auto code = read_arguments(app, argc, argv))
        return *code;
    serve(places, faults.faults(), journal);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "keyloft-raw-machine: %s\n", error.what());
        return 1;
    }
}
