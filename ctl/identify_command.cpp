// SPDX-License-Identifier: MIT
#include "ctl/commands.h"

#include "ctl/layout_mistakes.h"
#include "ctl/machine_jobs.h"
#include "ctl/precautions.h"
#include "ctl/question.h"
#include "ctl/wording.h"
#include "protocol/device_code.h"
#include "setup/identified_part.h"

#include <algorithm>
#include <cerrno>
#include <set>
#include <utility>

namespace {

/// Makes two messages of one key or controller the same thing, whatever the velocity, value or
/// position.
std::pair<std::uint8_t, std::uint8_t> thing_that_sent(std::span<const std::uint8_t> bytes) {
    constexpr auto bend = static_cast<int>(protocol::MessageType::bend_change);
    const bool has_number = bytes.size() == 3 && bytes[0] < 0xF0 && (bytes[0] & 0xF0) != bend;
    return {bytes[0], has_number ? bytes[1] : std::uint8_t{0}};
}

std::string file_of(const setup::MachineLayout& layout) {
    return setup::place_text({.file = layout.place.file});
}

/// What a layout has for a part, if anything.
const setup::LayoutEntry* entry_of(const setup::MachineLayout& layout, int part) {
    const auto part_of = [](const setup::LayoutEntry& entry) { return entry.mapping.part; };
    const auto found = std::ranges::find(layout.entries, part, part_of);
    return found == layout.entries.end() ? nullptr : &*found;
}

/// Gives each part of a machine a mapping of its own, and shows which part moves.
class Identification {
public:
    /// `shown`: what is to be printed beside the parts; may be null.
    Identification(Workplace& place, setup::Target target, const setup::MachineLayout* shown)
        : place_(place), target_(std::move(target)), shown_(shown),
          jobs_(setup::Pace::brisk,
                [this](const MachineJob&, const ResultReport& result) { take_result(result); }) {}

    /// Sets the parts, and reports those that were not confirmed. A signal, or the machine's going,
    /// cuts it short.
    [[nodiscard]] JobSum set_parts() {
        std::vector<protocol::KeyMapping> mappings;
        mappings.reserve(setup::part_count);
        for (int part = 0; part < setup::part_count; ++part)
            mappings.push_back(setup::identifying_mapping(part));
        // It stays, because the line listens for as long as it is there.
        const MachineJob& job = jobs_.add(target_, mappings, false);
        jobs_.run(place_);
        return job.sum();
    }

    /// Returns when a signal comes, the reader of the report goes away or the machine goes.
    void listen() {
        look_for_machine(); // the sends may have used up the news
        for (bool is_over = false; !is_over && !has_gone_;) {
            const auto next = place_.system.play(setup::steady_now());
            const Woken woken = place_.wait(jobs_.inbox(), next);
            show_heard();
            if (woken.by_changes)
                look_for_machine();
            is_over = woken.is_over || place_.output.error() != 0;
        }
    }

    [[nodiscard]] bool has_gone() const { return has_gone_; }

private:
    void take_result(const ResultReport& result) {
        const setup::Outcome& outcome = result.outcome;
        const bool is_confirmed = outcome.result == setup::Result::confirmed;
        has_gone_ = has_gone_ || outcome.status == -ENODEV;
        if (!is_confirmed || outcome.attempts > 1)
            moved_.expect_late_echo(result.mapping.value().part);
        // What came to an end together with all others is told once, at the end.
        const bool is_cut_off = outcome.result == setup::Result::not_sent &&
                                (outcome.status == -ENODEV || outcome.status == -ECANCELED);
        if (!is_confirmed && !is_cut_off)
            place_.report.result(result);
    }

    void show_heard() {
        jobs_.inbox().take(heard_);
        for (const setup::Heard& heard : heard_) {
            if (const auto part = moved_.heard(heard.bytes()))
                show(*part, heard);
            else if (!setup::identified_part(heard.bytes()))
                name_other(heard.bytes());
        }
    }

    void show(int part, const setup::Heard& heard) {
        PartReport report{.at = wall_time(heard.at),
                          .code = target_.code,
                          .port = address_or_mark(target_.source),
                          .part = part,
                          .bytes = {heard.bytes().begin(), heard.bytes().end()}};
        if (shown_ != nullptr)
            report.layout = shown_->place.file;
        if (const auto* const entry = shown_ != nullptr ? entry_of(*shown_, part) : nullptr)
            report.entry = *entry;
        place_.report.part(report);
    }

    /// Says, once for each, what else the machine sends: nobody should have to guess why a part
    /// shows nothing.
    void name_other(std::span<const std::uint8_t> bytes) {
        const auto reading = read_message(bytes);
        if (reading && others_.insert(thing_that_sent(bytes)).second)
            place_.tell(protocol::code_text(target_.code) + " sent " + reading->text() +
                        ", which none of the confirmed parts sends");
    }

    void look_for_machine() {
        bool is_there = false;
        const ItemCount count = MIDIGetNumberOfSources();
        for (ItemCount i = 0; i < count; ++i)
            is_there = is_there || MIDIGetSource(i) == target_.source.reference;
        has_gone_ = !is_there;
    }

    Workplace& place_;
    const setup::Target target_;
    const setup::MachineLayout* const shown_;
    setup::MovedParts moved_{};
    std::set<std::pair<std::uint8_t, std::uint8_t>> others_{};
    std::vector<setup::Heard> heard_{};
    bool has_gone_ = false;
    MachineJobs jobs_;
};

/// What a layout says about the machine, or, when the machine was named, about the only one that it
/// is for. Null: neither, which is said.
const setup::MachineLayout* layout_for(std::uint32_t code, const setup::Layout& layout,
                                       const Request& request, Workplace& place) {
    const auto found = std::ranges::find(layout.machines, code, &setup::MachineLayout::code);
    if (found != layout.machines.end())
        return &*found;
    const bool is_only = layout.machines.size() == 1;
    if (request.machine && is_only)
        return &layout.machines.front();
    const std::string name = protocol::code_text(code);
    place.tell(file_of(layout.machines.front()) + " says nothing about " + name +
               (is_only ? "; with -m " + name + " it is taken for this machine" : ""));
    return nullptr;
}

/// The layouts for the machine; null: none is given.
struct Layouts {
    const setup::MachineLayout* shown = nullptr;
    const setup::MachineLayout* then = nullptr;
};

std::optional<Layouts> layouts_for(std::uint32_t code, const Request& request, Workplace& place) {
    Layouts layouts;
    if (!request.files.empty()) {
        layouts.shown = layout_for(code, place.layout, request, place);
        if (layouts.shown == nullptr)
            return std::nullopt;
    }
    if (!request.then.empty()) {
        layouts.then = layout_for(code, place.then, request, place);
        if (layouts.then == nullptr)
            return std::nullopt;
    }
    return layouts;
}

/// Says what is going to happen, and asks whether it may.
Answer agree(const setup::Target& target, const setup::MachineLayout* then, const Request& request,
             Workplace& place) {
    const std::string name =
        protocol::code_text(target.code) + " (" + address_or_mark(target.destination) + ")";
    place.tell("this replaces the mappings of all " + count_text(setup::part_count, "part") +
               " of " + name + ", and saves nothing");
    place.tell("what was saved comes back when the machine is switched off and on; " +
               (then != nullptr ? file_of(*then) + " (" + count_text(then->entries.size(), "part") +
                                      ") is applied at the end"
                                : std::string("--then FILE applies a layout at the end")));
    if (request.is_agreed)
        return Answer::yes;
    return ask("keyloftctl: go on?", place.input, place.errors, place.signals);
}

/// Applies a layout. Whether all of it was confirmed.
bool apply(const setup::MachineLayout& layout, const setup::Target& target, Workplace& place) {
    const auto report_failure = [&place](const MachineJob&, const ResultReport& result) {
        if (result.outcome.result != setup::Result::confirmed)
            place.report.result(result);
    };
    std::vector<protocol::KeyMapping> mappings;
    mappings.reserve(layout.entries.size());
    for (const setup::LayoutEntry& entry : layout.entries)
        mappings.push_back(entry.mapping);
    MachineJobs jobs(setup::Pace::brisk, report_failure);
    const MachineJob& job = jobs.add(target, mappings, false);
    jobs.run(place);
    place.report.sum(
        {.code = target.code, .port = address_or_mark(target.destination), .sum = job.sum()});
    return job.is_done();
}

/// Applies the layout that is to be the last. Whether all of it was confirmed.
bool end_with(const setup::MachineLayout& layout, const setup::Target& target, Workplace& place) {
    // One signal ends the identification, another one this.
    const auto stopped_by = std::exchange(place.stopped_by, std::nullopt);
    const bool is_applied = apply(layout, target, place);
    if (!place.stopped_by)
        place.stopped_by = stopped_by;
    return is_applied;
}

/// Says which parts still have what identify has set; `then` may be null.
void say_what_is_left(const setup::MachineLayout* then, const std::string& machine,
                      Workplace& place) {
    if (then == nullptr)
        place.tell(machine + " keeps these mappings until it is switched off or set again");
    else if (then->entries.size() != setup::part_count)
        place.tell("parts that are not in " + file_of(*then) +
                   " keep the mappings of identify until " + machine + " is switched off");
}

ExitStatus identify(const Layouts& layouts, const setup::Target& target, Workplace& place) {
    const std::string name = protocol::code_text(target.code);
    JobSum sum;
    bool is_any_set = false;
    bool has_listened = false;
    bool has_gone = false;
    {
        Identification identification(place, target, layouts.shown);
        sum = identification.set_parts();
        is_any_set = sum.not_sent != sum.mappings;
        if (is_any_set && !place.is_stopped() && !identification.has_gone()) {
            place.tell("press or turn a part; Ctrl-C ends this");
            identification.listen();
            has_listened = true;
            place.stopped_by.reset(); // as it should end
        }
        has_gone = identification.has_gone();
    }
    if (sum.not_sent != 0)
        place.tell(std::to_string(sum.not_sent) + " of " + count_text(sum.mappings, "part") +
                   " were not set");
    if (has_gone) {
        place.tell(
            name + " has gone; what was saved is there when it comes back" +
            (layouts.then != nullptr ? ", and " + file_of(*layouts.then) + " is not applied" : ""));
        return ExitStatus::unconfirmed;
    }
    // Parts that are not confirmed have been listed; the others were there to be identified.
    bool is_done = has_listened;
    if (layouts.then != nullptr)
        is_done = end_with(*layouts.then, target, place) && is_done;
    if (is_any_set)
        say_what_is_left(layouts.then, name, place);
    return is_done ? ExitStatus::done : ExitStatus::unconfirmed;
}

} // namespace

ExitStatus run_identify(const Request& request, Workplace& place) {
    if (!request.is_agreed && !can_ask(place.input, place.errors)) {
        place.tell("identify replaces all mappings of a machine; without a terminal to ask on, "
                   "allow it with --yes");
        return ExitStatus::arguments;
    }
    const bool shown_is_right = accept_layout(place.layout, place);
    if (!accept_layout(place.then, place) || !shown_is_right)
        return ExitStatus::arguments;
    const auto reserved = reserve_machine(request.machine, place);
    if (const auto* const refused = std::get_if<ExitStatus>(&reserved))
        return *refused;
    const setup::Target& target = std::get<ReservedMachine>(reserved).target;
    const auto layouts = layouts_for(target.code, request, place);
    if (!layouts)
        return ExitStatus::arguments;
    if (const Answer answer = agree(target, layouts->then, request, place); answer != Answer::yes) {
        (void)place.is_stopped(); // by the signal that came instead of an answer
        place.tell("nothing was sent");
        return ExitStatus::unconfirmed;
    }
    return identify(*layouts, target, place);
}
