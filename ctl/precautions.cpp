// SPDX-License-Identifier: MIT
#include "ctl/precautions.h"

#include "ctl/choosing.h"
#include "ctl/wording.h"
#include "protocol/device_code.h"

#include <algorithm>
#include <system_error>
#include <utility>

namespace {

/// A program, and the machines that it hears.
struct Listener {
    std::string program;
    std::vector<std::string> machines{};
};

std::vector<Listener> listeners(const std::vector<setup::Target>& targets,
                                const MidiSystem& system) {
    std::vector<Listener> all;
    for (const setup::Target& target : targets) {
        for (const OtherClient& client : system.connections(target.source.reference).readers) {
            const std::string program = client_text(client);
            auto known = std::ranges::find(all, program, &Listener::program);
            if (known == all.end())
                known = all.insert(all.end(), {.program = program});
            known->machines.push_back(protocol::code_text(target.code));
        }
    }
    return all;
}

} // namespace

LockTry try_lock(const MidiSystem& system, const std::string& address) {
    if (system.is_demo())
        return {};
    const std::string risk = ", so nothing keeps a second keyloftctl from sending meanwhile";
    const auto folder = lock_folder();
    if (!folder)
        return {.risk = "XDG_RUNTIME_DIR is not set" + risk};
    LockTry result{.lock = std::make_unique<PortLock>(*folder, address)};
    if (const auto holder = result.lock->holder()) {
        result.refusal = address + " is in use by another keyloftctl" +
                         (*holder > 0 ? " (process " + std::to_string(*holder) + ")"
                                      : std::string(" in another container"));
    } else if (!result.lock->is_held()) {
        result.risk = "no lock can be made in " + *folder + " (" +
                      std::generic_category().message(result.lock->error()) + ")" + risk;
        result.lock.reset();
    }
    return result;
}

void name_others(const std::vector<setup::Target>& targets, Workplace& place) {
    for (const OtherClient& client : place.system.other_clients()) {
        if (is_window(client))
            place.tell("keyloft is open (process " + std::to_string(client.pid) +
                       "): what is set there at the same moment may get mixed up with this");
    }
    for (const Listener& listener : listeners(targets, place.system))
        place.tell(listener.program + " is connected to " + joined(listener.machines) +
                   " and hears " + (listener.machines.size() > 1 ? "their echoes" : "its echo") +
                   ", too");
}

std::variant<ReservedMachine, ExitStatus>
reserve_machine(const std::optional<MachineChoice>& wanted, Workplace& place) {
    const auto machines = machines_of(place.system);
    if (const auto trouble = place.system.trouble()) {
        place.tell(trouble->sentence + "; " + trouble->remedy);
        return ExitStatus::no_sequencer;
    }
    const setup::Choice choice = choose(place.system, machines, wanted);
    if (choice.obstacle != setup::Obstacle::none) {
        place.tell(refusal_text(choice, wanted));
        return ExitStatus::no_machine;
    }
    LockTry lock = try_lock(place.system, address_or_mark(choice.target.destination));
    if (!lock.refusal.empty()) {
        place.tell(lock.refusal);
        return ExitStatus::no_machine;
    }
    if (!lock.risk.empty())
        place.tell(lock.risk);
    name_others({choice.target}, place);
    return ReservedMachine{choice.target, std::move(lock.lock)};
}
