// SPDX-License-Identifier: MIT
#include "tests/exploration/stepping_backend.h"

#include "midi_service/midi_text.h"

#include <array>
#include <utility>

namespace {

constexpr unsigned machines = 16;

constexpr std::array<StepKind, 10> sends_of_a_sequence = {
    StepKind::clock,   StepKind::clock,        StepKind::clock,   StepKind::clock,
    StepKind::clock,   StepKind::clock,        StepKind::note_on, StepKind::note_off,
    StepKind::message, StepKind::closing_clock};

constexpr std::array<const char*, 6> stage_names = {"probe",  "choice",   "scan",
                                                    "lookup", "sequence", "repetition"};
constexpr std::array<const char*, 21> step_names = {
    "sources", "destinations", "devices", "name",    "manufacturer", "model",   "offline",
    "connect", "disconnect",   "clock",   "note on", "note off",     "message", "closing clock",
    "pause 1", "pause 2",      "pause 3", "pause 4", "pause 5",      "pause 6", "wait"};

bool is_connecting = false;

StepKind count_of(ObjectList list) {
    constexpr std::array kinds = {StepKind::sources, StepKind::destinations, StepKind::devices};
    return kinds[static_cast<std::size_t>(list)];
}

StepKind query_of(TextProperty property) {
    constexpr std::array kinds = {StepKind::name, StepKind::manufacturer, StepKind::model};
    return kinds[static_cast<std::size_t>(property)];
}

} // namespace

// The linker's --wrap sends the device layer's calls of MIDIPortConnectSource() here first.
OSStatus connect_source(MIDIPortRef port, MIDIEndpointRef source,
                        void* context) __asm__("__real__Z21MIDIPortConnectSourcejjPv");
OSStatus watch_connection(MIDIPortRef port, MIDIEndpointRef source,
                          void* context) __asm__("__wrap__Z21MIDIPortConnectSourcejjPv");

OSStatus watch_connection(MIDIPortRef port, MIDIEndpointRef source, void* context) {
    is_connecting = true;
    const OSStatus status = connect_source(port, source, context);
    is_connecting = false;
    return status;
}

std::string to_string(const Step& step) {
    return std::string(stage_names[static_cast<std::size_t>(step.stage)]) + '/' +
           step_names[static_cast<std::size_t>(step.kind)];
}

void SteppingBackend::begin_press() {
    journal.clear();
    journal.reserve(256); // enough for most presses
    stage_ = Stage::probe;
    probes_ = 0;
    sends_ = 0;
    pauses_ = 0;
}

/// Works out which step of a press this is from those before it.
Step SteppingBackend::locate(StepKind kind) {
    if (kind == StepKind::sources && ++probes_ > machines)
        stage_ = Stage::choice;
    if (kind == StepKind::devices)
        stage_ = Stage::scan;
    if (kind == StepKind::destinations)
        stage_ = Stage::lookup;
    if (kind == StepKind::pause_1 && stage_ == Stage::lookup)
        stage_ = Stage::sequence;
    if (kind == StepKind::pause_1) {
        kind = static_cast<StepKind>(static_cast<unsigned>(kind) + pauses_++);
        if (kind == StepKind::wait) {
            sends_ = 0;
            pauses_ = 0;
        }
    }
    const Step step{stage_, kind};
    if (kind == StepKind::wait)
        stage_ = Stage::repetition;
    return step;
}

/// Records a step and runs the test's hook. Returns the step's place in the journal.
std::size_t SteppingBackend::begin(StepKind kind, MIDIObjectRef object) {
    const Step step = locate(kind);
    const std::size_t place = journal.size();
    journal.push_back({.step = step, .is_in_connection = is_connecting, .object = object});
    if (in_step)
        in_step(step);
    return place;
}

void SteppingBackend::pause(unsigned microseconds) {
    const std::size_t place = begin(StepKind::pause_1, 0);
    journal[place].time = std::chrono::microseconds{microseconds};
}

OSStatus SteppingBackend::open_client(MIDIClientRef client, std::string_view name) {
    ++open;
    return service_.open_client(client, name);
}

void SteppingBackend::close_client(MIDIClientRef client) {
    --open;
    service_.close_client(client);
}

OSStatus SteppingBackend::open_port(MIDIPortRef port, MIDIClientRef client, std::string_view name,
                                    bool is_input) {
    ++open;
    return service_.open_port(port, client, name, is_input);
}

void SteppingBackend::close_port(MIDIPortRef port) {
    --open;
    service_.close_port(port);
}

OSStatus SteppingBackend::connect(MIDIPortRef port, MIDIEndpointRef source) {
    const std::size_t place = begin(StepKind::connect, source);
    OSStatus status = std::exchange(refuse_connection, 0);
    if (status == 0)
        status = service_.connect(port, source);
    return journal[place].status = status;
}

OSStatus SteppingBackend::disconnect(MIDIPortRef port, MIDIEndpointRef source) {
    const std::size_t place = begin(StepKind::disconnect, source);
    return journal[place].status = service_.disconnect(port, source);
}

std::span<const MIDIObjectRef> SteppingBackend::update(ObjectList list) {
    const std::size_t place = begin(count_of(list), 0);
    const auto objects = service_.update(list);
    journal[place].objects.assign(objects.begin(), objects.end());
    return objects;
}

OSStatus SteppingBackend::text(MIDIObjectRef object, TextProperty property, CFStringRef& value) {
    const std::size_t place = begin(query_of(property), object);
    OSStatus status = std::exchange(refuse_query, 0);
    if (status == 0)
        status = service_.text(object, property, value);
    if (status == 0)
        journal[place].text = view_text(value);
    return journal[place].status = status;
}

OSStatus SteppingBackend::offline(MIDIObjectRef object, std::int32_t& value) {
    const std::size_t place = begin(StepKind::offline, object);
    OSStatus status = std::exchange(refuse_query, 0);
    if (status == 0)
        status = service_.offline(object, value);
    if (status == 0)
        journal[place].value = value;
    return journal[place].status = status;
}

OSStatus SteppingBackend::send(MIDIPortRef port, MIDIEndpointRef destination,
                               std::span<const std::uint8_t> messages) {
    const StepKind kind = sends_of_a_sequence[sends_++ % sends_of_a_sequence.size()];
    const std::size_t place = begin(kind, destination);
    journal[place].bytes.assign(messages.begin(), messages.end());
    OSStatus status = std::exchange(refuse_send, 0);
    if (status == 0)
        status = service_.send(port, destination, messages);
    return journal[place].status = status;
}
