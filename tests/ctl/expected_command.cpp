// SPDX-License-Identifier: MIT
#include "tests/ctl/expected_command.h"

#include "ctl/message_text.h"
#include "ctl/wording.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <functional>
#include <numeric>
#include <system_error>

using namespace std::chrono_literals;

namespace {

const std::string code = "4AC5F4C4";
const std::string set_words = "part 5: Control Change, channel 3, controller 7";
const Bytes set_message = {0xB2, 0x07, 0x05};
const std::string second_words = "part 6: Control Change, channel 3, controller 8";
const Bytes second_message = {0xB2, 0x08, 0x06};
const Bytes save_message = {0xAF, 0x7F, 0x7F};

bool is_send(const Event& event) {
    return event.kind == Event::Kind::step && event.step.kind >= StepKind::clock &&
           event.step.kind <= StepKind::closing_clock;
}

std::string failure_words(OSStatus status) {
    return status == -ENODEV ? "the machine is gone" : std::generic_category().message(-status);
}

std::string address(MIDIObjectRef object) {
    return std::to_string(object) + ":0";
}

auto common_bytes(const Bytes& one, const Bytes& other) {
    return std::inner_product(one.begin(), one.end(), other.begin(), 0, std::plus<>(),
                              std::equal_to<>());
}

} // namespace

/// Whether the next step is of this kind; what is no step is passed over.
bool ExpectedCommand::comes(StepKind kind) {
    while (at_ < journal_.size() && journal_[at_].kind != Event::Kind::step)
        ++at_;
    return at_ < journal_.size() && journal_[at_].step.kind == kind;
}

void ExpectedCommand::note(Machines& machines, StepKind list, const Event& query) const {
    if (query.step.kind == StepKind::name && query.status == 0) {
        const std::string found = query.text.substr(0, code.size());
        if (found != code && found != "4AC9F4C4")
            return;
        Ports& ports = machines[found];
        if (list == StepKind::sources)
            ports.sources.push_back(query.object);
        if (list == StepKind::destinations)
            ports.destinations.push_back(query.object);
        if (ports.name.empty() || ports.destinations.size() == 1)
            ports.name = query.text;
    }
    const bool is_offline = query.status == 0 ? query.value != 0 : query.status == -ENODEV;
    if (query.step.kind == StepKind::offline && is_offline) {
        for (auto& [found, ports] : machines) {
            for (const auto* list_of : {&ports.sources, &ports.destinations})
                ports.is_online =
                    ports.is_online && std::ranges::count(*list_of, query.object) == 0;
        }
    }
}

/// What one pass over the lists shows.
ExpectedCommand::Machines ExpectedCommand::look_around() {
    Machines machines;
    StepKind list = StepKind::devices;
    unsigned counts = 0;
    for (; at_ < journal_.size(); ++at_) {
        const Event& event = journal_[at_];
        if (event.kind != Event::Kind::step)
            continue;
        if (event.step.kind <= StepKind::devices) {
            if (++counts > 3)
                break;
            list = event.step.kind;
        } else if (event.is_in_connection || event.step.kind > StepKind::offline) {
            break;
        } else if (list != StepKind::devices) {
            note(machines, list, event);
        }
    }
    std::erase_if(machines, [](const auto& entry) {
        return entry.second.sources.empty() && entry.second.destinations.empty();
    });
    return machines;
}

/// The objects of the next two counts.
std::vector<std::vector<MIDIObjectRef>> ExpectedCommand::counts() {
    std::vector<std::vector<MIDIObjectRef>> found;
    for (; at_ < journal_.size() && found.size() < 2; ++at_) {
        const Event& event = journal_[at_];
        if (event.kind == Event::Kind::step && event.step.kind <= StepKind::devices)
            found.push_back(event.objects);
    }
    return found;
}

/// What is shown by the first pass that comes between two equal counts.
ExpectedCommand::Machines ExpectedCommand::look_until_settled() {
    Machines machines;
    auto before = counts();
    for (bool is_settled = false; !is_settled && at_ < journal_.size();) {
        machines = look_around();
        const auto after = counts();
        is_settled = before == after;
        before = after;
    }
    return machines;
}

setup::Obstacle ExpectedCommand::obstacle(const Ports& ports) {
    using setup::Obstacle;
    if (ports.destinations.empty())
        return Obstacle::no_destination;
    if (ports.sources.empty())
        return Obstacle::no_source;
    if (ports.destinations.size() > 1)
        return Obstacle::several_destinations;
    if (ports.sources.size() > 1)
        return Obstacle::several_sources;
    return ports.is_online ? Obstacle::none : Obstacle::offline;
}

void ExpectedCommand::list() {
    const Machines machines = look_around();
    for (const auto& [found, ports] : machines) {
        std::vector<std::string> texts;
        std::ranges::transform(ports.destinations, std::back_inserter(texts), address);
        for (const MIDIObjectRef source : ports.sources) {
            if (std::ranges::count(ports.destinations, source) == 0)
                texts.push_back(address(source));
        }
        output += found + "  " + joined(texts) + "  " + ports.name;
        if (const auto hindrance = obstacle(ports); hindrance != setup::Obstacle::none)
            output += "  cannot be set up: " + obstacle_text(hindrance);
        output += '\n';
    }
    if (machines.empty())
        errors = "keyloftctl: no machine of the family is there; \"keyloftctl doctor\" says what "
                 "is\n";
}

/// Whether one machine can be set up; else the command is refused.
bool ExpectedCommand::choose() {
    const Machines machines = look_around();
    const auto hindrance = machines.size() == 1 ? obstacle(machines.begin()->second)
                                                : setup::Obstacle::several_machines;
    if (hindrance == setup::Obstacle::none) {
        source_ = machines.begin()->second.sources[0];
        destination_ = machines.begin()->second.destinations[0];
        return true;
    }
    status = ExitStatus::no_machine;
    errors_are_part = true;
    errors = machines.empty() ? "no machine of the family is there"
             : machines.size() == 1
                 ? machines.begin()->first + " cannot be set up: " + obstacle_text(hindrance)
                 : "several machines are there, name one with -m: ";
    return false;
}

/// The line to the machine: afterwards all that is written is sent, unless it could not be opened.
bool ExpectedCommand::connect() {
    while (at_ < journal_.size() && !comes(StepKind::connect))
        ++at_;
    if (at_ == journal_.size())
        return false;
    gone_ = journal_[at_].status;
    find_arrivals();
    return journal_[at_].object == source_;
}

void ExpectedCommand::set(bool save_behind) {
    if (!choose())
        return;
    if (!connect()) {
        output = "the machine's source is not connected";
        return;
    }
    if (!exchange(set_words, set_message)) {
        status = ExitStatus::unconfirmed;
        if (save_behind)
            errors = "keyloftctl: nothing is saved, because the mapping is not confirmed\n";
    } else if (save_behind && !exchange("save", save_message)) {
        status = ExitStatus::unconfirmed;
    }
}

void ExpectedCommand::save() {
    if (!choose())
        return;
    if (!connect())
        output = "the machine's source is not connected";
    else if (!exchange("save", save_message))
        status = ExitStatus::unconfirmed;
}

/// Whether the machine of the layout can be set up; else the command is refused.
bool ExpectedCommand::find() {
    const Machines machines = look_around();
    const auto machine = machines.find(code);
    const bool is_there = machine != machines.end();
    if (is_there && obstacle(machine->second) == setup::Obstacle::none) {
        source_ = machine->second.sources[0];
        return true;
    }
    status = ExitStatus::no_machine;
    errors_are_part = true;
    errors = is_there ? code + " cannot be set up: " + obstacle_text(obstacle(machine->second))
                      : code + " is not there; \"keyloftctl doctor\" says what is";
    return false;
}

void ExpectedCommand::apply(bool save_behind) {
    if (!find())
        return;
    if (!connect()) {
        output = "the machine's source is not connected";
        return;
    }
    std::string failures;
    std::array<std::size_t, 3> counts{}; // confirmed, unconfirmed, not sent
    const auto follow = [&](const std::string& words, const Bytes& message, bool counts_too) {
        output.clear();
        const bool is_confirmed = exchange(words, message);
        const bool is_not_sent = output.find("  not sent: ") != std::string::npos;
        const bool is_said_already = is_not_sent && counts[2] != 0 && gone_ == -ENODEV;
        if (!is_confirmed && !is_said_already)
            failures += output;
        if (counts_too)
            ++counts.at(is_confirmed ? 0U : is_not_sent ? 2U : 1U);
        return is_confirmed;
    };
    (void)follow(set_words, set_message, true);
    (void)follow(second_words, second_message, true);
    const bool is_saved = save_behind && counts[0] == 2 && follow("save", save_message, false);
    std::string sum;
    constexpr std::array<const char*, 3> names = {"confirmed", "unconfirmed", "not sent"};
    for (std::size_t i = 0; i < counts.size(); ++i) {
        if (counts[i] != 0)
            sum += (sum.empty() ? "" : ", ") + (counts[i] == 1 ? "1 " : std::string()) + names[i];
    }
    sum += is_saved ? " and saved" : save_behind ? "; not saved" : "";
    output = failures + code + "  2 mappings  " + sum + " (N s)\n";
    if (counts[0] != 2 || is_saved != save_behind)
        status = ExitStatus::unconfirmed;
}

/// Follows one message. Whether it is confirmed.
bool ExpectedCommand::exchange(const std::string& words, const Bytes& message) {
    std::string became = "not sent: " + failure_words(gone_);
    bool is_confirmed = false;
    attempt_ = 0;
    if (gone_ == 0) {
        Course course{.message = message};
        for (unsigned count = 0; count < 2; ++count) {
            if (!attempt(course) || confirming_attempt(course) != 0)
                break;
        }
        const unsigned confirming = confirming_attempt(course);
        attempt_ = confirming;
        is_confirmed = confirming != 0;
        if (is_confirmed)
            became = confirming == 1 ? "confirmed (N ms)" : "confirmed (second attempt, N ms)";
        else if (course.windows.empty())
            became = "not sent: " + failure_words(course.failure);
        else
            became = std::string("unconfirmed: sent") +
                     (course.windows.size() == 2 ? " twice" : "") + ", and " + reason(course) +
                     (course.failure != 0 ? "; then " + failure_words(course.failure) : "");
        if (course.failure == -ENODEV)
            gone_ = course.failure;
    }
    output += code + "  " + words + "  " + became + '\n';
    return is_confirmed;
}

/// Follows the sends of one attempt. Whether all of it was sent.
bool ExpectedCommand::attempt(Course& course) {
    constexpr std::size_t message_at = 12;
    constexpr std::size_t length = 16;
    const Bytes wanted = sequence(course.message[0], course.message[1], course.message[2]);
    Bytes sent;
    while (sent.size() < length && at_ < journal_.size()) {
        const Event& event = journal_[at_];
        const Time now = times_[at_++];
        if (!is_send(event))
            continue;
        const bool has_message = sent.size() == message_at;
        sent.insert(sent.end(), event.bytes.begin(), event.bytes.end());
        if (event.status != 0) {
            all_sent = false;
            course.failure = course.failure != 0 ? course.failure : event.status;
            if (sent.size() < length) {
                course.end = now + 1us;
                return false;
            }
        }
        if (has_message)
            course.windows.push_back({.opens = now, .closes = now});
        // It returned a microsecond later; two milliseconds of pause come before the wait.
        course.end = course.windows.empty() ? now : now + 1us + 2ms + 300ms;
    }
    if (sent != wanted) {
        output += "no whole sequence was sent\n";
        return false;
    }
    course.windows.back().closes = course.end;
    return true;
}

/// Collects what came from the machine, and when.
void ExpectedCommand::find_arrivals() {
    std::vector<std::size_t> goings;
    for (std::size_t i = 0; i < journal_.size(); ++i) {
        if (journal_[i].kind == Event::Kind::gone && journal_[i].object == source_)
            goings.push_back(i);
    }
    for (std::size_t i = 0; i < journal_.size(); ++i) {
        const Event& emission = journal_[i];
        if (emission.kind == Event::Kind::step && emission.step.kind == StepKind::disconnect)
            break;
        if (emission.kind != Event::Kind::emission || emission.object != source_)
            continue;
        const Time arrival = times_[i] + emission.time;
        const bool is_lost = std::ranges::any_of(
            goings, [&](std::size_t going) { return going > i && times_[going] < arrival; });
        for (const Bytes& message : emission.heard) {
            if (!is_lost)
                arrivals_.push_back({arrival, message, i});
        }
    }
    std::ranges::stable_sort(arrivals_, {}, &Arrival::at);
}

/// Whose window an echo came in; 0 if none did.
unsigned ExpectedCommand::confirming_attempt(const Course& course) const {
    for (const auto& [arrival, message, emission] : arrivals_) {
        for (unsigned i = 0; i < course.windows.size(); ++i) {
            const Window& window = course.windows[i];
            if (message == course.message && arrival > window.opens && arrival <= window.closes)
                return i + 1;
        }
    }
    return 0;
}

std::string ExpectedCommand::reason(const Course& course) const {
    Bytes instead;
    for (const auto& [arrival, message, emission] : arrivals_) {
        if (message.size() != 3 || arrival <= course.windows[0].opens || arrival > course.end)
            continue;
        const bool is_alike = message[0] == course.message[0] ||
                              (message[1] == course.message[1] && message[2] == course.message[2]);
        if (is_alike && (instead.empty() || common_bytes(message, course.message) >
                                                common_bytes(instead, course.message)))
            instead = message;
    }
    if (instead.empty())
        return "no echo came";
    if (instead == course.message)
        return "its echo came too late";
    return hex_text(instead) + " came back instead of " + hex_text(course.message);
}

/// One look of a watch at who is there. Whether it listens to somebody new.
bool ExpectedCommand::update_watched(std::map<MIDIObjectRef, std::string>& known) {
    std::vector<std::pair<MIDIObjectRef, std::string>> there;
    for (const auto& [found, ports] : look_until_settled()) {
        for (const MIDIObjectRef source : ports.sources)
            there.emplace_back(source, found);
    }
    std::erase_if(known, [&](const auto& line) {
        const bool is_gone = std::ranges::count(there, line.first,
                                                &std::pair<MIDIObjectRef, std::string>::first) == 0;
        if (is_gone && !line.second.empty())
            output += "TIME  " + line.second + "  has gone, " + address(line.first) + '\n';
        return is_gone;
    });
    bool is_any_new = false;
    for (const auto& [source, found] : there) {
        if (known.contains(source))
            continue;
        is_any_new = true;
        while (at_ < journal_.size() && !comes(StepKind::connect))
            ++at_;
        const OSStatus connected = at_ < journal_.size() ? journal_[at_++].status : -EPROTO;
        known[source] = connected == 0 ? found : "";
        if (connected == 0)
            output += "TIME  " + found + "  is there, " + address(source) + '\n';
        else
            errors += "keyloftctl: cannot listen to " + address(source) + ": " +
                      std::generic_category().message(-connected) + '\n';
    }
    return is_any_new;
}

void ExpectedCommand::watch() {
    (void)look_around(); // to see whether there is a sequencer
    std::map<MIDIObjectRef, std::string> known;
    bool is_first = true;
    while (at_ < journal_.size()) {
        if (is_first || comes(StepKind::destinations)) {
            while (update_watched(known)) {
            }
            if (is_first && known.empty())
                errors += "keyloftctl: no machine is there yet; waiting for one\n";
            is_first = false;
            continue;
        }
        if (at_ == journal_.size())
            break;
        ++at_;
    }
    for (std::size_t i = 0; i < journal_.size(); ++i) {
        if (journal_[i].kind != Event::Kind::emission || !is_heard(i))
            continue;
        for (const Bytes& message : journal_[i].heard) {
            if (const auto reading = read_message(message))
                messages.push_back("TIME  " + code + "  " + reading->text());
        }
    }
}

/// Whether a source is connected when what it emitted arrives.
bool ExpectedCommand::is_heard(std::size_t emission) const {
    std::size_t end = emission;
    const Time arrival = times_[emission] + journal_[emission].time;
    while (end < journal_.size() && times_[end] < arrival)
        ++end;
    bool connected = false;
    for (std::size_t i = 0; i < end; ++i) {
        const Event& event = journal_[i];
        if (event.object != journal_[emission].object)
            continue;
        if (event.kind == Event::Kind::gone)
            connected = false;
        else if (event.kind == Event::Kind::step && event.step.kind == StepKind::connect)
            // What it emits during this step comes before the connection.
            connected = event.status == 0 && (i + 1 != emission || times_[i] != arrival);
        else if (event.kind == Event::Kind::step && event.step.kind == StepKind::disconnect)
            connected = false;
    }
    return connected;
}
