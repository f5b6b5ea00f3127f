// SPDX-License-Identifier: MIT
#pragma once

#include "ctl/commands.h"
#include "ctl/job_sum.h"
#include "protocol/mapping.h"
#include "setup/runner.h"
#include "setup/waiting.h"

#include <functional>
#include <list>
#include <optional>
#include <span>

/// The work on one machine: mappings, one after the other, and perhaps the save command behind
/// them.
class MachineJob {
public:
    MachineJob(setup::Client& client, const setup::Target& target, bool saves, setup::Time started)
        : line_(client, target), saves_(saves), started_(started) {}

    [[nodiscard]] const setup::Target& target() const { return line_.target(); }
    [[nodiscard]] const JobSum& sum() const { return sum_; }
    /// Whether the mappings are to be saved once they are all confirmed.
    [[nodiscard]] bool saves() const { return saves_; }
    /// Whether nothing more is going to be sent.
    [[nodiscard]] bool is_over() const;
    /// Whether all that was asked for is confirmed.
    [[nodiscard]] bool is_done() const;

private:
    friend class MachineJobs;
    [[nodiscard]] bool wants_save() const;
    void count(const setup::Outcome& outcome, bool is_mapping);

    setup::MachineLine line_;
    bool saves_;
    setup::Time started_;
    JobSum sum_{};
};

/// Jobs on many machines, side by side: a client of the MIDI service and all that is sent by it.
/// The calling thread. The backend has to outlive it.
class MachineJobs {
public:
    /// Called for each message that has come to its end, in that order; the last one of a job finds
    /// it over. It may call add(), stop() and, for a job that is over, remove().
    using OnResult = std::function<void(MachineJob& job, const ResultReport& result)>;

    /// std::system_error: no descriptor is left.
    MachineJobs(setup::Pace pace, OnResult on_result, setup::Now now = setup::steady_now);

    /// Starts a job. It stays where it is until remove(). There must be no other job on the same
    /// source. A job without mappings and save is over at once, and nothing is called for it.
    MachineJob& add(const setup::Target& target, std::span<const protocol::KeyMapping> mappings,
                    bool saves);

    /// Closes the line of a job that is over, and forgets the job.
    void remove(MachineJob& job);

    [[nodiscard]] std::list<MachineJob>& jobs() { return jobs_; }

    /// Sequences that have begun end, and their echo is waited for; nothing else is sent any more,
    /// by any job.
    void stop() { runner_.stop(); }

    /// Does what is due. Says when to call it again at the latest, or earlier when inbox() is
    /// readable; nothing when all jobs are over.
    [[nodiscard]] std::optional<setup::Time> step() { return runner_.step(); }

    /// What the machines send arrives here; step() takes it out.
    [[nodiscard]] setup::Inbox& inbox() { return client_.inbox(); }

    /// Returns when all jobs are over. A signal stops them. Meanwhile what is kept for a slow
    /// reader of standard output is written. `before_wait` is called with the time that the next
    /// step is due at.
    void run(Workplace& place, const std::function<void(setup::Time until)>& before_wait = {});

private:
    void take_result(const setup::Report& report);

    const OnResult on_result_;
    setup::Client client_;
    std::list<MachineJob> jobs_{};
    setup::Runner runner_;
};
