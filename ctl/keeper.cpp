// SPDX-License-Identifier: MIT
#include "ctl/keeper.h"

#include <algorithm>
#include <utility>

using setup::Target;
using setup::Time;

namespace {

bool have_same_ends(const Target& one, const Target& other) {
    return one.source.reference == other.source.reference &&
           one.destination.reference == other.destination.reference;
}

/// Whether a machine is among those that a search found, alone or beside a twin.
bool is_among(const setup::Choice& choice, const Target& target) {
    const auto has = [](const std::vector<setup::Endpoint>& endpoints, const setup::Endpoint& end) {
        return std::ranges::find(endpoints, end.reference, &setup::Endpoint::reference) !=
               endpoints.end();
    };
    return std::ranges::any_of(choice.candidates, [&](const setup::Machine& machine) {
        return has(machine.sources, target.source) && has(machine.destinations, target.destination);
    });
}

} // namespace

bool Keeper::Kept::is_waiting() const {
    const bool is_set = there && set && have_same_ends(*set, *there) && sent == wanted;
    return there && !job && !wanted.empty() && !is_set;
}

Keeper::Keeper(KeeperHost& host, setup::Now now)
    : host_(host), now_(std::move(now)),
      jobs_(
          setup::Pace::brisk,
          [this](MachineJob& job, const ResultReport& result) { take_result(job, result); }, now_) {
}

void Keeper::keep(const KeptMappings& mappings) {
    for (auto& [code, kept] : machines_)
        kept.wanted.clear();
    for (const auto& [code, wanted] : mappings)
        machines_[code].wanted = wanted;
    forget_unwanted();
    must_look_ = true;
}

void Keeper::try_rights() {
    for (auto& [code, kept] : machines_) {
        if (kept.right && !kept.job)
            kept.due = Time{};
    }
}

void Keeper::stop() {
    stopped_ = true;
    jobs_.stop();
}

std::optional<Time> Keeper::step() {
    std::optional<Time> next;
    do {
        const bool is_time = look_again_ && *look_again_ <= now_();
        if (std::exchange(must_look_, false) || is_time)
            update_machines();
        next = jobs_.step();
        end_jobs();
    } while (!stopped_ && (begin_jobs() || must_look_));
    for (const auto& [code, kept] : machines_) {
        if (!stopped_ && kept.is_waiting())
            next = std::min(next.value_or(Time::max()), kept.due);
    }
    if (!stopped_ && look_again_)
        next = std::min(next.value_or(Time::max()), *look_again_);
    return next;
}

void Keeper::update_machines() {
    look_again_.reset();
    const std::vector<setup::Machine> machines = host_.machines();
    for (auto& [code, kept] : machines_)
        see(code, kept, machines);
}

void Keeper::see(std::uint32_t code, Kept& kept, const std::vector<setup::Machine>& machines) {
    const setup::Choice choice = setup::choose_code(machines, code);
    // At once, though the job may still be waiting for an echo: the port's number may belong to
    // another machine by now, and a process cannot have two locks for one number.
    if (kept.right && !is_among(choice, kept.claimed))
        kept.right.reset();
    const bool is_ready = choice.obstacle == setup::Obstacle::none;
    if (!is_ready || !kept.there || !have_same_ends(*kept.there, choice.target))
        kept.due = Time{};
    kept.there = is_ready ? std::optional(choice.target) : std::nullopt;
    const setup::Obstacle before = std::exchange(kept.obstacle, choice.obstacle);
    if (choice.candidates.empty() || is_ready)
        return;
    look_again_ = now_() + patience;
    if (choice.obstacle != before)
        host_.cannot_set(choice);
}

/// Whether one was begun.
bool Keeper::begin_jobs() {
    bool any = false;
    for (auto& [code, kept] : machines_) {
        if (kept.is_waiting() && kept.due <= now_())
            any = begin(kept) || any;
    }
    return any;
}

bool Keeper::begin(Kept& kept) {
    if (!kept.right) {
        kept.right = host_.right_to(*kept.there);
        kept.claimed = *kept.there;
    }
    if (!kept.right->take()) {
        kept.due = now_() + patience;
        return false;
    }
    kept.status = 0;
    kept.sent = kept.wanted;
    kept.set.reset();
    kept.job = &jobs_.add(*kept.there, kept.sent, false);
    return true;
}

void Keeper::take_result(const MachineJob& job, const ResultReport& result) {
    const auto is_of_job = [&job](const auto& entry) { return entry.second.job == &job; };
    Kept& kept = std::ranges::find_if(machines_, is_of_job)->second;
    if (result.outcome.result == setup::Result::not_sent && kept.status == 0)
        kept.status = result.outcome.status;
    // Connecting to the machine and the first send may have used up the news of another one.
    if (job.sum().ended() == 1)
        must_look_ = true;
    host_.result(result);
}

void Keeper::end_jobs() {
    for (auto& [code, kept] : machines_) {
        if (kept.job && kept.job->is_over())
            end(kept);
    }
    forget_unwanted();
}

void Keeper::end(Kept& kept) {
    const Target target = kept.job->target();
    const JobSum sum = kept.job->sum();
    jobs_.remove(*std::exchange(kept.job, nullptr));
    kept.right.reset();
    if (sum.not_sent == 0) {
        kept.set = target;
    } else if (kept.there && have_same_ends(*kept.there, target)) {
        // If it has gone, the next look shows that, and it need not wait when it comes back.
        kept.due = now_() + patience;
        must_look_ = true;
    }
    host_.finished(target, sum, kept.status);
}

void Keeper::forget_unwanted() {
    std::erase_if(machines_, [](const auto& entry) {
        return entry.second.wanted.empty() && !entry.second.job;
    });
}
