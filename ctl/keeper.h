// SPDX-License-Identifier: MIT
#pragma once

#include "ctl/machine_jobs.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <vector>

/// What machines are to hold, by device code.
using KeptMappings = std::map<std::uint32_t, std::vector<protocol::KeyMapping>>;

/// The right to send to a port, given up when it is destroyed.
class SendingRight {
public:
    SendingRight() = default;
    SendingRight(const SendingRight&) = delete;
    SendingRight& operator=(const SendingRight&) = delete;
    virtual ~SendingRight() = default;
    /// Tries to get it, without waiting. False: another program has it, and it is tried again.
    [[nodiscard]] virtual bool take() = 0;
};

/// What a keeper needs from its program, and what it tells it. It calls this from its own calls.
class KeeperHost {
public:
    KeeperHost() = default;
    KeeperHost(const KeeperHost&) = delete;
    KeeperHost& operator=(const KeeperHost&) = delete;
    virtual ~KeeperHost() = default;

    /// All machines that are there, as setup::list_settled_machines() has them.
    [[nodiscard]] virtual std::vector<setup::Machine> machines() = 0;
    /// The right to send to a machine's port, not taken yet. Never two for one port at a time.
    [[nodiscard]] virtual std::unique_ptr<SendingRight> right_to(const setup::Target& target) = 0;

    /// A machine that mappings are for is there and cannot be set up; when that begins or changes.
    virtual void cannot_set(const setup::Choice& choice) = 0;
    /// A mapping came to its end, confirmed or not.
    virtual void result(const ResultReport& result) = 0;
    /// A machine was set, or it was tried. `status`: why the first mapping that was not sent was
    /// not, a negative errno; 0: all were sent.
    virtual void finished(const setup::Target& target, const JobSum& sum, std::int32_t status) = 0;
};

/// Sets each of its machines that is there, and each that comes, side by side, on the calling
/// thread. Nothing is saved. A machine counts as another one each time it appears, and it is set
/// again when its mappings change. What it does not confirm is not tried again. Where something
/// could not be sent although the machine stays, all of it is tried again ten seconds later. A
/// machine that is there and cannot be set up is looked at again as often: what stands in the way
/// may be a name, and nobody says when that changes.
class Keeper {
public:
    /// `host` has to outlive the keeper. std::system_error: no descriptor is left.
    explicit Keeper(KeeperHost& host, setup::Now now = setup::steady_now);
    Keeper(const Keeper&) = delete;
    Keeper& operator=(const Keeper&) = delete;

    // After each of these step() is due at once.

    /// Replaces all mappings. A machine that is being set by the old ones comes to their end first.
    void keep(const KeptMappings& mappings);
    /// Machines may have come or gone.
    void look_around() { must_look_ = true; }
    /// Another program may have given up a right.
    void try_rights();
    /// Sequences that have begun end, and their echo is waited for; nothing new begins.
    void stop();

    /// Does what is due, and says when it is due again at the latest (earlier when inbox() is
    /// readable). Nothing: not before one of the calls above; once stopped, all has ended.
    [[nodiscard]] std::optional<setup::Time> step();

    /// What the machines send arrives here; step() takes it out.
    [[nodiscard]] setup::Inbox& inbox() { return jobs_.inbox(); }

    /// How long all that takes, and how soon a right is tried again if nobody says that it has
    /// become free.
    static constexpr setup::Duration patience = std::chrono::seconds(10);

private:
    /// One machine, and what has been done about it.
    struct Kept {
        std::vector<protocol::KeyMapping> wanted{};
        setup::Obstacle obstacle = setup::Obstacle::no_machine; ///< by the last look around
        std::optional<setup::Target> there{};                   ///< when it can be set
        setup::Time due{};                                      ///< nothing is tried before

        std::unique_ptr<SendingRight> right{}; ///< taken for the job, or waited for
        setup::Target claimed{};               ///< that it is the right to

        MachineJob* job = nullptr;
        std::int32_t status = 0; ///< why the job could not send something

        std::vector<protocol::KeyMapping> sent{}; ///< by the last job
        std::optional<setup::Target> set{};       ///< that took all of it

        /// Whether it has to be set as soon as its time has come.
        [[nodiscard]] bool is_waiting() const;
    };

    void update_machines();
    void see(std::uint32_t code, Kept& kept, const std::vector<setup::Machine>& machines);
    [[nodiscard]] bool begin_jobs();
    [[nodiscard]] bool begin(Kept& kept);
    void take_result(const MachineJob& job, const ResultReport& result);
    void end_jobs();
    void end(Kept& kept);
    void forget_unwanted();

    KeeperHost& host_;
    const setup::Now now_;
    MachineJobs jobs_;
    std::map<std::uint32_t, Kept> machines_{}; ///< with mappings to hold, or being set
    bool must_look_ = true;
    std::optional<setup::Time> look_again_{}; ///< for a machine that cannot be set up
    bool stopped_ = false;
};
