// SPDX-License-Identifier: MIT
#include "ctl/commands.h"

#include "ctl/machine_jobs.h"
#include "ctl/precautions.h"

ExitStatus run_set_or_save(const Request& request, Workplace& place) {
    const auto reserved = reserve_machine(request.machine, place);
    if (const auto* const refused = std::get_if<ExitStatus>(&reserved))
        return *refused;
    const bool is_set = request.command == Command::set;
    const auto say_result = [&](const MachineJob& job, const ResultReport& result) {
        place.report.result(result);
        if (is_set && request.save && !job.sum().all_confirmed())
            place.tell("nothing is saved, because the mapping is not confirmed");
    };
    MachineJobs jobs(request.gentle ? setup::Pace::gentle : setup::Pace::brisk, say_result);
    const MachineJob& job =
        jobs.add(std::get<ReservedMachine>(reserved).target,
                 std::span{&request.mapping, is_set ? 1U : 0U}, request.save || !is_set);
    jobs.run(place);
    return job.is_done() ? ExitStatus::done : ExitStatus::unconfirmed;
}
