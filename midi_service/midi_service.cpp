// SPDX-License-Identifier: MIT
#include "midi_service/midi_service.h"

#include "midi_service/annotated_mutex.h"
#include "midi_service/midi_backend.h"
#include "midi_service/midi_message.h"
#include "midi_service/midi_text.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <vector>

const CFStringRef kMIDIPropertyName = CFSTR("name");
const CFStringRef kMIDIPropertyManufacturer = CFSTR("manufacturer");
const CFStringRef kMIDIPropertyModel = CFSTR("model");
const CFStringRef kMIDIPropertyOffline = CFSTR("offline");

namespace {

struct Port {
    MIDIPortRef reference;
    MIDIClientRef client;
    MIDIReadProc read; // null: an output port
    void* context;
    std::vector<MIDIEndpointRef> sources{}; // that are connected to it
};

/// How a message gets from a source to a callback.
struct Connection {
    MIDIPortRef port;
    MIDIEndpointRef source;
    MIDIReadProc read;
    void* port_context;
    void* source_context;
};

struct Service {
    MidiBackend* backend = nullptr;
    std::vector<MIDIClientRef> clients;
    std::vector<Port> ports;
    std::array<std::span<const MIDIObjectRef>, 3> lists;

    /// Held while a callback runs: whoever has taken a connection away knows that its callback
    /// neither runs nor will run.
    Mutex guard;
    std::vector<Connection> connections GUARDED_BY(guard);
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
    service.ports.push_back({reference, client, read, context});
    *port = reference;
    return 0;
}

bool is_connected(const Port& port, MIDIEndpointRef source) {
    return std::ranges::find(port.sources, source) != port.sources.end();
}

void erase_connection(MIDIPortRef port, MIDIEndpointRef source) REQUIRES(service.guard) {
    std::erase_if(service.connections,
                  [&](const Connection& old) { return old.port == port && old.source == source; });
}

void remove_connection(Port& port, MIDIEndpointRef source) {
    std::erase(port.sources, source);
    const Lock lock{service.guard};
    erase_connection(port.reference, source);
}

/// Also replaces the context of a connection that is there; no message is lost meanwhile.
void set_connection(Port& port, MIDIEndpointRef source, void* context) {
    if (!is_connected(port, source))
        port.sources.push_back(source);
    const Lock lock{service.guard};
    erase_connection(port.reference, source);
    service.connections.push_back({port.reference, source, port.read, port.context, context});
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

constexpr std::size_t packet_head = offsetof(MIDIPacket, data);
constexpr std::size_t longest_packet = 0xFFFF; // the length field has 16 bits

/// In 64 bits, so that an address plus a packet's length cannot wrap on 32-bit systems.
std::uint64_t address_of(const void* position) {
    return reinterpret_cast<std::uintptr_t>(position);
}

std::uint64_t address_behind(const MIDIPacket* packet) {
    return (address_of(packet) + packet_head + packet->length + 3) & ~std::uint64_t{3};
}

bool fits(std::uint64_t offset, std::uint64_t length, ByteCount list_size) {
    return offset <= list_size && packet_head + length <= list_size - offset;
}

bool holds_whole_messages(std::span<const std::uint8_t> bytes) {
    std::size_t length = 1; // a packet without any bytes holds no message
    while (length != 0) {
        length = whole_message(bytes);
        bytes = bytes.subspan(length);
        if (length != 0 && bytes.empty())
            return true;
    }
    return false;
}

/// Calls `use` with each packet's bytes in turn. Gives its first status that is not 0, and does not
/// look behind that packet.
template<typename Use>
OSStatus for_each_packet(const MIDIPacketList& list, Use use) {
    const MIDIPacket* packet = list.packet;
    OSStatus status = 0;
    for (std::uint32_t i = 0; i < list.numPackets && status == 0; ++i) {
        const auto* data = reinterpret_cast<const std::uint8_t*>(packet) + packet_head;
        status = use(std::span(data, packet->length));
        packet = reinterpret_cast<const MIDIPacket*>(
            static_cast<std::uintptr_t>(address_behind(packet)));
    }
    return status;
}

OSStatus send_packets(MIDIPortRef port, MIDIEndpointRef destination, const MIDIPacketList& list) {
    const OSStatus status = for_each_packet(
        list, [](const auto& bytes) { return holds_whole_messages(bytes) ? 0 : -EBADMSG; });
    if (status != 0)
        return status;
    return for_each_packet(
        list, [&](const auto& bytes) { return backend().send(port, destination, bytes); });
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

void deliver(MIDIPortRef port, MIDIEndpointRef source, MIDITimeStamp time,
             std::span<const std::uint8_t> message) {
    const Lock lock{service.guard};
    for (const Connection& known : service.connections) {
        if (known.source != source || (port != every_port && known.port != port))
            continue;
        MIDIPacketList list{};
        list.numPackets = 1;
        list.packet[0].timeStamp = time;
        for (auto rest = message; !rest.empty();) {
            const auto piece = rest.first(std::min(rest.size(), sizeof list.packet[0].data));
            list.packet[0].length = static_cast<std::uint16_t>(piece.size());
            std::ranges::copy(piece, list.packet[0].data);
            known.read(&list, known.port_context, known.source_context);
            rest = rest.subspan(piece.size());
        }
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
    const auto ports = service.ports;
    for (const Port& port : ports) {
        if (port.client == client)
            MIDIPortDispose(port.reference);
    }
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
    if (std::erase_if(service.ports, [port](const Port& old) { return old.reference == port; }) ==
        0)
        return -ENXIO;
    {
        const Lock lock{service.guard}; // its callback has ended then
        std::erase_if(service.connections,
                      [port](const Connection& old) { return old.port == port; });
    }
    backend().close_port(port);
    return 0;
}

OSStatus MIDIPortConnectSource(MIDIPortRef reference, MIDIEndpointRef source, void* context) {
    Port* port = find_port(reference);
    if (!port)
        return -ENXIO;
    if (!port->read)
        return -EINVAL;
    if (!was_an_object(source))
        return -ENODEV;
    // Sources that are gone are no longer connected.
    const auto known = port->sources;
    for (const MIDIEndpointRef old : known) {
        if (is_gone(old))
            remove_connection(*port, old);
    }
    const OSStatus status = is_connected(*port, source) ? 0 : backend().connect(reference, source);
    if (status == 0)
        set_connection(*port, source, context);
    return status;
}

OSStatus MIDIPortDisconnectSource(MIDIPortRef reference, MIDIEndpointRef source) {
    Port* port = find_port(reference);
    if (!port)
        return -ENXIO;
    if (!port->read)
        return -EINVAL;
    if (!is_connected(*port, source))
        return -ENOTCONN;
    remove_connection(*port, source);
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
    *value = nullptr;
    if (property == kMIDIPropertyName)
        return backend().text(object, TextProperty::name, *value);
    if (property == kMIDIPropertyManufacturer)
        return backend().text(object, TextProperty::manufacturer, *value);
    if (property == kMIDIPropertyModel)
        return backend().text(object, TextProperty::model, *value);
    return -ENODATA;
}

OSStatus MIDIObjectGetIntegerProperty(MIDIObjectRef object, CFStringRef property,
                                      std::int32_t* value) {
    if (!was_an_object(object))
        return -ENXIO;
    if (property != kMIDIPropertyOffline)
        return -ENODATA;
    const OSStatus status = backend().offline(object, *value);
    if (status == -ENODEV)
        *value = 1; // a gone object is offline
    return status;
}

MIDIPacket* MIDIPacketListInit(MIDIPacketList* list) {
    list->numPackets = 0;
    return list->packet;
}

MIDIPacket* MIDIPacketListAdd(MIDIPacketList* list, ByteCount list_size, MIDIPacket* current,
                              MIDITimeStamp time, ByteCount length, const std::uint8_t* data) {
    constexpr std::uint64_t first = offsetof(MIDIPacketList, packet);
    const std::uint64_t start = address_of(list);
    std::uint64_t offset = first;
    if (list->numPackets != 0) {
        // For a position in front of the list this wraps to a huge offset and is refused, too.
        const std::uint64_t at = address_of(current) - start;
        if (at < first || at % alignof(MIDIPacket) != 0 || !fits(at, 0, list_size))
            return nullptr;
        offset = address_behind(current) - start;
    }
    if (length > longest_packet || !fits(offset, length, list_size))
        return nullptr;
    auto* packet = reinterpret_cast<MIDIPacket*>(reinterpret_cast<std::uint8_t*>(list) + offset);
    packet->timeStamp = time;
    packet->length = static_cast<std::uint16_t>(length);
    std::copy_n(data, length, reinterpret_cast<std::uint8_t*>(packet) + packet_head);
    ++list->numPackets;
    return packet;
}

OSStatus MIDISend(MIDIPortRef port, MIDIEndpointRef destination, MIDIPacketList* list) {
    const Port* found = find_port(port);
    OSStatus status = -ENXIO;
    if (found && !found->read)
        status = destination == 0 ? -ENODEV : send_packets(port, destination, *list);
    list->numPackets = 0;
    return status;
}
