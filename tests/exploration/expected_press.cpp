// SPDX-License-Identifier: MIT
#include "tests/exploration/expected_press.h"

#include "midi_service/midi_service.h"
#include "tests/support/press_lines.h"
#include "tests/support/sequence.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace {

constexpr std::uint32_t nowhere = 0xFFFFFFFF;

constexpr std::size_t compared = 8; // bytes of a name

} // namespace

// --- reading the journal ---

void ExpectedPress::complain(const std::string& what) {
    if (complaint.empty())
        complaint = what + " (step " + std::to_string(at_) + ")";
}

/// Whether the next step is of this kind.
bool ExpectedPress::comes(StepKind kind) const {
    return at_ < journal_.size() && journal_[at_].step.kind == kind;
}

/// Takes the next step, which has to be of this kind, and everything that happened in it.
const Event& ExpectedPress::take(StepKind kind) {
    static const Event none{.status = -EPROTO};
    if (!comes(kind)) {
        const std::string found =
            at_ < journal_.size() ? to_string(journal_[at_].step) : "the end of the press";
        complain("expected " + to_string(Step{Stage::probe, kind}).substr(6) + ", found " + found);
        return none;
    }
    const Event& event = journal_[at_++];
    happen();
    return event;
}

void ExpectedPress::happen() {
    for (; at_ < journal_.size() && journal_[at_].kind != Event::Kind::step; ++at_) {
        const Event& event = journal_[at_];
        if (event.kind == Event::Kind::gone) {
            memory_.connected.erase(event.object);
            std::erase_if(memory_.on_the_way,
                          [&](const auto& entry) { return entry.second.from == event.object; });
            continue;
        }
        for (const Bytes& bytes : event.heard) {
            if (event.time.count() != 0)
                memory_.on_the_way.insert({memory_.now + event.time, {event.object, bytes}});
            else if (memory_.connected.contains(event.object))
                hear(bytes);
        }
    }
}

void ExpectedPress::finish() {
    if (at_ != journal_.size())
        complain("something after the end: " + to_string(journal_[at_].step));
}

// --- the reader of echoes ---

void ExpectedPress::hear(const Bytes& bytes) {
    std::copy_n(bytes.begin(), std::min(bytes.size(), memory_.packet.size()),
                memory_.packet.begin());
    const auto& expected = memory_.expected;
    const auto& packet = memory_.packet;
    const bool bend = expected[0] >= 0xE0 && expected[0] <= 0xEF;
    const bool equal = expected[0] == packet[0] && (bend || expected[1] == packet[1]);
    memory_.confirmed = memory_.confirmed || equal;
    printed += heard_lines(bytes, expected, packet, equal);
}

void ExpectedPress::pause(StepKind kind, unsigned microseconds) {
    const Event& event = take(kind);
    const std::chrono::microseconds length{microseconds};
    if (event.time != length)
        complain("a pause of another length");
    memory_.now += length;
    auto& waiting = memory_.on_the_way;
    while (!waiting.empty() && waiting.begin()->first <= memory_.now) {
        const auto due = waiting.extract(waiting.begin()).mapped();
        if (memory_.connected.contains(due.from))
            hear(due.bytes);
    }
}

// --- names and connections ---

/// A text is copied with its terminator; without one the buffer keeps its contents.
void ExpectedPress::read(StepKind property, MIDIObjectRef object, NameBuffer& buffer) {
    if (object == 0)
        return; // nothing is asked of no object
    const Event& answer = take(property);
    if (answer.object != object)
        complain("another object was asked");
    if (answer.status == 0)
        std::memcpy(buffer.data(), answer.text.c_str(), answer.text.size() + 1);
}

bool ExpectedPress::carries_current(const NameBuffer& buffer) const {
    std::string name = memory_.current;
    name.resize(compared); // zeros take part
    return std::equal(name.begin(), name.end(), buffer.begin());
}

/// The service may make any queries of its own while it connects a source.
void ExpectedPress::connect_to(MIDIObjectRef source) {
    while (at_ < journal_.size() && journal_[at_].is_in_connection) {
        const Event& event = take(journal_[at_].step.kind);
        if (event.step.kind != StepKind::connect)
            continue;
        if (event.object != source)
            complain("another source was connected");
        else if (event.status == 0)
            memory_.connected.insert(source);
    }
}

bool ExpectedPress::is_online(MIDIObjectRef endpoint) {
    const Event& answer = take(StepKind::offline);
    if (answer.object != endpoint)
        complain("another object was asked whether it is online");
    return answer.status != -ENODEV && (answer.status != 0 || answer.value != 1);
}

bool ExpectedPress::connect() {
    const auto& sources = take(StepKind::sources).objects;
    printed += sources_line(sources.size());
    std::uint32_t found = nowhere;
    for (std::uint32_t i = 0; i < sources.size(); ++i) {
        if (comes(StepKind::disconnect)) {
            memory_.connected.erase(sources[i]); // nothing arrives any more while it is done
            if (take(StepKind::disconnect).object != sources[i])
                complain("another source was disconnected");
        }
        if (memory_.connected.contains(sources[i]))
            complain("a source stayed connected");
        read(StepKind::name, sources[i], memory_.endpoint);
        memory_.endpoint[compared] = '\0';
        if (carries_current(memory_.endpoint))
            found = i;
    }
    if (found == nowhere) {
        printed += no_source_line;
        return false;
    }
    printed += source_line(found);
    read(StepKind::name, sources[found], memory_.endpoint);
    connect_to(sources[found]);
    const bool online = is_online(sources[found]);
    printed += online_line(memory_.endpoint.data(), online);
    return online;
}

// --- commands ---

/// 1: the machine is among the devices; 0: there are no devices; -1: there are only others.
int ExpectedPress::scan() {
    printed += scan_line;
    const auto& devices = take(StepKind::devices).objects;
    printed += devices_line(devices.size());
    for (const MIDIObjectRef device : devices) {
        NameBuffer manufacturer{}; // nobody reads it
        read(StepKind::name, device, memory_.name);
        read(StepKind::manufacturer, device, manufacturer);
        read(StepKind::model, device, memory_.model);
        if (carries_current(memory_.name) && carries_current(memory_.model))
            return 1;
    }
    return devices.empty() ? 0 : -1;
}

std::pair<std::uint32_t, MIDIObjectRef> ExpectedPress::look_up() {
    const auto& destinations = take(StepKind::destinations).objects;
    printed += destinations_line(destinations.size());
    std::pair<std::uint32_t, MIDIObjectRef> found{nowhere, 0};
    for (std::uint32_t i = 0; i < destinations.size(); ++i) {
        read(StepKind::name, destinations[i], memory_.endpoint);
        memory_.endpoint[compared] = '\0';
        if (carries_current(memory_.endpoint))
            found = {i, destinations[i]};
    }
    if (!destinations.empty())
        printed += last_destination_line(memory_.endpoint.data());
    return found;
}

OSStatus ExpectedPress::send(StepKind kind, const Bytes& bytes) {
    if (destination == 0)
        return -ENODEV; // the service does not even try
    const Event& event = take(kind);
    if (event.object != destination)
        complain("sent to another endpoint");
    if (event.bytes != bytes)
        complain("other bytes were sent");
    return event.status;
}

OSStatus ExpectedPress::sequence(const Bytes& bytes) {
    ++sequences;
    const auto events = sequence_events(bytes[0], bytes[1], bytes[2]);
    auto length = sequence_pauses.begin();
    pause(StepKind::pause_1, *length++);
    for (int i = 0; i < 6; ++i)
        (void)send(StepKind::clock, events[0]);
    pause(StepKind::pause_2, *length++);
    (void)send(StepKind::note_on, events[6]);
    pause(StepKind::pause_3, *length++);
    (void)send(StepKind::note_off, events[7]);
    pause(StepKind::pause_4, *length++);
    (void)send(StepKind::message, bytes);
    memory_.expected = {bytes[0], bytes[1]};
    pause(StepKind::pause_5, *length++);
    const OSStatus last = send(StepKind::closing_clock, events[9]);
    pause(StepKind::pause_6, *length++);
    return last;
}

unsigned ExpectedPress::send_confirmed(const Bytes& bytes) {
    memory_.confirmed = false;
    destination = look_up().second;
    if (look_up().first == nowhere)
        return 1;
    const std::uint32_t third = look_up().first;
    printed += destination_line(third);
    if (destination != 0 && !is_online(destination)) {
        printed += "offline \r\n";
        return 1;
    }
    printed += sending_line;
    OSStatus last = sequence(bytes);
    pause(StepKind::wait, echo_wait);
    printed += memory_.confirmed ? success_line : failure_line;
    if (!memory_.confirmed)
        last = sequence(bytes);
    return (static_cast<unsigned>(last) & 0xFF) == 0 ? 0 : 1;
}

unsigned ExpectedPress::command(const Bytes& bytes) {
    for (const std::string& before : {std::string(), command_line}) {
        printed += before;
        if (scan() == 1)
            printed += presence_line;
    }
    const int found = scan();
    if (found != 1)
        return found == 0 ? 0 : 1;
    printed += found_line;
    return send_confirmed(bytes);
}

// --- the hook and the presses ---

void ExpectedPress::appear() {
    memory_.endpoint = memory_.name = memory_.model = {};
    name_machine(12);
    finish();
}

void ExpectedPress::name_machine(unsigned machine) {
    memory_.current = family_name(machine);
    printed += naming_lines(machine);
    (void)connect();
}

/// A single machine is chosen automatically. Otherwise the menu decides, and names no machine.
void ExpectedPress::choose(const std::vector<unsigned>& present) {
    if (present.size() == 1) {
        const unsigned machine = present.front();
        menu = family_name(machine);
        name_machine(machine);
        printed += automatic_choice_line(machine);
        return;
    }
    const auto digit = static_cast<unsigned>(std::stoul(menu.substr(3, 1), nullptr, 16));
    memory_.current.clear();
    printed += manual_naming_lines(digit);
    (void)connect();
    printed += manual_choice_lines(menu);
}

void ExpectedPress::apply(const std::string& type_line, const std::string& menu_text,
                          const Bytes& bytes) {
    menu = menu_text;
    printed += type_line;
    std::vector<unsigned> present;
    for (unsigned i = 0; i < 16; ++i) {
        memory_.current = family_name(i);
        printed += probe_starts_line(i);
        if (connect())
            present.push_back(i);
        printed += probe_ends_line(i);
    }
    choose(present);
    result = command(bytes);
    printed += std::to_string(result) + '\n';
    if (result == 0) {
        title = "设置成功!";
        message = "旋钮" + std::to_string(bytes[2]) + "--设置成功!";
    } else {
        title = "设置失败!";
        message = "设置失败,检查连接状态\n[当前可选-选项-连接列表]\n";
        for (const unsigned machine : present)
            message += family_name(machine) + (machine == present.back() ? "" : "\n");
    }
    finish();
}

void ExpectedPress::save() {
    result = command({0xAF, 0x7F, 0x7F});
    printed += std::to_string(result) + '\n';
    title = result == 0 ? "hardware" : "保存失败!";
    message = result == 0 ? "保存成功!" : "hardware";
    finish();
}
