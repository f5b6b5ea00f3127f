// SPDX-License-Identifier: MIT
#include "ctl/commands.h"

#include "ctl/choosing.h"
#include "ctl/layout_mistakes.h"
#include "ctl/machine_jobs.h"
#include "ctl/precautions.h"
#include "ctl/progress.h"
#include "ctl/wording.h"
#include "protocol/device_code.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

namespace {

/// A machine of the layout, and whether it can be set up.
struct Candidate {
    const setup::MachineLayout* layout;
    setup::Choice choice;
    LockTry lock{};

    [[nodiscard]] bool is_ready() const {
        return choice.obstacle == setup::Obstacle::none && lock.refusal.empty();
    }
};

/// Looks for the machines of a layout and takes their locks. Says of each one that cannot be had
/// why, and of locks that there cannot be.
std::vector<Candidate> find_machines(const setup::Layout& layout,
                                     const std::vector<setup::Machine>& machines,
                                     const Request& request, Workplace& place) {
    std::vector<Candidate> candidates;
    std::string risk;
    for (const setup::MachineLayout& wanted : layout.machines) {
        const MachineChoice choice = request.machine.value_or(MachineChoice{.code = wanted.code});
        Candidate& candidate = candidates.emplace_back(
            Candidate{.layout = &wanted, .choice = choose(place.system, machines, choice)});
        if (candidate.choice.obstacle != setup::Obstacle::none) {
            place.tell(refusal_text(candidate.choice, choice));
            continue;
        }
        candidate.lock =
            try_lock(place.system, address_or_mark(candidate.choice.target.destination));
        if (!candidate.lock.refusal.empty())
            place.tell(protocol::code_text(wanted.code) + ": " + candidate.lock.refusal);
        if (!candidate.lock.risk.empty())
            risk = candidate.lock.risk;
    }
    if (!risk.empty())
        place.tell(risk);
    return candidates;
}

/// Whether all is ready that has to be. What that means for the machines is said, unless the layout
/// is of one machine, about which all has been said.
bool is_enough(const std::vector<Candidate>& candidates, bool available, Workplace& place) {
    const auto ready =
        static_cast<std::size_t>(std::ranges::count_if(candidates, &Candidate::is_ready));
    const std::size_t missing = candidates.size() - ready;
    if (missing == 0)
        return true;
    const bool goes_on = available && ready != 0;
    if (candidates.size() == 1)
        return goes_on;
    const std::string few = std::to_string(missing) + " of " + std::to_string(candidates.size());
    if (goes_on)
        place.tell(few + " machines are left out");
    else if (ready == 0)
        place.tell("nothing is sent: none of the machines can be set up");
    else
        place.tell("nothing is sent, because " + few +
                   " machines cannot be set up; --available leaves them out");
    return goes_on;
}

/// Sends a layout to its machines and reports what becomes of it.
class Applying {
public:
    Applying(const Request& request, Workplace& place)
        : request_(request), place_(place), line_(place.errors, setup::steady_now()),
          jobs_(request.gentle ? setup::Pace::gentle : setup::Pace::brisk,
                [this](const MachineJob& job, const ResultReport& result) {
                    take_result(job, result);
                }) {}

    /// Whether all of it was confirmed.
    [[nodiscard]] bool run(const std::vector<Candidate>& candidates) {
        place_.output.keep_for_slow_reader();
        for (const Candidate& candidate : candidates) {
            if (candidate.is_ready())
                start(candidate);
        }
        jobs_.run(place_, [this](setup::Time until) { show_progress(until); });
        line_.clear();
        report_sums(candidates);
        write_rest();
        return std::ranges::all_of(jobs_.jobs(), &MachineJob::is_done);
    }

private:
    void start(const Candidate& candidate) {
        std::vector<protocol::KeyMapping> mappings;
        mappings.reserve(candidate.layout->entries.size());
        for (const setup::LayoutEntry& entry : candidate.layout->entries)
            mappings.push_back(entry.mapping);
        jobs_.add(candidate.choice.target, mappings, request_.save);
    }

    void take_result(const MachineJob& job, const ResultReport& result) {
        const setup::Outcome& outcome = result.outcome;
        const bool is_failure = outcome.result != setup::Result::confirmed;
        if (!request_.json && !is_failure)
            return;
        // Of what is not sent any more to a machine that has gone, or when stopped, people want to
        // read once.
        const bool is_one_of_many = outcome.result == setup::Result::not_sent &&
                                    (outcome.status == -ENODEV || outcome.status == -ECANCELED) &&
                                    job.sum().not_sent > 1 && result.mapping;
        if (!request_.json && is_one_of_many)
            return;
        line_.clear();
        place_.report.result(result);
    }

    /// Draws where a little time is left, so that no pause gets longer.
    void show_progress(setup::Time until) {
        constexpr auto enough = std::chrono::microseconds(300);
        const setup::Time now = setup::steady_now();
        if (request_.json || place_.output.has_kept() || until - now < enough || !line_.is_due(now))
            return;
        Progress progress;
        for (const MachineJob& job : jobs_.jobs()) {
            const JobSum& sum = job.sum();
            ++progress.machines;
            progress.machines_over += job.is_over() ? 1 : 0;
            progress.mappings += sum.mappings;
            progress.mappings_over += sum.ended();
            progress.failures += sum.unconfirmed + sum.not_sent;
            progress.left = std::max(progress.left, time_left(sum));
        }
        line_.draw(progress, now);
    }

    /// The machine goes on as it did until now.
    static setup::Duration time_left(const JobSum& sum) {
        const auto over = static_cast<std::int64_t>(sum.ended());
        const auto left = static_cast<std::int64_t>(sum.mappings) - over;
        return left * (over == 0 ? setup::least_duration : sum.took / over);
    }

    void report_sums(const std::vector<Candidate>& candidates) {
        auto job = jobs_.jobs().begin();
        for (const Candidate& candidate : candidates) {
            SumReport report{.code = candidate.layout->code,
                             .sum = {.mappings = candidate.layout->entries.size()},
                             .saves = request_.save,
                             .obstacle = candidate.choice.obstacle,
                             .is_in_use = !candidate.lock.refusal.empty()};
            if (candidate.is_ready()) {
                report.port = address_or_mark(job->target().destination);
                report.sum = (job++)->sum();
            } else {
                report.sum.not_sent = report.sum.mappings;
            }
            place_.report.sum(report);
        }
    }

    /// Waits for a slow reader, or for a signal.
    void write_rest() {
        std::array<pollfd, 2> polled = {{
            {.fd = place_.output.descriptor(), .events = POLLOUT, .revents = 0},
            {.fd = place_.signals != nullptr ? place_.signals->descriptor() : -1,
             .events = POLLIN,
             .revents = 0},
        }};
        while (place_.output.has_kept()) {
            setup::wait_readable(polled, std::nullopt);
            place_.output.write_kept();
            if (const auto signal =
                    place_.signals != nullptr ? place_.signals->take() : std::nullopt) {
                place_.stopped_by = signal;
                return;
            }
        }
    }

    const Request& request_;
    Workplace& place_;
    ProgressLine line_;
    MachineJobs jobs_;
};

} // namespace

ExitStatus run_apply(const Request& request, Workplace& place) {
    const auto layout = accepted_layout(request, place);
    if (!layout)
        return ExitStatus::arguments;
    const auto machines = machines_of(place.system);
    if (const auto trouble = place.system.trouble()) {
        place.tell(trouble->sentence + "; " + trouble->remedy);
        return ExitStatus::no_sequencer;
    }
    const auto candidates = find_machines(*layout, machines, request, place);
    if (!is_enough(candidates, request.available, place))
        return ExitStatus::no_machine;
    std::vector<setup::Target> targets;
    for (const Candidate& candidate : candidates) {
        if (candidate.is_ready())
            targets.push_back(candidate.choice.target);
    }
    name_others(targets, place);
    return Applying(request, place).run(candidates) ? ExitStatus::done : ExitStatus::unconfirmed;
}
