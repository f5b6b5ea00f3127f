// SPDX-License-Identifier: MIT
#include "ctl/commands.h"

#include "ctl/choosing.h"
#include "ctl/wording.h"

namespace {

MachineReport report_of(const setup::Machine& machine) {
    const auto& ports = machine.destinations.empty() ? machine.sources : machine.destinations;
    return {.code = machine.code,
            .name = ports.empty() ? std::string{} : ports.front().name,
            .sources = addresses(machine.sources),
            .destinations = addresses(machine.destinations),
            .obstacle = machine.obstacle()};
}

/// The machine behind a port that was named, whatever the port's own name.
std::optional<MachineReport> report_of_port(const MidiSystem& system, const MachineChoice& wanted) {
    const setup::Choice choice = choose(system, {}, wanted);
    if (choice.obstacle == setup::Obstacle::no_such_port)
        return std::nullopt;
    const setup::Target& target = choice.target;
    MachineReport report{.code = wanted.code,
                         .name = target.destination.name,
                         .destinations = {setup::address_text(*wanted.port)},
                         .obstacle = choice.obstacle};
    if (choice.obstacle == setup::Obstacle::none)
        report.sources = addresses({target.source});
    return report;
}

void say_nobody(const Request& request, Workplace& place) {
    const bool is_port = request.machine && request.machine->port;
    place.tell(refusal_text(
        {.obstacle = is_port ? setup::Obstacle::no_such_port : setup::Obstacle::no_machine},
        request.machine));
}

} // namespace

ExitStatus run_list(const Request& request, Workplace& place) {
    const auto machines = machines_of(place.system);
    if (const auto trouble = place.system.trouble()) {
        place.tell(trouble->sentence + "; " + trouble->remedy);
        return ExitStatus::no_sequencer;
    }
    if (request.machine && request.machine->port) {
        if (const auto report = report_of_port(place.system, *request.machine))
            place.report.machine(*report);
        else
            say_nobody(request, place);
        return ExitStatus::done;
    }
    bool is_anybody_there = false;
    for (const setup::Machine& machine : machines) {
        const bool is_wanted =
            request.machine ? machine.code == request.machine->code : machine.is_in_family();
        if (is_wanted)
            place.report.machine(report_of(machine));
        is_anybody_there = is_anybody_there || is_wanted;
    }
    if (!is_anybody_there)
        say_nobody(request, place);
    return ExitStatus::done;
}
