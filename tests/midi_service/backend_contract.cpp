// SPDX-License-Identifier: MIT
#include "tests/midi_service/backend_contract.h"

#include "midi_service/midi_text.h"

#include <array>
#include <chrono>

void ContractWorld::happened(const std::function<void()>& write_down) {
    const std::lock_guard lock(mutex_);
    write_down();
    changed_.notify_all();
}

bool ContractWorld::wait_until(const std::function<bool()>& condition) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds{10}, condition);
}

void ContractInbox::read(const MIDIPacketList* list, void* port_context, void* source_context) {
    auto& inbox = *static_cast<ContractInbox*>(port_context);
    const MIDIPacket& packet = list->packet[0];
    inbox.world->happened([&] {
        inbox.calls.push_back({.bytes = Bytes(packet.data, packet.data + packet.length),
                               .packets = list->numPackets,
                               .source_context = source_context,
                               .thread = std::this_thread::get_id()});
    });
}

Bytes ContractInbox::bytes() const {
    Bytes all;
    for (const ContractCall& call : calls)
        all.insert(all.end(), call.bytes.begin(), call.bytes.end());
    return all;
}

BackendContract::BackendContract() : world_(GetParam()()), inbox_{.world = world_.get()} {
    install_midi_backend(&world_->backend());
    EXPECT_EQ(MIDIClientCreate(CFSTR("Contract"), nullptr, nullptr, &client_), 0);
    EXPECT_EQ(MIDIOutputPortCreate(client_, CFSTR("Contract output"), &out_), 0);
    in_ = input_port(inbox_);
}

BackendContract::~BackendContract() {
    install_midi_backend(nullptr);
}

namespace {

MIDIObjectRef find_by_name(std::string_view name, ItemCount count,
                           MIDIObjectRef (*get)(ItemCount)) {
    for (ItemCount i = 0; i < count; ++i) {
        CFStringRef text = nullptr;
        if (MIDIObjectGetStringProperty(get(i), kMIDIPropertyName, &text) != 0 || !text)
            continue;
        const TextHandle handle(text);
        if (view_text(text) == name)
            return get(i);
    }
    return 0;
}

} // namespace

MIDIEndpointRef BackendContract::source(std::string_view name) {
    return find_by_name(name, MIDIGetNumberOfSources(), MIDIGetSource);
}

MIDIEndpointRef BackendContract::destination(std::string_view name) {
    return find_by_name(name, MIDIGetNumberOfDestinations(), MIDIGetDestination);
}

MIDIDeviceRef BackendContract::device(std::string_view name) {
    return find_by_name(name, MIDIGetNumberOfDevices(), MIDIGetDevice);
}

std::string BackendContract::name_of(MIDIObjectRef object) {
    CFStringRef text = nullptr;
    static_cast<void>(MIDIObjectGetStringProperty(object, kMIDIPropertyName, &text));
    if (!text)
        return "(null)";
    const TextHandle handle(text);
    std::array<char, 64> buffer{};
    EXPECT_EQ(CFStringGetCString(text, buffer.data(), std::ssize(buffer), 0), 1);
    return buffer.data();
}

MIDIPortRef BackendContract::input_port(ContractInbox& inbox) {
    MIDIPortRef port = 0;
    EXPECT_EQ(
        MIDIInputPortCreate(client_, CFSTR("Contract input"), ContractInbox::read, &inbox, &port),
        0);
    return port;
}

OSStatus BackendContract::send(MIDIEndpointRef destination, const std::vector<Bytes>& messages,
                               MIDIPortRef port) {
    alignas(MIDIPacketList) std::array<std::byte, 8192> room{};
    auto* list = reinterpret_cast<MIDIPacketList*>(room.data());
    MIDIPacket* packet = MIDIPacketListInit(list);
    for (const Bytes& message : messages) {
        packet = MIDIPacketListAdd(list, room.size(), packet, 0, message.size(), message.data());
        EXPECT_NE(packet, nullptr);
    }
    const OSStatus status = MIDISend(port != 0 ? port : out_, destination, list);
    EXPECT_EQ(list->numPackets, 0U) << "a send empties the list, whatever comes of it";
    return status;
}

Bytes BackendContract::wait_for_bytes(ContractWorld::Peer peer, std::size_t count) {
    Bytes all;
    EXPECT_TRUE(world_->wait_until([&] {
        all = world_->received(peer);
        return all.size() >= count;
    })) << "only "
        << all.size() << " of " << count << " bytes came";
    return all;
}

Bytes BackendContract::wait_for_bytes(ContractInbox& inbox, std::size_t count) {
    Bytes all;
    EXPECT_TRUE(world_->wait_until([&] {
        all = inbox.bytes();
        return all.size() >= count;
    })) << "only "
        << all.size() << " of " << count << " bytes came";
    return all;
}
