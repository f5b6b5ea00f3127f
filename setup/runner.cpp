// SPDX-License-Identifier: MIT
#include "setup/runner.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace setup {

/// The messages of one line.
struct Runner::Queue {
    MachineLine* line;
    OSStatus gone; ///< why nothing more can be sent, if so
    std::vector<protocol::Message> messages{};
    std::size_t next = 0; ///< the first one that has not come to its end
    Time ready{};         ///< when that one was added, or the one before it ended
    std::optional<Exchange> exchange{};

    [[nodiscard]] bool has_work() const { return next < messages.size(); }

    /// When something has to be done about the next message, if there is one.
    [[nodiscard]] Time due() const {
        if (!has_work())
            return Time::max();
        return exchange && !exchange->is_over() ? exchange->due() : ready;
    }
};

Runner::Runner(Client& client, Wait wait, OnResult on_result, Pace pace)
    : client_(client), wait_(std::move(wait)), on_result_(std::move(on_result)), pace_(pace) {}

Runner::~Runner() = default;

void Runner::add(MachineLine& line, const protocol::Message& message) {
    Queue* queue = find(line);
    if (!queue)
        queue = &queues_.emplace_back(Queue{.line = &line, .gone = line.status()});
    if (!queue->has_work())
        queue->ready = client_.inbox().now();
    queue->messages.push_back(message);
}

void Runner::remove(const MachineLine& line) {
    std::erase_if(queues_, [&line](const Queue& queue) { return queue.line == &line; });
}

void Runner::run() {
    while (const auto until = step())
        wait_(*until);
}

void Runner::stop() {
    stopped_ = true;
    for (Queue& queue : queues_) {
        if (queue.exchange)
            queue.exchange->stop();
    }
}

std::optional<Time> Runner::step() {
    while (true) {
        // In this order, so that nothing is decided before all that had arrived by `now` is heard.
        const Time now = client_.inbox().now();
        hear();
        const auto earliest = std::ranges::min_element(queues_, {}, &Queue::due);
        if (earliest == queues_.end() || !earliest->has_work())
            return std::nullopt;
        if (earliest->due() > now)
            return earliest->due();
        act(*earliest, now);
    }
}

Runner::Queue* Runner::find(const MachineLine& line) {
    const auto queue = std::ranges::find(queues_, &line, &Queue::line);
    return queue == queues_.end() ? nullptr : &*queue;
}

void Runner::hear() {
    client_.inbox().take(heard_);
    for (const Heard& heard : heard_) {
        Queue* queue = find(*heard.line);
        if (queue && queue->exchange)
            queue->exchange->heard(heard.at, heard.bytes());
    }
}

void Runner::act(Queue& queue, Time now) {
    if (!queue.exchange && (stopped_ || queue.gone != 0)) {
        report(queue, {.ended = now, .status = queue.gone != 0 ? queue.gone : -ECANCELED});
        return;
    }
    if (!queue.exchange) {
        queue.exchange.emplace(queue.messages[queue.next], queue.ready, pace_);
        return;
    }
    if (const auto bytes = queue.exchange->advance(now); !bytes.empty()) {
        const OSStatus status = queue.line->send(bytes);
        queue.exchange->sent(status, client_.inbox().now());
    }
    if (!queue.exchange->is_over())
        return;
    const Outcome outcome = queue.exchange->outcome();
    queue.exchange.reset();
    if (outcome.status == -ENODEV)
        queue.gone = outcome.status;
    report(queue, outcome);
}

void Runner::report(Queue& queue, const Outcome& outcome) {
    const std::size_t number = queue.next++;
    queue.ready = outcome.ended;
    // The callback may add a line, which moves the queues.
    on_result_({.line = *queue.line,
                .number = number,
                .message = protocol::Message{queue.messages[number]},
                .outcome = outcome});
}

} // namespace setup
