// SPDX-License-Identifier: MIT
#include "ctl/machine_jobs.h"

#include "ctl/wording.h"

#include <algorithm>
#include <array>
#include <utility>

bool MachineJob::is_over() const {
    return sum_.ended() == sum_.mappings && !(wants_save() && !sum_.save);
}

bool MachineJob::is_done() const {
    return sum_.all_confirmed() && (!saves_ || sum_.save == setup::Result::confirmed);
}

bool MachineJob::wants_save() const {
    return saves_ && sum_.all_confirmed();
}

void MachineJob::count(const setup::Outcome& outcome, bool is_mapping) {
    sum_.took = outcome.ended - started_;
    if (!is_mapping)
        sum_.save = outcome.result;
    else if (outcome.result == setup::Result::confirmed)
        ++sum_.confirmed;
    else if (outcome.result == setup::Result::unconfirmed)
        ++sum_.unconfirmed;
    else
        ++sum_.not_sent;
}

MachineJobs::MachineJobs(setup::Pace pace, OnResult on_result, setup::Now now)
    : on_result_(std::move(on_result)), client_(CFSTR("keyloftctl"), std::move(now)),
      runner_(
          client_, {}, [this](const setup::Report& report) { take_result(report); }, pace) {}

MachineJob& MachineJobs::add(const setup::Target& target,
                             std::span<const protocol::KeyMapping> mappings, bool saves) {
    MachineJob& job = jobs_.emplace_back(client_, target, saves, client_.inbox().now());
    job.sum_.mappings = mappings.size();
    for (const protocol::KeyMapping& mapping : mappings)
        runner_.add(job.line_, protocol::message_of(mapping).value());
    if (mappings.empty() && saves)
        runner_.add(job.line_, protocol::save_command);
    return job;
}

void MachineJobs::remove(MachineJob& job) {
    runner_.remove(job.line_);
    jobs_.remove_if([&job](const MachineJob& each) { return &each == &job; });
}

void MachineJobs::run(Workplace& place, const std::function<void(setup::Time until)>& before_wait) {
    while (const auto until = step()) {
        if (before_wait)
            before_wait(*until);
        std::array<pollfd, 3> polled = {{
            {.fd = inbox().descriptor(), .events = POLLIN, .revents = 0},
            {.fd = place.signals != nullptr ? place.signals->descriptor() : -1,
             .events = POLLIN,
             .revents = 0},
            {.fd = place.output.has_kept() ? place.output.descriptor() : -1,
             .events = POLLOUT,
             .revents = 0},
        }};
        setup::wait_readable(polled, until);
        if (place.output.has_kept())
            place.output.write_kept();
        if (place.is_stopped())
            stop();
    }
}

void MachineJobs::take_result(const setup::Report& report) {
    const auto is_on_line = [&report](const MachineJob& job) { return &job.line_ == &report.line; };
    MachineJob& job = *std::ranges::find_if(jobs_, is_on_line);
    const ResultReport result{.code = job.target().code,
                              .port = address_or_mark(job.target().destination),
                              .message = report.message,
                              .mapping = protocol::mapping_of(report.message),
                              .outcome = report.outcome};
    job.count(report.outcome, result.mapping.has_value());
    if (result.mapping && job.wants_save())
        runner_.add(job.line_, protocol::save_command);
    on_result_(job, result);
}
