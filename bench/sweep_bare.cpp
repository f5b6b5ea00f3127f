// SPDX-License-Identifier: MIT
// The same sweep by the device layer alone: what it calls is answered from a bare array of names.
// No service can make the sixteen probes cheaper than about this.

#include "bench/probes.h"
#include "midi_service/midi_service.h"

#include <benchmark/benchmark.h>
#include <cstring>
#include <vector>

namespace {

std::vector<std::string> names;

CFStringRef text_at(MIDIObjectRef reference) {
    return reinterpret_cast<CFStringRef>(names[reference - 1].c_str());
}

} // namespace

const CFStringRef kMIDIPropertyName = CFSTR("name");
const CFStringRef kMIDIPropertyManufacturer = CFSTR("manufacturer");
const CFStringRef kMIDIPropertyModel = CFSTR("model");
const CFStringRef kMIDIPropertyOffline = CFSTR("offline");

OSStatus MIDIClientCreate(CFStringRef /*name*/, MIDINotifyProc /*notify*/, void* /*context*/,
                          MIDIClientRef* /*client*/) {
    return 0;
}

OSStatus MIDIClientDispose(MIDIClientRef /*client*/) {
    return 0;
}

OSStatus MIDIOutputPortCreate(MIDIClientRef /*client*/, CFStringRef /*name*/,
                              MIDIPortRef* /*port*/) {
    return 0;
}

OSStatus MIDIInputPortCreate(MIDIClientRef /*client*/, CFStringRef /*name*/, MIDIReadProc /*read*/,
                             void* /*context*/, MIDIPortRef* /*port*/) {
    return 0;
}

OSStatus MIDIPortDispose(MIDIPortRef /*port*/) {
    return 0;
}

OSStatus MIDIPortConnectSource(MIDIPortRef /*port*/, MIDIEndpointRef /*source*/,
                               void* /*context*/) {
    return 0;
}

OSStatus MIDIPortDisconnectSource(MIDIPortRef /*port*/, MIDIEndpointRef /*source*/) {
    return 0;
}

ItemCount MIDIGetNumberOfSources() {
    return names.size();
}

ItemCount MIDIGetNumberOfDestinations() {
    return 0;
}

ItemCount MIDIGetNumberOfDevices() {
    return 0;
}

MIDIEndpointRef MIDIGetSource(ItemCount index) {
    return static_cast<MIDIEndpointRef>(index + 1);
}

MIDIEndpointRef MIDIGetDestination(ItemCount /*index*/) {
    return 0;
}

MIDIDeviceRef MIDIGetDevice(ItemCount /*index*/) {
    return 0;
}

OSStatus MIDIObjectGetStringProperty(MIDIObjectRef object, CFStringRef /*property*/,
                                     CFStringRef* value) {
    *value = text_at(object);
    return 0;
}

OSStatus MIDIObjectGetIntegerProperty(MIDIObjectRef /*object*/, CFStringRef /*property*/,
                                      std::int32_t* value) {
    *value = 0;
    return 0;
}

MIDIPacket* MIDIPacketListInit(MIDIPacketList* list) {
    return list->packet;
}

MIDIPacket* MIDIPacketListAdd(MIDIPacketList* /*list*/, ByteCount /*list_size*/,
                              MIDIPacket* current, MIDITimeStamp /*time*/, ByteCount /*length*/,
                              const std::uint8_t* /*data*/) {
    return current;
}

OSStatus MIDISend(MIDIPortRef /*port*/, MIDIEndpointRef /*destination*/, MIDIPacketList* /*list*/) {
    return 0;
}

std::uint8_t CFStringGetCString(CFStringRef text, char* buffer, std::int64_t size,
                                std::uint32_t /*encoding*/) {
    const char* const bytes = reinterpret_cast<const char*>(text);
    const std::size_t length = strnlen(bytes, static_cast<std::size_t>(size - 1));
    std::memcpy(buffer, bytes, length);
    buffer[length] = '\0';
    return 1;
}

void CFRelease(CFTypeRef /*text*/) {}

namespace {

void sweep(benchmark::State& state) {
    const Silence silence;
    names.clear();
    for (std::int64_t i = 0; i < state.range(0); ++i)
        names.push_back(port_name(i));
    while (state.KeepRunning())
        probe_all_machines();
}

BENCHMARK(sweep)
    ->Name("sweep/bare")
    ->Arg(1)
    ->Arg(16)
    ->Arg(64)
    ->Arg(256)
    ->Arg(1'000)
    ->Arg(10'000)
    ->Arg(100'000);

} // namespace

BENCHMARK_MAIN();
