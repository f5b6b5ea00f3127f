// SPDX-License-Identifier: MIT
#pragma once

#include "protocol/sequence.h"
#include "setup/clock.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace setup {

/// How soon an exchange whose echo is there ends.
enum class Pace : std::uint8_t {
    brisk, ///< when the pauses behind its sequence are over
    gentle ///< when the whole wait for the echo is over, as the window does it
};

enum class Result : std::uint8_t {
    confirmed,   ///< the machine sent all three bytes back, in time
    unconfirmed, ///< the message was sent, and nothing proves that the machine took it
    not_sent     ///< the message was never sent
};

/// What became of a message.
struct Outcome {
    Result result = Result::not_sent;
    unsigned attempts = 0; ///< sequences begun, 0 to 2; if confirmed: the one whose echo it was
    Duration took{};       ///< from the start to the end, with all pauses and waits
    Time ended{};          ///< the next exchange may start here: its pauses are over

    /// 0, or the negative errno of the first send that failed. Behind the message (the closing
    /// clock) or in the second attempt a send may fail and the result still be another one than
    /// not_sent. -ECANCELED: stopped before anything was sent.
    std::int32_t status = 0;

    /// From the message to its echo, if confirmed; to `instead`, if there is one.
    Duration echo_after{};

    /// Unconfirmed, because the note pair in front of the message had come back as well: something
    /// sends back whatever it gets (a loop-back cable, a through port).
    bool everything_came_back = false;
    /// Unconfirmed, and stop() kept the second attempt from being made.
    bool stopped = false;
    /// Unconfirmed: the message that came most like an echo, such as a bend with another position.
    /// Where it agrees in all three bytes, it came too late for the first attempt and too early for
    /// the second.
    std::optional<protocol::Message> instead{};
};

/// One message to one machine: says which bytes to send when, and judges what is heard. No clock,
/// no I/O, no allocation. Any one thread. To be used like this, until is_over():
///
///     when due() has come, or something has arrived:
///         exchange.heard(when it arrived, bytes)        for all that has arrived by `now`
///         bytes = exchange.advance(now)
///         if there are any: send them; exchange.sent(status, the time behind the send)
class Exchange {
public:
    /// `start`: where the pauses count from; nothing is sent before it.
    Exchange(const protocol::Message& message, Time start, Pace pace = Pace::brisk);

    /// When advance() has something to do next. Only while not over.
    [[nodiscard]] Time due() const { return due_; }

    /// What to send now: one or more whole messages that have no pause between them; empty before
    /// due(), and when there is nothing to send. The bytes stay as they are for as long as the
    /// exchange. Not to be called again before sent() when there were any.
    [[nodiscard]] std::span<const std::uint8_t> advance(Time now);

    /// Those bytes were sent, or were not (a negative errno). Pauses count from `now`.
    void sent(std::int32_t status, Time now);

    /// One whole message arrived from the machine's own source at `at`. Messages come in the order
    /// in which they arrived; what arrived before anything was sent may come, too.
    void heard(Time at, std::span<const std::uint8_t> bytes);

    /// No further attempt: a sequence that has begun ends, and its echo is waited for.
    void stop();

    [[nodiscard]] bool is_over() const { return over_; }
    /// Only once it is over.
    [[nodiscard]] const Outcome& outcome() const { return outcome_; }

private:
    static constexpr std::size_t steps = 5; ///< runs of events without a pause between them
    static constexpr std::size_t message_step = 3;

    struct Step {
        std::uint8_t begin; ///< in wire_
        std::uint8_t end;
        Duration pause_before;
    };

    /// When an echo of one attempt counts: after `opens`, and not after `closes`.
    struct Window {
        Time opens = Time::max();
        Time closes = Time::max();
        [[nodiscard]] bool holds(Time at) const { return at > opens && at <= closes; }
    };

    void begin_attempt(Time now);
    void end_sequence(Time now);
    void decide(Time now);
    void end(Result result, Time now);
    [[nodiscard]] bool heard_pair(Time at, const protocol::Message& message, bool is_echo);
    void heard_other(Time at, const protocol::Message& message);

    protocol::Message message_;
    Pace pace_;
    std::array<std::uint8_t, 16> wire_{};
    std::array<Step, steps> steps_{};
    Time start_;
    Time due_;
    std::size_t step_ = 0;         ///< the next one to send; `steps`: all are sent
    unsigned attempt_ = 1;         ///< 1 or 2
    bool sending_ = false;         ///< between advance() and sent()
    bool message_is_sent_ = false; ///< in any attempt
    bool stop_ = false;
    bool over_ = false;
    std::array<Window, protocol::attempts> windows_{};
    std::optional<Time> echo_{}; ///< of the message, inside a window
    unsigned echo_attempt_ = 0;  ///< whose window that was
    Outcome outcome_{};
};

} // namespace setup
