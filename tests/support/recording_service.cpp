// SPDX-License-Identifier: MIT
#include "tests/support/recording_service.h"

#include "Include/usb_midi.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <span>
#include <unistd.h>

RecordingService recording;

std::string hexadecimal(std::span<const std::uint8_t> bytes) {
    std::string text;
    for (const std::uint8_t byte : bytes) {
        char digits[4];
        std::snprintf(digits, sizeof digits, " %02X", unsigned{byte});
        text += digits;
    }
    return text;
}

namespace {

constexpr std::size_t list_bytes = 1024; // the size of every list of the device layer

std::string label_of(MIDIObjectRef reference) {
    switch (reference) {
    case 0:
        return "nothing";
    case RecordingService::client_reference:
        return "client";
    case RecordingService::output_port_reference:
        return "out";
    case RecordingService::input_port_reference:
        return "in";
    default:
        break;
    }
    const auto object = recording.objects.find(reference);
    if (object != recording.objects.end())
        return object->second.label;
    recording.violations.push_back("unknown reference " + std::to_string(reference));
    return "unknown";
}

std::string constant_text(CFStringRef text) {
    const char* const mark = reinterpret_cast<const char*>(text);
    return *mark == '=' ? mark + 1 : "not a constant text";
}

RecordingService::Text* find_text(const void* reference) {
    // From the end: mostly it is the newest.
    const auto found = std::find_if(recording.texts.rbegin(), recording.texts.rend(),
                                    [&](const auto& text) { return &text == reference; });
    return found == recording.texts.rend() ? nullptr : &*found;
}

std::string context_name(const void* context) {
    return context ? "a context" : "no context";
}

std::string buffer_name(const char* buffer) {
    if (buffer == jname)
        return "jname";
    if (buffer == name)
        return "name";
    if (buffer == manuf)
        return "manuf";
    return buffer == model ? "model" : "another buffer";
}

std::string handle_name(const CFStringRef* handle) {
    if (handle == &pname)
        return "pname";
    if (handle == &pmanuf)
        return "pmanuf";
    return handle == &pmodel ? "pmodel" : "another handle";
}

MIDIObjectRef add(std::vector<MIDIObjectRef>& list, RecordedObject object, const char* kind) {
    const auto reference = static_cast<MIDIObjectRef>(100 + recording.objects.size());
    const std::string prefix = kind;
    const auto same_kind = [&](const auto& other) {
        return other.second.label.starts_with(prefix);
    };
    object.label = prefix + std::to_string(std::count_if(recording.objects.begin(),
                                                         recording.objects.end(), same_kind));
    recording.objects.emplace(reference, std::move(object));
    list.push_back(reference);
    return reference;
}

MIDIObjectRef at(const std::vector<MIDIObjectRef>& list, ItemCount index) {
    return index < list.size() ? list[static_cast<std::size_t>(index)] : 0;
}

OSStatus next_send_status() {
    if (recording.send_statuses.empty())
        return 0;
    const OSStatus status = recording.send_statuses.front();
    recording.send_statuses.pop_front();
    return status;
}

OSStatus create(OSStatus status, MIDIObjectRef reference, MIDIObjectRef* handle) {
    if (status == 0)
        *handle = reference;
    return status;
}

OSStatus dispose(const char* operation, MIDIObjectRef reference) {
    recording.record(std::string(operation) + " " + label_of(reference));
    const auto status = recording.dispose_status.find(reference);
    return status == recording.dispose_status.end() ? 0 : status->second;
}

bool list_is_clear() {
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(recording.list);
    return std::all_of(bytes, bytes + list_bytes, [](std::uint8_t byte) { return byte == 0; });
}

std::string position_in_list(const MIDIPacketList* list, const MIDIPacket* position) {
    if (list != recording.list)
        recording.violations.emplace_back("a list that was not initialised last");
    const auto offset =
        reinterpret_cast<std::intptr_t>(position) - reinterpret_cast<std::intptr_t>(list);
    return "+" + std::to_string(offset);
}

} // namespace

MIDIObjectRef RecordingService::add_source(RecordedObject object) {
    return add(sources, std::move(object), "source");
}

MIDIObjectRef RecordingService::add_destination(RecordedObject object) {
    return add(destinations, std::move(object), "destination");
}

MIDIObjectRef RecordingService::add_device(RecordedObject object) {
    return add(devices, std::move(object), "device");
}

std::vector<std::string>
RecordingService::calls(std::initializer_list<std::string_view> words) const {
    std::vector<std::string> chosen;
    for (const std::string& line : journal)
        for (const std::string_view word : words)
            if (line.starts_with(word) && (line.size() == word.size() || line[word.size()] == ' '))
                chosen.push_back(line);
    return chosen;
}

std::vector<unsigned> RecordingService::pauses() const {
    std::vector<unsigned> microseconds;
    for (const std::string& line : calls({"usleep"}))
        microseconds.push_back(static_cast<unsigned>(std::stoul(line.substr(7))));
    return microseconds;
}

std::size_t RecordingService::texts_in_use() const {
    return static_cast<std::size_t>(
        std::count_if(texts.begin(), texts.end(), [](const Text& text) { return !text.released; }));
}

void RecordingService::note_output() {
    const std::string printed = output ? output->take() : "";
    if (!printed.empty())
        journal.push_back("> " + printed);
}

void RecordingService::record(const std::string& call) {
    note_output();
    journal.push_back(call);
    if (before_call)
        before_call(call);
}

void reset_recording() {
    recording = RecordingService{};
}

const CFStringRef kMIDIPropertyName = CFSTR("name");
const CFStringRef kMIDIPropertyManufacturer = CFSTR("manufacturer");
const CFStringRef kMIDIPropertyModel = CFSTR("model");
const CFStringRef kMIDIPropertyOffline = CFSTR("offline");

OSStatus MIDIClientCreate(CFStringRef client_name, MIDINotifyProc notify, void* context,
                          MIDIClientRef* handle) {
    recording.record("MIDIClientCreate " + constant_text(client_name) +
                     (notify ? ", a callback, " : ", no callback, ") + context_name(context));
    return create(recording.client_status, RecordingService::client_reference, handle);
}

OSStatus MIDIClientDispose(MIDIClientRef handle) {
    return dispose("MIDIClientDispose", handle);
}

OSStatus MIDIOutputPortCreate(MIDIClientRef owner, CFStringRef port_name, MIDIPortRef* handle) {
    recording.record("MIDIOutputPortCreate " + label_of(owner) + ", " + constant_text(port_name));
    return create(recording.output_port_status, RecordingService::output_port_reference, handle);
}

OSStatus MIDIInputPortCreate(MIDIClientRef owner, CFStringRef port_name, MIDIReadProc read,
                             void* context, MIDIPortRef* handle) {
    recording.record("MIDIInputPortCreate " + label_of(owner) + ", " + constant_text(port_name) +
                     (read == MyReadProc ? ", MyReadProc, " : ", another callback, ") +
                     context_name(context));
    return create(recording.input_port_status, RecordingService::input_port_reference, handle);
}

OSStatus MIDIPortDispose(MIDIPortRef handle) {
    return dispose("MIDIPortDispose", handle);
}

OSStatus MIDIPortConnectSource(MIDIPortRef port, MIDIEndpointRef source, void* context) {
    recording.record("MIDIPortConnectSource " + label_of(port) + ", " + label_of(source) + ", " +
                     context_name(context));
    return recording.connection_status;
}

OSStatus MIDIPortDisconnectSource(MIDIPortRef port, MIDIEndpointRef source) {
    recording.record("MIDIPortDisconnectSource " + label_of(port) + ", " + label_of(source));
    return recording.connection_status;
}

ItemCount MIDIGetNumberOfSources() {
    recording.record("MIDIGetNumberOfSources");
    return recording.sources.size();
}

ItemCount MIDIGetNumberOfDestinations() {
    recording.record("MIDIGetNumberOfDestinations");
    return recording.destinations.size();
}

ItemCount MIDIGetNumberOfDevices() {
    recording.record("MIDIGetNumberOfDevices");
    return recording.device_count.value_or(recording.devices.size());
}

MIDIEndpointRef MIDIGetSource(ItemCount index) {
    recording.record("MIDIGetSource " + std::to_string(index));
    return at(recording.sources, index);
}

MIDIEndpointRef MIDIGetDestination(ItemCount index) {
    recording.record("MIDIGetDestination " + std::to_string(index));
    return at(recording.destinations, index);
}

MIDIDeviceRef MIDIGetDevice(ItemCount index) {
    recording.record("MIDIGetDevice " + std::to_string(index));
    return at(recording.devices, index);
}

OSStatus MIDIObjectGetStringProperty(MIDIObjectRef object, CFStringRef property,
                                     CFStringRef* value) {
    const std::string label = label_of(object);
    const std::string which = constant_text(property);
    recording.record("MIDIObjectGetStringProperty " + label + ", " + which + ", into " +
                     handle_name(value));
    const auto found = recording.objects.find(object);
    if (found == recording.objects.end())
        return -ENXIO;
    const RecordedObject& look = found->second;
    const auto& text = which == "name"           ? look.name
                       : which == "manufacturer" ? look.manufacturer
                                                 : look.model;
    *value = nullptr;
    if (!text)
        return -ENODATA;
    recording.texts.push_back({label + "." + which, *text, false});
    *value = reinterpret_cast<CFStringRef>(&recording.texts.back());
    return 0;
}

OSStatus MIDIObjectGetIntegerProperty(MIDIObjectRef object, CFStringRef property,
                                      std::int32_t* value) {
    recording.record("MIDIObjectGetIntegerProperty " + label_of(object) + ", " +
                     constant_text(property));
    const auto found = recording.objects.find(object);
    if (found == recording.objects.end())
        return -ENXIO;
    if (!found->second.offline)
        return -ENODATA;
    *value = *found->second.offline;
    return 0;
}

MIDIPacket* MIDIPacketListInit(MIDIPacketList* list) {
    recording.record("MIDIPacketListInit");
    if (reinterpret_cast<std::uintptr_t>(list) % alignof(MIDIPacketList) != 0)
        recording.violations.emplace_back("a list that is not aligned");
    recording.list = list;
    if (recording.watches_list)
        recording.list_cleared.push_back(list_is_clear());
    list->numPackets = 0;
    return list->packet;
}

MIDIPacket* MIDIPacketListAdd(MIDIPacketList* list, ByteCount list_size, MIDIPacket* current,
                              MIDITimeStamp time, ByteCount length, const std::uint8_t* data) {
    const auto size = static_cast<std::size_t>(length);
    recording.record("MIDIPacketListAdd " + std::to_string(list_size) + ", " +
                     position_in_list(list, current) + ", time " + std::to_string(time) + ":" +
                     hexadecimal({data, size}));
    const MIDIPacket* const next = list->numPackets == 0 ? list->packet : MIDIPacketNext(current);
    auto* const packet = const_cast<MIDIPacket*>(next);
    if (packet->data + size > reinterpret_cast<std::uint8_t*>(list) + list_size) {
        recording.violations.emplace_back("an append that does not fit");
        return nullptr;
    }
    packet->timeStamp = time;
    packet->length = static_cast<std::uint16_t>(size);
    std::memcpy(packet->data, data, size);
    ++list->numPackets;
    return packet;
}

OSStatus MIDISend(MIDIPortRef port, MIDIEndpointRef destination, MIDIPacketList* list) {
    std::string events;
    const MIDIPacket* packet = list->packet;
    for (std::uint32_t i = 0; i < list->numPackets; ++i) {
        events += ", time " + std::to_string(packet->timeStamp) + ":" +
                  hexadecimal({packet->data, packet->length});
        packet = MIDIPacketNext(packet);
    }
    recording.record("MIDISend " + label_of(port) + ", " + label_of(destination) + events);
    if (list != recording.list)
        recording.violations.emplace_back("a list that was not initialised last");
    if (recording.watches_list)
        std::memset(static_cast<void*>(list), 0xEE, list_bytes);
    if (!recording.keeps_lists)
        list->numPackets = 0;
    return next_send_status();
}

std::uint8_t CFStringGetCString(CFStringRef text, char* buffer, std::int64_t size,
                                std::uint32_t encoding) {
    const RecordingService::Text* const found = find_text(text);
    recording.record("CFStringGetCString " + (found ? found->label : "nothing") + ", into " +
                     buffer_name(buffer) + ", " + std::to_string(size) + ", encoding " +
                     std::to_string(encoding));
    if (!found || found->released) {
        recording.violations.emplace_back("a conversion of no text, or of a released one");
        return 0;
    }
    if (recording.conversions_fail)
        return 0;
    const std::size_t fits = std::min(found->bytes.size(), static_cast<std::size_t>(size - 1));
    std::memcpy(buffer, found->bytes.data(), fits);
    buffer[fits] = '\0';
    return fits == found->bytes.size();
}

void CFRelease(CFTypeRef text) {
    RecordingService::Text* const found = find_text(text);
    recording.record("CFRelease " + (found ? found->label : "nothing"));
    if (!found || found->released)
        recording.violations.emplace_back("a release of no text, or a second one");
    else
        found->released = true;
}

extern "C" int usleep(useconds_t microseconds) {
    recording.record("usleep " + std::to_string(microseconds));
    if (recording.watches_list && recording.list)
        recording.list_cleared.push_back(list_is_clear());
    return 0;
}
