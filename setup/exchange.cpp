// SPDX-License-Identifier: MIT
#include "setup/exchange.h"

#include <cerrno>

namespace setup {

using protocol::Message;
using std::chrono::microseconds;

namespace {

constexpr Duration pause_behind = microseconds(protocol::pause_behind);
constexpr Duration echo_wait = microseconds(protocol::echo_wait);

/// Bytes that two messages have in common.
int agreement(const Message& one, const Message& other) {
    int count = 0;
    for (std::size_t i = 0; i < one.size(); ++i)
        count += one[i] == other[i] ? 1 : 0;
    return count;
}

} // namespace

Exchange::Exchange(const Message& message, Time start, Pace pace)
    : message_(message), pace_(pace), start_(start) {
    const protocol::Sequence sequence = protocol::confirmed_sequence(message);
    note_on_ = sequence[protocol::clocks_in_front].message;
    note_off_ = sequence[protocol::clocks_in_front + 1].message;
    std::size_t length = 0;
    std::size_t count = 0;
    for (const protocol::SequenceEvent& event : sequence) {
        if (event.pause_before != 0)
            steps_[count++] = {
                .begin = length, .end = length, .pause_before = microseconds(event.pause_before)};
        std::ranges::copy(event.bytes(), wire_.begin() + static_cast<std::ptrdiff_t>(length));
        length += event.length;
        steps_[count - 1].end = length;
    }
    due_ = start_ + steps_.front().pause_before;
}

std::span<const std::uint8_t> Exchange::advance(Time now) {
    if (over_ || sending_ || now < due_)
        return {};
    if (step_ == steps) {
        decide();
        return {};
    }
    sending_ = true;
    outcome_.attempts = attempt_;
    // Taken before the send: however late it returns, its echo is behind this.
    if (step_ == message_step)
        window().opens = now;
    const Step& step = steps_[step_];
    return std::span{wire_}.subspan(step.begin, step.end - step.begin);
}

void Exchange::sent(std::int32_t status, Time now) {
    sending_ = false;
    if (outcome_.status == 0)
        outcome_.status = status;
    if (status != 0 && step_ <= message_step) {
        end(outcome_.sent != 0 ? Result::unconfirmed : Result::not_sent, now);
        return;
    }
    if (step_ == message_step)
        ++outcome_.sent;
    ++step_;
    if (step_ < steps) {
        due_ = now + steps_[step_].pause_before;
        return;
    }
    sequence_end_ = now + pause_behind;
    window().closes = sequence_end_ + echo_wait;
    due_ = window().closes;
    if (settled_)
        settle(*settled_);
}

void Exchange::heard(Time at, std::span<const std::uint8_t> bytes) {
    if (over_ || outcome_.everything_came_back || outcome_.attempts == 0)
        return;
    if (bytes.size() == 1 && bytes[0] == protocol::timing_clock)
        ++clocks_heard_;
    if (bytes.size() != message_.size())
        return;
    const Message message = {bytes[0], bytes[1], bytes[2]};
    const bool is_exact = protocol::confirms(message_, bytes);
    const unsigned attempt = is_exact && !echo_ ? attempt_of_echo(at) : 0;
    const bool ends_pair = take_pair(at, message);
    if (attempt == 0)
        take_other(at, message);
    else if (!ends_pair)
        take_echo(at, attempt);
}

void Exchange::stop() {
    stop_ = true;
    if (over_ || sending_ || step_ != 0)
        return;
    // Nothing of this attempt was sent: it ends where its first pause began.
    due_ -= steps_.front().pause_before;
    if (outcome_.sent == 0)
        outcome_.status = -ECANCELED;
    end(outcome_.sent != 0 ? Result::unconfirmed : Result::not_sent, due_);
}

/// The attempt in whose window the time lies; 0: in none.
unsigned Exchange::attempt_of_echo(Time at) const {
    for (unsigned i = 0; i < windows_.size(); ++i) {
        if (windows_[i].holds(at))
            return i + 1;
    }
    return 0;
}

/// Follows the note pair on its way back. Whether this was the end of it.
bool Exchange::take_pair(Time at, const Message& heard) {
    if (pair_ == Pair::none && heard == note_on_)
        pair_ = Pair::note_on;
    else if (pair_ == Pair::note_on && heard == note_off_)
        pair_ = Pair::both;
    else
        return false;
    if (pair_ == Pair::note_on)
        return false;
    // Then what looked like the echo of a note on was the note on of the pair.
    if (echo_ && message_ == note_on_) {
        echo_.reset();
        settle(at);
        outcome_.everything_came_back = true;
    }
    return true;
}

void Exchange::take_echo(Time at, unsigned attempt) {
    if (pair_ == Pair::both) {
        outcome_.everything_came_back = true;
        settle(at);
        return;
    }
    echo_ = {.at = at, .attempt = attempt};
    // The echo of a note on looks like the note on of the pair. A loop that is so slow as to bring
    // that one back behind the message brings the clocks back first, and the note off next.
    if (message_ != note_on_ || clocks_heard_ < protocol::clocks_in_front)
        settle(at);
    else if (step_ == steps)
        due_ = std::max(due_, at + echo_wait);
}

/// What arrived at `at` decides: nothing further has to be waited for.
void Exchange::settle(Time at) {
    settled_ = at;
    if (step_ == steps && pace_ == Pace::brisk)
        due_ = std::max(sequence_end_, at);
}

void Exchange::take_other(Time at, const Message& heard) {
    const Time sent = windows_.front().opens;
    if (echo_ || at <= sent || (heard != message_ && (heard == note_on_ || heard == note_off_)))
        return;
    const bool same_data = heard[1] == message_[1] && heard[2] == message_[2];
    if (heard[0] != message_[0] && !same_data)
        return;
    if (outcome_.instead && agreement(*outcome_.instead, message_) >= agreement(heard, message_))
        return;
    outcome_.instead = heard;
    outcome_.echo_after = at - sent;
}

void Exchange::decide() {
    if (echo_) {
        end(Result::confirmed, due_);
    } else if (attempt_ < protocol::attempts && !outcome_.everything_came_back && !stop_) {
        ++attempt_;
        step_ = 0;
        due_ += steps_.front().pause_before;
    } else {
        end(Result::unconfirmed, due_);
    }
}

void Exchange::end(Result result, Time at) {
    over_ = true;
    outcome_.result = result;
    outcome_.ended = at;
    outcome_.took = at - start_;
    if (echo_) {
        outcome_.result = Result::confirmed;
        outcome_.attempts = echo_->attempt;
        outcome_.echo_after = echo_->at - windows_[echo_->attempt - 1].opens;
    } else if (result == Result::unconfirmed && !outcome_.everything_came_back) {
        outcome_.stopped = stop_ && outcome_.attempts < protocol::attempts;
        return;
    }
    outcome_.instead.reset();
}

} // namespace setup
