// SPDX-License-Identifier: MIT
#include "ctl/choosing.h"

#include "ctl/wording.h"
#include "protocol/device_code.h"

#include <algorithm>

namespace {

setup::AddressOf address_function(const MidiSystem& system) {
    return [&system](MIDIEndpointRef endpoint) { return system.address(endpoint); };
}

/// "4AC5F4C4 (24:0)"
std::string machine_text(const setup::Machine& machine) {
    const auto& ports = machine.destinations.empty() ? machine.sources : machine.destinations;
    return protocol::code_text(machine.code) + " (" + joined(addresses(ports)) + ")";
}

std::string all_text(const std::vector<setup::Machine>& machines) {
    std::vector<std::string> texts;
    std::ranges::transform(machines, std::back_inserter(texts), machine_text);
    return joined(texts);
}

/// Two machines with one code: the sentence says how to name one of them.
std::string twins_text(const setup::Machine& machine) {
    const auto& ports = machine.destinations.size() > 1 ? machine.destinations : machine.sources;
    const std::string code = protocol::code_text(machine.code);
    return " (" + joined(addresses(ports)) + "); name the one to send to, such as -m " + code +
           "@" +
           address_or_mark(machine.destinations.empty() ? ports.front()
                                                        : machine.destinations.front());
}

} // namespace

std::vector<setup::Machine> machines_of(const MidiSystem& system) {
    return setup::list_machines(address_function(system));
}

std::vector<setup::Machine> settled_machines_of(const MidiSystem& system) {
    return setup::list_settled_machines(address_function(system));
}

setup::Choice choose(const MidiSystem& system, const std::vector<setup::Machine>& machines,
                     const std::optional<MachineChoice>& wanted) {
    if (!wanted)
        return setup::choose_only(machines);
    if (wanted->port)
        return setup::choose_port(wanted->code, *wanted->port, address_function(system));
    return setup::choose_code(machines, wanted->code);
}

std::string refusal_text(const setup::Choice& choice, const std::optional<MachineChoice>& wanted) {
    using setup::Obstacle;
    if (wanted && wanted->port)
        return setup::address_text(*wanted->port) + ": " + obstacle_text(choice.obstacle);
    switch (choice.obstacle) {
    case Obstacle::no_machine:
        return (wanted ? protocol::code_text(wanted->code) : std::string("no machine")) +
               (wanted ? " is not there" : " of the family is there") +
               "; \"keyloftctl doctor\" says what is";
    case Obstacle::several_machines:
        return "several machines are there, name one with -m: " + all_text(choice.candidates);
    default:
        break;
    }
    const setup::Machine& machine = choice.candidates.at(0);
    std::string text =
        protocol::code_text(machine.code) + " cannot be set up: " + obstacle_text(choice.obstacle);
    if (choice.obstacle == Obstacle::several_destinations ||
        choice.obstacle == Obstacle::several_sources)
        text += twins_text(machine);
    return text;
}
