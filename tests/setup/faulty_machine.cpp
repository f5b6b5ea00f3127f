// SPDX-License-Identifier: MIT
#include "tests/setup/faulty_machine.h"

#include <algorithm>
#include <array>
#include <cerrno>

using protocol::Message;
using setup::Result;
using setup::Time;
using std::chrono::milliseconds;

namespace {

constexpr std::size_t sequence_length = 16; // bytes

/// The events of a sequence, in runs without a pause between them: when a run is sent, counted from
/// the end of what was before, and how many events and bytes there are up to its end.
struct Run {
    milliseconds at;
    unsigned events;
    std::size_t bytes;
};
constexpr std::array<Run, 5> runs = {{{milliseconds(2), 6, 6},
                                      {milliseconds(3), 7, 9},
                                      {milliseconds(5), 8, 12},
                                      {milliseconds(7), 9, 15},
                                      {milliseconds(9), 10, 16}}};
constexpr std::size_t message_run = 3;
constexpr milliseconds sequence_end{11};
constexpr milliseconds window_end{311};

} // namespace

unsigned FaultPlan::below(unsigned end) {
    return std::uniform_int_distribution<unsigned>(0, end - 1)(random_);
}

MachineFaults FaultPlan::draw() {
    MachineFaults faults;
    if (rates_.silent)
        faults.silent = 1;
    if (below(10'000) < rates_.vanishing)
        faults.vanish_after = 1 + below(10);
    if (below(100) >= rates_.spoiled)
        return faults;
    const unsigned kind = below(5);
    if (kind == 0)
        faults.silent = 1;
    if (kind == 1 || kind == 2) {
        faults.slow = 1;
        // So late that it comes in the next attempt, between the two, or in the next exchange.
        faults.delay_ms = below(700);
    }
    if (kind == 2 || kind == 3) {
        faults.wrong = 1;
        faults.wrong_byte = 1 + below(3);
    }
    // Not with a late echo: six clocks in one exchange make the echo of a note on doubtful.
    if (kind == 4 || (kind == 3 && below(2) == 0))
        faults.chatter = 1;
    return faults;
}

const MachineFaults& FaultPlan::of(std::size_t sequence) {
    while (drawn_.size() <= sequence)
        drawn_.push_back(draw());
    return drawn_[sequence];
}

FaultyMachine::FaultyMachine(EmbeddedBackend& service, FaultPlan plan,
                             std::function<void(std::chrono::microseconds)> on_emission)
    : service_(service), plan_(std::move(plan)), on_emission_(std::move(on_emission)),
      reference_(service.attach({}, [this](auto messages) { receive(messages); })) {}

/// A firmware is told its faults once and for all: this makes another one with the same table.
void FaultyMachine::begin(const MachineFaults& faults) {
    const bool is_faulty =
        faults.silent + faults.slow + faults.wrong + faults.chatter + faults.vanish_after != 0;
    if (is_faulty || was_faulty_)
        firmware_ = Firmware{faults, firmware_.table()};
    was_faulty_ = is_faulty;
}

void FaultyMachine::receive(std::span<const std::uint8_t> messages) {
    if (received_.size() % sequence_length == 0)
        begin(plan_.of(received_.size() / sequence_length));
    received_.insert(received_.end(), messages.begin(), messages.end());
    for (const MachineReply& reply : firmware_.receive(messages).replies) {
        const milliseconds after{reply.after_ms};
        service_.emit(reference_, {reply.bytes.data(), reply.length}, after);
        on_emission_(service_.now() + after);
    }
    if (firmware_.vanished())
        service_.detach(reference_);
}

ExpectedCourse::ExpectedCourse(FaultPlan plan, const std::vector<Message>& messages)
    : plan_(std::move(plan)) {
    for (const Message& message : messages)
        follow(message);
}

void ExpectedCourse::follow(const Message& message) {
    if (is_known_to_be_gone_) {
        outcomes.push_back({.ended = now_, .status = -ENODEV});
        return;
    }
    Course course{.message = message, .start = now_};
    course.outcome.attempts = 1;
    if (!attempt(course, now_)) {
        course.outcome.attempts = 2;
        if (!attempt(course, now_ + window_end)) {
            course.outcome.result = Result::unconfirmed;
            course.outcome.ended = now_ + 2 * window_end;
        }
    }
    course.outcome.took = course.outcome.ended - course.start;
    now_ = course.outcome.ended;
    is_known_to_be_gone_ = course.outcome.status == -ENODEV;
    outcomes.push_back(course.outcome);
}

/// Whether this attempt is the last, with the outcome.
bool ExpectedCourse::attempt(Course& course, Time begun) {
    if (has_vanished_)
        return fail(course, begun + runs.front().at);
    const MachineFaults faults = plan_.of(sequences_++);
    if (reach(course, begun, faults))
        return true;
    const Time opens = begun + runs[message_run].at;
    std::ranges::sort(course.echoes);
    const auto echo = std::ranges::upper_bound(course.echoes, opens);
    if (echo == course.echoes.end() || *echo > begun + window_end)
        return false;
    course.outcome.result = Result::confirmed;
    course.outcome.echo_after = *echo - opens;
    course.outcome.ended = std::max(begun + sequence_end, *echo);
    return true;
}

/// Lets the sequence reach the machine. Whether a send fails that ends the exchange.
bool ExpectedCourse::reach(Course& course, Time begun, const MachineFaults& faults) {
    const Message& message = course.message;
    const Bytes bytes = sequence(message[0], message[1], message[2]);
    for (std::size_t i = 0; i < runs.size(); ++i) {
        const Time at = begun + runs.at(i).at;
        if (has_vanished_ && i > message_run) {
            course.outcome.status = -ENODEV; // the closing clock: the echo is waited for
            return false;
        }
        if (has_vanished_)
            return fail(course, at);
        received.insert(received.end(),
                        bytes.begin() + static_cast<std::ptrdiff_t>(received.size() % bytes.size()),
                        bytes.begin() + static_cast<std::ptrdiff_t>(runs.at(i).bytes));
        has_vanished_ = faults.vanish_after != 0 && faults.vanish_after <= runs.at(i).events;
        if (has_vanished_)
            std::erase_if(course.echoes, [at](Time echo) { return echo > at; });
        if (i != message_run)
            continue;
        course.was_sent = true;
        if (has_vanished_)
            continue;
        const auto mapping = *protocol::mapping_of(message);
        table.erase(mapping);
        table.insert(mapping);
        if (faults.silent == 0 && faults.wrong == 0)
            course.echoes.push_back(at +
                                    milliseconds(1 + (faults.slow != 0 ? faults.delay_ms : 0)));
    }
    return false;
}

bool ExpectedCourse::fail(Course& course, Time at) {
    course.outcome.result = course.was_sent ? Result::unconfirmed : Result::not_sent;
    course.outcome.ended = at;
    if (course.outcome.status == 0)
        course.outcome.status = -ENODEV;
    return true;
}
