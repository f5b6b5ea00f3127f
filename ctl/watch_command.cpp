// SPDX-License-Identifier: MIT
#include "ctl/commands.h"

#include "ctl/choosing.h"
#include "ctl/wording.h"
#include "setup/machine_line.h"
#include "setup/waiting.h"

#include <algorithm>
#include <list>
#include <system_error>

namespace {

/// Listens to the machines that are wanted, as they come and go.
class Watch {
public:
    Watch(const Request& request, Workplace& place)
        : request_(request), place_(place), client_(CFSTR("keyloftctl"), setup::steady_now) {}

    /// Returns when a signal comes or the reader goes away.
    void run() {
        look_around();
        if (lines_.empty())
            place_.tell("no machine is there yet; waiting for one");
        for (bool is_over = false; !is_over;) {
            const auto next = place_.system.play(setup::steady_now());
            const Woken woken = place_.wait(client_.inbox(), next);
            show_heard();
            if (woken.by_changes)
                look_around();
            is_over = woken.is_over || place_.output.error() != 0;
        }
    }

private:
    [[nodiscard]] std::vector<setup::Target> wanted() const {
        std::vector<setup::Target> targets;
        if (request_.machine && request_.machine->port) {
            setup::Choice choice;
            setup::look_until_settled(
                [&] { choice = choose(place_.system, {}, request_.machine); });
            if (choice.obstacle == setup::Obstacle::none)
                targets.push_back({.code = choice.target.code, .source = choice.target.source});
            return targets;
        }
        for (const setup::Machine& machine : settled_machines_of(place_.system)) {
            const bool is_wanted =
                request_.machine ? machine.code == request_.machine->code : machine.is_in_family();
            for (const setup::Endpoint& source : machine.sources) {
                if (is_wanted)
                    targets.push_back({.code = machine.code, .source = source});
            }
        }
        return targets;
    }

    void look_around() {
        // Opening a line may use up the news of another machine.
        while (follow(wanted())) {
        }
    }

    /// Opens a line to each machine that has come, and closes those of the machines that have gone.
    /// Whether one was opened.
    [[nodiscard]] bool follow(const std::vector<setup::Target>& targets) {
        bool is_any_opened = false;
        const auto is_source_of = [](const setup::MachineLine& line) {
            return [&line](const setup::Target& target) {
                return target.source.reference == line.target().source.reference;
            };
        };
        for (auto line = lines_.begin(); line != lines_.end();) {
            if (std::ranges::none_of(targets, is_source_of(*line))) {
                if (line->status() == 0)
                    say_presence(line->target(), false);
                line = lines_.erase(line);
            } else {
                ++line;
            }
        }
        for (const setup::Target& target : targets) {
            const bool is_known = std::ranges::any_of(
                lines_, [&](const setup::MachineLine& line) { return is_source_of(line)(target); });
            if (!is_known)
                open(target);
            is_any_opened = is_any_opened || !is_known;
        }
        return is_any_opened;
    }

    void open(const setup::Target& target) {
        const setup::MachineLine& line = lines_.emplace_back(client_, target);
        if (line.status() == 0)
            say_presence(target, true);
        else
            place_.tell("cannot listen to " + address_or_mark(target.source) + ": " +
                        std::generic_category().message(-line.status()));
    }

    void say_presence(const setup::Target& target, bool is_present) {
        place_.report.presence({.at = std::chrono::system_clock::now(),
                                .code = target.code,
                                .port = address_or_mark(target.source),
                                .is_present = is_present});
    }

    void show_heard() {
        client_.inbox().take(heard_);
        for (const setup::Heard& heard : heard_) {
            const auto reading = read_message(heard.bytes());
            if (!reading)
                continue;
            const setup::Target& target = heard.line->target();
            place_.report.message({.at = wall_time(heard.at),
                                   .code = target.code,
                                   .port = address_or_mark(target.source),
                                   .reading = *reading,
                                   .bytes = {heard.bytes().begin(), heard.bytes().end()}});
        }
    }

    const Request& request_;
    Workplace& place_;
    setup::Client client_;
    std::list<setup::MachineLine> lines_{}; ///< a line stays where it is
    std::vector<setup::Heard> heard_{};
};

} // namespace

ExitStatus run_watch(const Request& request, Workplace& place) {
    (void)machines_of(place.system);
    if (const auto trouble = place.system.trouble()) {
        place.tell(trouble->sentence + "; " + trouble->remedy);
        return ExitStatus::no_sequencer;
    }
    Watch(request, place).run();
    return ExitStatus::done;
}
