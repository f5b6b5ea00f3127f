// SPDX-License-Identifier: MIT
#include "tests/midi_service/recording_backend.h"

#include <utility>

namespace {

std::string words(std::initializer_list<std::uint64_t> numbers) {
    std::string text;
    for (const std::uint64_t number : numbers)
        text += ' ' + std::to_string(number);
    return text;
}

} // namespace

OSStatus RecordingBackend::note(const std::string& call) {
    const bool is_query = call.starts_with("text") || call.starts_with("offline");
    (is_query ? queries_ : journal).push_back(call);
    const auto found = statuses.find(call.substr(0, call.find(' ')));
    return found == statuses.end() ? 0 : found->second;
}

std::vector<std::string> RecordingBackend::take() {
    return std::exchange(journal, {});
}

std::vector<std::string> RecordingBackend::take_queries() {
    return std::exchange(queries_, {});
}

OSStatus RecordingBackend::open_client(MIDIClientRef client, std::string_view name) {
    return note("open_client" + words({client}) + ' ' + std::string(name));
}

void RecordingBackend::close_client(MIDIClientRef client) {
    static_cast<void>(note("close_client" + words({client})));
}

OSStatus RecordingBackend::open_port(MIDIPortRef port, MIDIClientRef client, std::string_view name,
                                     bool is_input) {
    return note("open_port" + words({port, client}) + (is_input ? " in " : " out ") +
                std::string(name));
}

void RecordingBackend::close_port(MIDIPortRef port) {
    static_cast<void>(note("close_port" + words({port})));
}

OSStatus RecordingBackend::connect(MIDIPortRef port, MIDIEndpointRef source) {
    return note("connect" + words({port, source}));
}

OSStatus RecordingBackend::disconnect(MIDIPortRef port, MIDIEndpointRef source) {
    return note("disconnect" + words({port, source}));
}

std::span<const MIDIObjectRef> RecordingBackend::update(ObjectList which) {
    static_cast<void>(note("update" + words({static_cast<std::uint64_t>(which)})));
    return list;
}

OSStatus RecordingBackend::text(MIDIObjectRef object, TextProperty property, CFStringRef& value) {
    const OSStatus status = note("text" + words({object, static_cast<std::uint64_t>(property)}));
    if (status == 0)
        value = make_text(given_text);
    return status;
}

OSStatus RecordingBackend::offline(MIDIObjectRef object, std::int32_t& value) {
    const OSStatus status = note("offline" + words({object}));
    if (status == 0)
        value = given_offline;
    return status;
}

OSStatus RecordingBackend::send(MIDIPortRef port, MIDIEndpointRef destination,
                                std::span<const std::uint8_t> messages) {
    const OSStatus status = note("send" + words({port, destination}));
    sent.insert(sent.end(), messages.begin(), messages.end());
    return status;
}

MIDIClientRef Service::client() {
    MIDIClientRef reference = 0;
    EXPECT_EQ(MIDIClientCreate(CFSTR("MIDI Client"), nullptr, nullptr, &reference), 0);
    return reference;
}

MIDIPortRef Service::output(MIDIClientRef client) {
    MIDIPortRef reference = 0;
    EXPECT_EQ(MIDIOutputPortCreate(client, CFSTR("Output port"), &reference), 0);
    return reference;
}

MIDIPortRef Service::input(MIDIClientRef client, MIDIReadProc read, void* context) {
    MIDIPortRef reference = 0;
    EXPECT_EQ(MIDIInputPortCreate(client, CFSTR("Input port"), read, context, &reference), 0);
    return reference;
}
