// SPDX-License-Identifier: MIT
#include "midi_service/midi_service.h"

#include "midi_service/midi_backend.h"
#include "midi_service/midi_text.h"
#include "midi_service/packet_list.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <optional>
#include <vector>

const CFStringRef kMIDIPropertyName = CFSTR("name");
const CFStringRef kMIDIPropertyManufacturer = CFSTR("manufacturer");
const CFStringRef kMIDIPropertyModel = CFSTR("model");
const CFStringRef kMIDIPropertyOffline = CFSTR("offline");

namespace {

struct Connection {
    MIDIEndpointRef source;
    void* context;
};

struct Port {
    MIDIPortRef reference;
    MIDIClientRef client;
    MIDIReadProc read; // null: an output port
    void* context;
    std::vector<Connection> connections{};
};

/// Ports are changed on the screen thread alone, with `guard` held; so that thread may look at them
/// without it. A callback runs on a receive thread with `guard` held: once a dispose or a
/// disconnect has had it, no callback of theirs is running or will run.
struct Service {
    MidiBackend* backend = nullptr;
    std::mutex guard;
    std::vector<MIDIClientRef> clients;
    std::vector<Port> ports;
    std::array<std::span<const MIDIObjectRef>, 3> lists;
};

Service service;
std::atomic<MIDIObjectRef> last_reference{0};

MidiBackend& backend() {
    if (!service.backend) {
        std::fputs("keyloft: a MIDI operation was called before a backend was installed\n", stderr);
        std::abort();
    }
    return *service.backend;
}

Port* find_port(MIDIPortRef reference) {
    const auto port = std::ranges::find(service.ports, reference, &Port::reference);
    return port == service.ports.end() ? nullptr : &*port;
}

bool is_client(MIDIClientRef reference) {
    return std::ranges::find(service.clients, reference) != service.clients.end();
}

OSStatus create_port(MIDIClientRef client, CFStringRef name, MIDIReadProc read, void* context,
                     MIDIPortRef* port) {
    if (!is_client(client))
        return -ENXIO;
    const MIDIPortRef reference = new_reference();
    const OSStatus status =
        backend().open_port(reference, client, view_text(name), read != nullptr);
    if (status != 0)
        return status;
    const std::lock_guard lock{service.guard};
    service.ports.push_back({reference, client, read, context});
    *port = reference;
    return 0;
}

/// Takes what `belongs` names out of reach of the callbacks, then closes it.
template<typename Predicate>
void dispose_ports(Predicate belongs) {
    std::vector<MIDIPortRef> closing;
    {
        const std::lock_guard lock{service.guard};
        std::erase_if(service.ports, [&](const Port& port) {
            if (belongs(port))
                closing.push_back(port.reference);
            return belongs(port);
        });
    }
    for (const MIDIPortRef port : closing)
        backend().close_port(port);
}

bool is_gone(MIDIEndpointRef source) {
    std::int32_t offline = 0;
    return backend().offline(source, offline) == -ENODEV;
}

bool was_an_object(MIDIObjectRef reference) {
    return reference != 0 && reference <= last_reference.load(std::memory_order_relaxed);
}

ItemCount count(ObjectList list) {
    auto& objects = service.lists[static_cast<std::size_t>(list)];
    objects = backend().update(list);
    return objects.size();
}

MIDIObjectRef object_at(ObjectList list, ItemCount index) {
    const auto& objects = service.lists[static_cast<std::size_t>(list)];
    return index < objects.size() ? objects[static_cast<std::size_t>(index)] : 0;
}

std::optional<TextProperty> text_property(CFStringRef property) {
    if (property == kMIDIPropertyName)
        return TextProperty::name;
    if (property == kMIDIPropertyManufacturer)
        return TextProperty::manufacturer;
    if (property == kMIDIPropertyModel)
        return TextProperty::model;
    return std::nullopt;
}

OSStatus send_packets(MIDIPortRef port, MIDIEndpointRef destination, const MIDIPacketList& list) {
    if (!holds_whole_messages(list))
        return -EBADMSG;
    const MIDIPacket* packet = list.packet;
    for (std::uint32_t i = 0; i < list.numPackets; ++i) {
        const OSStatus status = backend().send(port, destination, packet_bytes(packet));
        if (status != 0)
            return status;
        packet = packet_behind(packet);
    }
    return 0;
}

} // namespace

MIDIObjectRef new_reference() {
    return last_reference.fetch_add(1, std::memory_order_relaxed) + 1;
}

void install_midi_backend(MidiBackend* next) {
    while (!service.clients.empty())
        MIDIClientDispose(service.clients.back());
    service.backend = next;
    service.lists = {};
}

void deliver(MIDIPortRef reference, MIDIEndpointRef source, MIDITimeStamp time,
             std::span<const std::uint8_t> message) {
    const std::lock_guard lock{service.guard};
    const Port* port = find_port(reference);
    if (!port)
        return;
    const auto connection = std::ranges::find(port->connections, source, &Connection::source);
    if (connection == port->connections.end())
        return;
    MIDIPacketList list{};
    list.numPackets = 1;
    while (!message.empty()) {
        const auto piece = message.first(std::min(message.size(), sizeof list.packet[0].data));
        list.packet[0].timeStamp = time;
        list.packet[0].length = static_cast<std::uint16_t>(piece.size());
        std::ranges::copy(piece, list.packet[0].data);
        port->read(&list, port->context, connection->context);
        message = message.subspan(piece.size());
    }
}

OSStatus MIDIClientCreate(CFStringRef name, MIDINotifyProc, void*, MIDIClientRef* client) {
    const MIDIClientRef reference = new_reference();
    const OSStatus status = backend().open_client(reference, view_text(name));
    if (status != 0)
        return status;
    service.clients.push_back(reference);
    *client = reference;
    return 0;
}

OSStatus MIDIClientDispose(MIDIClientRef client) {
    if (!is_client(client))
        return -ENXIO;
    dispose_ports([client](const Port& port) { return port.client == client; });
    backend().close_client(client);
    std::erase(service.clients, client);
    return 0;
}

OSStatus MIDIOutputPortCreate(MIDIClientRef client, CFStringRef name, MIDIPortRef* port) {
    return create_port(client, name, nullptr, nullptr, port);
}

OSStatus MIDIInputPortCreate(MIDIClientRef client, CFStringRef name, MIDIReadProc read,
                             void* context, MIDIPortRef* port) {
    return create_port(client, name, read, context, port);
}

OSStatus MIDIPortDispose(MIDIPortRef port) {
    if (!find_port(port))
        return -ENXIO;
    dispose_ports([port](const Port& candidate) { return candidate.reference == port; });
    return 0;
}

OSStatus MIDIPortConnectSource(MIDIPortRef reference, MIDIEndpointRef source, void* context) {
    Port* port = find_port(reference);
    if (!port)
        return -ENXIO;
    if (!port->read)
        return -EINVAL;
    if (!was_an_object(source) || is_gone(source))
        return -ENODEV;
    {
        const std::lock_guard lock{service.guard};
        const auto known = std::ranges::find(port->connections, source, &Connection::source);
        if (known != port->connections.end()) {
            known->context = context;
            return 0;
        }
        // Sources that went took their connections along.
        std::erase_if(port->connections, [](const auto& old) { return is_gone(old.source); });
        port->connections.push_back({source, context});
    }
    const OSStatus status = backend().connect(reference, source);
    if (status != 0) {
        const std::lock_guard lock{service.guard};
        port->connections.pop_back();
    }
    return status;
}

OSStatus MIDIPortDisconnectSource(MIDIPortRef reference, MIDIEndpointRef source) {
    Port* port = find_port(reference);
    if (!port)
        return -ENXIO;
    if (!port->read)
        return -EINVAL;
    const auto known = std::ranges::find(port->connections, source, &Connection::source);
    if (known == port->connections.end())
        return -ENOTCONN;
    {
        const std::lock_guard lock{service.guard};
        port->connections.erase(known);
    }
    return backend().disconnect(reference, source);
}

ItemCount MIDIGetNumberOfSources() {
    return count(ObjectList::sources);
}

ItemCount MIDIGetNumberOfDestinations() {
    return count(ObjectList::destinations);
}

ItemCount MIDIGetNumberOfDevices() {
    return count(ObjectList::devices);
}

MIDIEndpointRef MIDIGetSource(ItemCount index) {
    return object_at(ObjectList::sources, index);
}

MIDIEndpointRef MIDIGetDestination(ItemCount index) {
    return object_at(ObjectList::destinations, index);
}

MIDIDeviceRef MIDIGetDevice(ItemCount index) {
    return object_at(ObjectList::devices, index);
}

OSStatus MIDIObjectGetStringProperty(MIDIObjectRef object, CFStringRef property,
                                     CFStringRef* value) {
    if (!was_an_object(object))
        return -ENXIO;
    const auto wanted = text_property(property);
    *value = nullptr;
    return wanted ? backend().text(object, *wanted, *value) : -ENODATA;
}

OSStatus MIDIObjectGetIntegerProperty(MIDIObjectRef object, CFStringRef property,
                                      std::int32_t* value) {
    if (!was_an_object(object))
        return -ENXIO;
    if (property != kMIDIPropertyOffline)
        return -ENODATA;
    const OSStatus status = backend().offline(object, *value);
    if (status == -ENODEV)
        *value = 1; // what is gone cannot be reached
    return status;
}

OSStatus MIDISend(MIDIPortRef port, MIDIEndpointRef destination, MIDIPacketList* list) {
    const Port* found = find_port(port);
    OSStatus status = -ENXIO;
    if (found && !found->read)
        status = destination == 0 ? -ENODEV : send_packets(port, destination, *list);
    list->numPackets = 0;
    return status;
}
