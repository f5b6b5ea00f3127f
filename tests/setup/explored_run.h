// SPDX-License-Identifier: MIT
#pragma once

#include "setup/runner.h"
#include "simulation/embedded_connection.h"
#include "tests/exploration/explored_world.h"

#include <array>
#include <chrono>
#include <optional>
#include <set>
#include <string>
#include <vector>

/// What happens in a step, counted from 0: a fault, or with none of them the runner is stopped. It
/// can only be stopped while it waits: in any other step the next wait is meant.
struct Happening {
    std::optional<Fault> fault;
    std::size_t step;
};

/// A runner with two messages for the machine of the explored world and two for a healthy one
/// beside it. Opening a line, each send and each wait is a step.
class ExploredRun {
public:
    ExploredRun(Echo echo, std::vector<Happening> happenings);
    ~ExploredRun() { install_midi_backend(nullptr); }
    ExploredRun(const ExploredRun&) = delete;
    ExploredRun& operator=(const ExploredRun&) = delete;

    /// Runs it to its end. What is wrong; empty: nothing.
    [[nodiscard]] std::string run();
    [[nodiscard]] std::size_t steps() const { return steps_; }

private:
    using Microseconds = std::chrono::microseconds;

    /// One machine, and what became of its messages.
    struct Side {
        MIDIObjectRef reference;
        std::array<protocol::Message, 2> messages;
        std::vector<setup::Outcome> outcomes{};
    };

    /// What is known of one message while its sends are followed.
    struct Course {
        setup::Outcome expected{};
        setup::Time ready{}; ///< when the next sequence may begin
        setup::Time opens{}; ///< the window for the echo of this attempt
        setup::Time closes{};
        bool was_sent = false;
    };

    void in_step(const Step& step);
    void wait(setup::Time until);
    void stamp();

    [[nodiscard]] std::string judge(const Side& side) const;
    [[nodiscard]] std::string judge_machine() const;
    [[nodiscard]] bool follow(const Side& side, std::size_t number, Course& course,
                              std::vector<std::size_t>& sends) const;
    [[nodiscard]] bool attempt(const Side& side, std::size_t number, Course& course,
                               std::vector<std::size_t>& sends) const;
    [[nodiscard]] std::optional<setup::Time> echo(const Side& side, std::size_t number,
                                                  const Course& course) const;
    [[nodiscard]] OSStatus opening(const Side& side) const;
    [[nodiscard]] std::vector<std::size_t> sends_to(MIDIObjectRef object) const;

    EmbeddedBackend service_{EmbeddedBackend::Time::manual};
    SteppingBackend backend_{service_};
    ExploredWorld world_;
    EmbeddedMachine neighbour_;
    std::array<Side, 2> sides_;
    std::vector<Happening> happenings_;
    setup::Client client_;
    std::optional<setup::Runner> runner_{};

    std::vector<Microseconds> times_{}; ///< when each line of the journal was written
    std::multiset<Microseconds> arrivals_{};
    std::size_t steps_ = 0;
    std::size_t stopped_at_; ///< the length of the journal then
};
