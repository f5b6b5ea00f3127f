// SPDX-License-Identifier: MIT
#include "ctl/commands.h"

#include "ctl/choosing.h"
#include "ctl/port_lock.h"
#include "ctl/wording.h"
#include "protocol/device_code.h"
#include "setup/runner.h"
#include "setup/waiting.h"

#include <array>
#include <cerrno>
#include <system_error>

namespace {

/// Takes the lock for a port. False when another keyloftctl has it, which is said. Where there can
/// be no lock, that is said and no hindrance.
bool take_lock(const std::string& address, Workplace& place, std::optional<PortLock>& lock) {
    if (place.system.is_demo())
        return true;
    const std::string risk = ", so nothing keeps a second keyloftctl from sending meanwhile";
    const auto folder = lock_folder();
    if (!folder) {
        place.tell("XDG_RUNTIME_DIR is not set" + risk);
        return true;
    }
    lock.emplace(*folder, address);
    if (const auto holder = lock->holder()) {
        place.tell(address + " is in use by another keyloftctl" +
                   (*holder > 0 ? " (process " + std::to_string(*holder) + ")"
                                : std::string(" in another container")));
        return false;
    }
    if (!lock->is_held())
        place.tell("no lock can be made in " + *folder + " (" +
                   std::generic_category().message(lock->error()) + ")" + risk);
    return true;
}

/// Says who else is there, since results do not show it.
void name_others(const setup::Target& target, Workplace& place) {
    for (const OtherClient& client : place.system.other_clients()) {
        if (is_window(client))
            place.tell("keyloft is open (process " + std::to_string(client.pid) +
                       "): what is set there at the same moment may get mixed up with this");
    }
    for (const OtherClient& client : place.system.connections(target.source.reference).readers)
        place.tell(client_text(client) + " is connected to " + protocol::code_text(target.code) +
                   " and hears its echo, too");
}

/// Sends what was asked for to one machine and reports what became of it.
class Setter {
public:
    Setter(const Request& request, Workplace& place, const setup::Target& target)
        : request_(request), place_(place), client_(CFSTR("keyloftctl"), setup::steady_now),
          line_(client_, target), runner_(
                                      client_, [this](setup::Time until) { wait(until); },
                                      [this](const setup::Report& report) { take_result(report); },
                                      request.gentle ? setup::Pace::gentle : setup::Pace::brisk) {}

    /// Whether all of it was confirmed.
    [[nodiscard]] bool run() {
        if (request_.command == Command::set)
            runner_.add(line_, protocol::message_of(request_.mapping).value());
        else
            runner_.add(line_, protocol::save_command);
        runner_.run();
        return all_confirmed_;
    }

private:
    void wait(setup::Time until) {
        std::array<pollfd, 2> polled = {{
            {.fd = client_.inbox().descriptor(), .events = POLLIN, .revents = 0},
            {.fd = place_.signals != nullptr ? place_.signals->descriptor() : -1,
             .events = POLLIN,
             .revents = 0},
        }};
        setup::wait_readable(polled, until);
        if (place_.is_stopped())
            runner_.stop();
    }

    void take_result(const setup::Report& report) {
        const bool is_mapping = report.message != protocol::save_command;
        ResultReport result{.code = line_.target().code,
                            .port = address_or_mark(line_.target().destination),
                            .message = report.message,
                            .outcome = report.outcome};
        if (is_mapping)
            result.mapping = request_.mapping;
        place_.report.result(result);
        if (report.outcome.result != setup::Result::confirmed) {
            all_confirmed_ = false;
            if (is_mapping && request_.save)
                place_.tell("nothing is saved, because the mapping is not confirmed");
        } else if (is_mapping && request_.save) {
            runner_.add(line_, protocol::save_command);
        }
    }

    const Request& request_;
    Workplace& place_;
    setup::Client client_;
    setup::MachineLine line_;
    setup::Runner runner_;
    bool all_confirmed_ = true;
};

} // namespace

ExitStatus run_set_or_save(const Request& request, Workplace& place) {
    const auto machines = machines_of(place.system);
    if (const auto trouble = place.system.trouble()) {
        place.tell(trouble->sentence + "; " + trouble->remedy);
        return ExitStatus::no_sequencer;
    }
    const setup::Choice choice = choose(place.system, machines, request.machine);
    if (choice.obstacle != setup::Obstacle::none) {
        place.tell(refusal_text(choice, request.machine));
        return ExitStatus::no_machine;
    }
    std::optional<PortLock> lock;
    if (!take_lock(address_or_mark(choice.target.destination), place, lock))
        return ExitStatus::no_machine;
    name_others(choice.target, place);
    return Setter(request, place, choice.target).run() ? ExitStatus::done : ExitStatus::unconfirmed;
}
