// SPDX-License-Identifier: MIT
#pragma once

#include "protocol/sequence.h"
#include "setup/clock.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <optional>
#include <span>

namespace setup {

/// How soon an exchange whose echo is there ends.
enum class Pace : std::uint8_t {
    brisk, ///< when the pauses of its sequence are over
    gentle ///< when the whole wait for the echo is over, as in the window
};

/// Least time that an exchange takes.
inline constexpr Duration least_duration = std::chrono::microseconds(protocol::least_time);

enum class Result : std::uint8_t {
    confirmed,   ///< the machine sent all three bytes back, in time
    unconfirmed, ///< the message was sent, and nothing proves that the machine took it
    not_sent     ///< the message was never sent
};

/// What became of a message.
struct Outcome {
    Result result = Result::not_sent;
    unsigned attempts = 0; ///< sequences begun, 0 to 2; if confirmed: the one whose echo it was
    unsigned sent = 0;     ///< how many times the message itself was sent, 0 to 2
    Duration took{};       ///< from the start to `ended`, with all pauses and waits
    Time ended{};          ///< its pauses are over here: the next exchange may start

    /// 0, or the negative errno of the first send that failed. The result is not always not_sent
    /// then: the failed send may be the closing clock, or one of the second attempt. -ECANCELED:
    /// stopped before anything was sent.
    std::int32_t status = 0;

    /// From the message to its echo, if confirmed; to `instead`, if there is one.
    Duration echo_after{};

    /// Unconfirmed, because the note pair in front of the message had come back as well: something
    /// sends everything back (a loop-back cable, a through port).
    bool everything_came_back = false;
    /// Unconfirmed, and stop() prevented the second attempt.
    bool stopped = false;
    /// Unconfirmed: the message most like an echo, such as a bend with another position. All three
    /// bytes agree if it came too late for the first attempt and too early for the second.
    std::optional<protocol::Message> instead{};
};

/// One message to one machine: says which bytes to send when, and judges what is heard. No clock,
/// no I/O, no allocation; any one thread. How to use it, until is_over():
///
///     when due() is reached, or something has arrived:
///         exchange.heard(time of arrival, bytes)        for all that arrived up to `now`
///         bytes = exchange.advance(now)
///         if there are any: send them; exchange.sent(status, time when the send returned)
class Exchange {
public:
    /// Nothing is sent before `start` and the first pause behind it.
    Exchange(const protocol::Message& message, Time start, Pace pace = Pace::brisk);

    /// When advance() has something to do next. Only while not over.
    [[nodiscard]] Time due() const { return due_; }

    /// What to send now: one or more whole messages without a pause between them; empty before
    /// due() and when there is nothing to send. If there is something, sent() comes next. The bytes
    /// live as long as the exchange.
    [[nodiscard]] std::span<const std::uint8_t> advance(Time now);

    /// Those bytes were sent (0) or not (a negative errno). The next pause counts from `now`.
    void sent(std::int32_t status, Time now);

    /// A whole message arrived from the machine's own source at `at`. Messages come in the order of
    /// their arrival; those from before the start do no harm.
    void heard(Time at, std::span<const std::uint8_t> bytes);

    /// A sequence that has begun ends, and its echo is waited for; there is no further attempt.
    void stop();

    [[nodiscard]] bool is_over() const { return over_; }
    /// Only once it is over.
    [[nodiscard]] const Outcome& outcome() const { return outcome_; }

private:
    /// Only pauses and lengths of it are used: they are the same for every message.
    static constexpr protocol::Sequence shape = protocol::confirmed_sequence({});
    /// Runs of events without a pause between them, and the bytes of all.
    static constexpr auto steps = static_cast<std::size_t>(std::count_if(
        shape.begin(), shape.end(), [](const auto& event) { return event.pause_before != 0; }));
    static constexpr std::size_t wire_length =
        std::accumulate(shape.begin(), shape.end(), std::size_t{0},
                        [](std::size_t sum, const auto& event) { return sum + event.length; });
    /// Which of the steps has the message.
    static constexpr std::size_t message_step = [] {
        std::size_t step = 0;
        for (std::size_t i = 1; !shape[i - 1].is_echoed; ++i)
            step += shape[i].pause_before != 0 ? 1 : 0;
        return step;
    }();

    struct Step {
        std::size_t begin = 0; ///< in wire_
        std::size_t end = 0;
        Duration pause_before{};
    };

    /// When an echo of one attempt counts.
    struct Window {
        Time opens = Time::max();
        Time closes = Time::max();
        [[nodiscard]] bool holds(Time at) const { return at > opens && at <= closes; }
    };

    struct Echo {
        Time at;
        unsigned attempt;
    };

    /// How much of the note pair has come back.
    enum class Pair : std::uint8_t { none, note_on, both };

    [[nodiscard]] Window& window() { return windows_[attempt_ - 1]; }
    [[nodiscard]] unsigned attempt_of_echo(Time at) const;
    [[nodiscard]] bool take_pair(Time at, const protocol::Message& heard);
    void take_echo(Time at, unsigned attempt);
    void take_other(Time at, const protocol::Message& heard);
    void settle(Time at);
    void decide();
    void end(Result result, Time at);

    protocol::Message message_;
    protocol::Message note_on_;
    protocol::Message note_off_;
    Pace pace_;
    std::array<std::uint8_t, wire_length> wire_{};
    std::array<Step, steps> steps_{};
    Time start_;
    Time due_;
    Time sequence_end_{};  ///< of this attempt, once all is sent
    std::size_t step_ = 0; ///< the next one to send; `steps`: all are sent
    unsigned attempt_ = 1; ///< counted from 1
    bool sending_ = false; ///< between advance() and sent()
    bool stop_ = false;
    bool over_ = false;
    std::array<Window, protocol::attempts> windows_{};
    Pair pair_ = Pair::none;
    std::size_t clocks_heard_ = 0;
    std::optional<Echo> echo_{};
    std::optional<Time> settled_{}; ///< when that was heard which decides
    Outcome outcome_{};
};

} // namespace setup
