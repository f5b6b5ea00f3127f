// SPDX-License-Identifier: MIT
#include "tests/setup/explored_run.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <poll.h>

using namespace std::chrono_literals;
using protocol::Message;
using setup::Outcome;
using setup::Result;
using setup::Time;

namespace {

constexpr Message explored_message = {0xB2, 0x07, 0x05};
constexpr std::uint32_t neighbours_code = 0x4AC7F4C4;
/// A send takes a microsecond here, and so does each beginning of a wait.
constexpr auto send_time = 1us;
/// How late a send may be: what the other machine's sends of the same moment take.
constexpr auto slack = 20us;

/// The sends of a sequence, with the pause before each.
struct Send {
    std::size_t begin;
    std::size_t end;
    std::chrono::milliseconds pause;
};
constexpr std::array<Send, 5> all_sends = {
    {{0, 6, 2ms}, {6, 9, 1ms}, {9, 12, 2ms}, {12, 15, 2ms}, {15, 16, 2ms}}};
constexpr std::size_t message_send = 3;

bool is_send(const Event& event) {
    return event.kind == Event::Kind::step && event.step.kind >= StepKind::clock &&
           event.step.kind <= StepKind::closing_clock;
}

std::string words(const Outcome& outcome) {
    constexpr std::array<const char*, 3> results = {"confirmed", "unconfirmed", "not sent"};
    return std::string(results.at(static_cast<std::size_t>(outcome.result))) + ", attempts " +
           std::to_string(outcome.attempts) + ", status " + std::to_string(outcome.status) +
           ", ended " + std::to_string(outcome.ended.time_since_epoch() / 1us) +
           (outcome.stopped ? ", stopped" : "");
}

} // namespace

ExploredRun::ExploredRun(Echo echo, std::vector<Happening> happenings)
    : world_(service_, backend_, {explored_message.begin(), explored_message.end()}),
      neighbour_(service_, neighbours_code),
      sides_{{{.reference = service_.update(ObjectList::sources)[0],
               .messages = {explored_message, Message{0xE2, 0x08, 0x06}}},
              {.reference = neighbour_.reference(),
               .messages = {explored_message, Message{0x84, 0x11, 0x07}}}}},
      happenings_(std::move(happenings)),
      client_((install_midi_backend(&backend_), CFSTR("keyloft test")),
              [this] { return Time{service_.now()}; }),
      stopped_at_(std::numeric_limits<std::size_t>::max()) {
    world_.echo = echo;
    backend_.begin_press();
    backend_.in_step = [this](const Step& step) { in_step(step); };
}

void ExploredRun::in_step(const Step& step) {
    for (const Happening& happening : happenings_) {
        if (happening.fault && happening.step == steps_)
            world_.happen(*happening.fault, step);
    }
    ++steps_;
    stamp();
    // So that an echo that comes before the send returns comes behind its start.
    if (step.kind >= StepKind::clock && step.kind <= StepKind::closing_clock)
        service_.advance(send_time);
}

/// Notes the time of what has been written into the journal since, and what comes of it.
void ExploredRun::stamp() {
    const auto& journal = backend_.journal;
    while (times_.size() < journal.size()) {
        const Event& event = journal[times_.size()];
        times_.push_back(service_.now());
        if (event.kind == Event::Kind::emission)
            arrivals_.insert(service_.now() + event.time);
    }
}

void ExploredRun::wait(Time until) {
    stamp();
    service_.advance(1us); // what happens here comes behind the moment that was waited for
    in_step({Stage::sequence, StepKind::wait});
    const bool is_stopped = std::ranges::any_of(happenings_, [this](const Happening& happening) {
        return !happening.fault && happening.step < steps_;
    });
    if (is_stopped && stopped_at_ > backend_.journal.size()) {
        stopped_at_ = backend_.journal.size();
        runner_->stop();
        return;
    }
    pollfd inbox{.fd = client_.inbox().descriptor(), .events = POLLIN, .revents = 0};
    while (Time{service_.now()} < until && poll(&inbox, 1, 0) == 0) {
        const Microseconds now = service_.now();
        arrivals_.erase(arrivals_.begin(), arrivals_.upper_bound(now));
        const Microseconds left = std::chrono::ceil<Microseconds>(until - Time{now});
        service_.advance(arrivals_.empty() ? left : std::min(left, *arrivals_.begin() - now));
    }
}

std::string ExploredRun::run() {
    {
        std::array<std::optional<setup::MachineLine>, 2> lines;
        for (std::size_t i = 0; i < lines.size(); ++i)
            lines.at(i).emplace(
                client_, setup::Target{.code = static_cast<std::uint32_t>(i),
                                       .source = {.reference = sides_.at(i).reference},
                                       .destination = {.reference = sides_.at(i).reference}});
        runner_.emplace(
            client_, [this](Time until) { wait(until); },
            [this](const setup::Report& report) {
                sides_.at(report.line.target().code).outcomes.push_back(report.outcome);
            });
        for (std::size_t i = 0; i < lines.size(); ++i) {
            for (const Message& message : sides_.at(i).messages)
                runner_->add(*lines.at(i), message);
        }
        runner_->run();
        backend_.in_step = {};
        runner_.reset();
    }
    stamp();
    return judge(sides_[0]) + judge(sides_[1]) + judge_machine();
}

std::string ExploredRun::judge_machine() const {
    const bool has_gone =
        std::ranges::count(backend_.journal, Event::Kind::gone, &Event::kind) != 0;
    const bool is_told_by_others = std::ranges::any_of(happenings_, [](const Happening& happening) {
        return happening.fault == Fault::stray_echo;
    });
    std::string wrong;
    for (std::size_t i = 0; i < sides_[0].outcomes.size(); ++i) {
        const auto mapping = *protocol::mapping_of(sides_[0].messages.at(i));
        if (sides_[0].outcomes[i].result == Result::confirmed && !has_gone && !is_told_by_others &&
            !world_.firmware().table().contains(mapping))
            wrong += "\n  confirmed, and the machine does not hold it";
    }
    if (!world_.strangers_bytes.empty())
        wrong += "\n  bytes reached a stranger";
    return wrong;
}

std::vector<std::size_t> ExploredRun::sends_to(MIDIObjectRef object) const {
    std::vector<std::size_t> sends;
    for (std::size_t i = backend_.journal.size(); i > 0; --i) {
        if (is_send(backend_.journal[i - 1]) && backend_.journal[i - 1].object == object)
            sends.push_back(i - 1);
    }
    return sends;
}

OSStatus ExploredRun::opening(const Side& side) const {
    const auto line = std::ranges::find_if(backend_.journal, [&side](const Event& event) {
        return event.kind == Event::Kind::step && event.step.kind == StepKind::connect &&
               event.object == side.reference;
    });
    return line == backend_.journal.end() ? -EPROTO : line->status;
}

/// Works out what has to become of a machine's messages from what was sent to it, with which
/// status, and from what it sent.
std::string ExploredRun::judge(const Side& side) const {
    std::vector<std::size_t> sends = sends_to(side.reference); // the next one is the last
    OSStatus gone = opening(side);
    Time ready{};
    std::string wrong;
    for (std::size_t number = 0; number < side.messages.size(); ++number) {
        if (number >= side.outcomes.size())
            return wrong + "\n  a message without a result";
        const Outcome& found = side.outcomes[number];
        Course course{.ready = ready};
        if (gone != 0)
            course.expected = {.ended = found.ended, .status = gone};
        else if (!follow(side, number, course, sends))
            wrong += "\n  wrong bytes, or a wrong pause";
        if (course.expected.status == -ECANCELED)
            course.expected.ended = found.ended;
        if (words(found) != words(course.expected))
            wrong += "\n  machine " + std::to_string(side.reference) + ", message " +
                     std::to_string(number) + ": found " + words(found) + ", not " +
                     words(course.expected);
        ready = course.expected.ended;
        if (course.expected.status == -ENODEV)
            gone = -ENODEV;
    }
    if (!sends.empty() || side.outcomes.size() != side.messages.size())
        wrong += "\n  more than was asked for";
    return wrong;
}

/// Follows the sends of one message. False if one is not as it has to be.
bool ExploredRun::follow(const Side& side, std::size_t number, Course& course,
                         std::vector<std::size_t>& sends) const {
    Outcome& expected = course.expected;
    for (unsigned count = 1; count <= 2; ++count) {
        // Stopped: what has not begun by then does not begin.
        if (stopped_at_ <= backend_.journal.size() &&
            (sends.empty() || sends.back() >= stopped_at_)) {
            expected.status = course.was_sent ? expected.status : -ECANCELED;
            expected.stopped = course.was_sent;
            break;
        }
        expected.attempts = count;
        if (!attempt(side, number, course, sends))
            return false;
        if (expected.ended != Time{})
            break;
        course.ready = course.closes;
    }
    if (expected.result == Result::not_sent && course.was_sent)
        expected.result = Result::unconfirmed;
    if (expected.ended == Time{})
        expected.ended = course.closes;
    return true;
}

/// Follows one attempt. It is the last one if it sets when the exchange ended.
bool ExploredRun::attempt(const Side& side, std::size_t number, Course& course,
                          std::vector<std::size_t>& sends) const {
    const Message& message = side.messages.at(number);
    const Bytes wanted = sequence(message[0], message[1], message[2]);
    Time before = course.ready;
    for (std::size_t i = 0; i < all_sends.size(); ++i) {
        if (sends.empty())
            return false;
        const Event& event = backend_.journal[sends.back()];
        const Time at{times_[sends.back()]};
        sends.pop_back();
        const Send& send = all_sends.at(i);
        const bool is_right = std::ranges::equal(
            event.bytes, std::span{wanted}.subspan(send.begin, send.end - send.begin));
        if (!is_right || at < before + send.pause || at > before + send.pause + slack)
            return false;
        before = at + send_time;
        if (course.expected.status == 0)
            course.expected.status = event.status;
        if (event.status != 0 && i <= message_send) {
            course.expected.ended = before;
            return true;
        }
        if (i == message_send) {
            course.was_sent = true;
            course.opens = at;
        }
    }
    course.closes = before + 302ms;
    if (const auto at = echo(side, number, course)) {
        course.expected.result = Result::confirmed;
        course.expected.ended = std::max(before + 2ms, *at);
    }
    return true;
}

/// When the first message came from the machine that is the echo.
std::optional<Time> ExploredRun::echo(const Side& side, std::size_t number,
                                      const Course& course) const {
    if (side.reference == neighbour_.reference())
        return course.opens + send_time + 1ms;
    const Message& message = side.messages.at(number);
    std::optional<Time> first;
    for (std::size_t i = 0; i < backend_.journal.size(); ++i) {
        const Event& emission = backend_.journal[i];
        const Time at{times_[i] + emission.time};
        if (emission.kind != Event::Kind::emission || emission.object != side.reference ||
            at <= course.opens || at > course.closes || (first && at >= *first))
            continue;
        const bool is_echo = std::ranges::any_of(emission.heard, [&message](const Bytes& heard) {
            return std::ranges::equal(heard, message);
        });
        bool is_lost = false;
        for (std::size_t later = i + 1; later < backend_.journal.size(); ++later)
            is_lost = is_lost || (backend_.journal[later].kind == Event::Kind::gone &&
                                  backend_.journal[later].object == side.reference &&
                                  Time{times_[later]} < at);
        if (is_echo && !is_lost)
            first = at;
    }
    return first;
}
