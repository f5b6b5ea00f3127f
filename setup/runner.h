// SPDX-License-Identifier: MIT
#pragma once

#include "setup/exchange.h"
#include "setup/machine_line.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

namespace setup {

/// One message that has come to its end.
struct Report {
    MachineLine& line;
    std::size_t number; ///< which of the line's messages, from 0
    protocol::Message message;
    const Outcome& outcome;
};

/// Carries out exchanges with many machines side by side, on each one after the other, on the
/// calling thread. Every message that was added is reported exactly once.
class Runner {
public:
    /// Returns when the inbox has something, or at `until`, or before; it may call stop().
    using Wait = std::function<void(Time until)>;
    /// Called in the order in which exchanges end; it may call add(), remove() and stop().
    using OnResult = std::function<void(const Report&)>;

    Runner(Client& client, Wait wait, OnResult on_result, Pace pace = Pace::brisk);
    ~Runner();
    Runner(const Runner&) = delete;
    Runner& operator=(const Runner&) = delete;

    /// Queues a message behind those of the same line. The line has to outlive the runner, or
    /// remove().
    void add(MachineLine& line, const protocol::Message& message);

    /// Forgets a line all of whose messages have been reported; it need not outlive the runner
    /// then.
    void remove(const MachineLine& line);

    /// Returns when all that was added has been reported.
    void run();

    /// Sequences that have begun end, and their echo is waited for; there is no second attempt and
    /// nothing new: what has not begun is reported as not sent, -ECANCELED.
    void stop();

    /// For a loop of the caller's own, instead of run(): does what is due, and says when to do it
    /// again at the latest (earlier when the inbox has something); nothing when all is done.
    [[nodiscard]] std::optional<Time> step();

private:
    struct Queue;

    [[nodiscard]] Queue* find(const MachineLine& line);
    void hear();
    void act(Queue& queue, Time now);
    void report(Queue& queue, const Outcome& outcome);

    Client& client_;
    const Wait wait_;
    const OnResult on_result_;
    const Pace pace_;
    bool stopped_ = false;
    std::vector<Queue> queues_;
    std::vector<Heard> heard_;
};

} // namespace setup
