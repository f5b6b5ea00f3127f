// SPDX-License-Identifier: MIT
#include "tests/midi_service/backend_contract.h"

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

std::function<void(std::span<const std::uint8_t>)> ContractWorld::next_receiver() {
    return [this, &bytes = received_.emplace_back()](std::span<const std::uint8_t> sent) {
        happened([&] { bytes.insert(bytes.end(), sent.begin(), sent.end()); });
    };
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

BackendContract::BackendContract()
    : world_(GetParam()()), inbox_{.world = world_.get()}, other_inbox_{.world = world_.get()} {
    install_midi_backend(&world_->backend());
    EXPECT_EQ(MIDIClientCreate(CFSTR("Contract"), nullptr, nullptr, &client_), 0);
    EXPECT_EQ(MIDIOutputPortCreate(client_, CFSTR("Contract output"), &out_), 0);
    in_ = input_port(inbox_);
}

BackendContract::~BackendContract() {
    install_midi_backend(nullptr);
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

Bytes BackendContract::wait_for_bytes(ContractWorld::Peer peer, std::size_t count) {
    return wait_for_bytes([&] { return world_->received(peer); }, count);
}

Bytes BackendContract::wait_for_bytes(ContractInbox& inbox, std::size_t count) {
    return wait_for_bytes([&] { return inbox.bytes(); }, count);
}

Bytes BackendContract::wait_for_bytes(const std::function<Bytes()>& so_far, std::size_t count) {
    Bytes all;
    EXPECT_TRUE(world_->wait_until([&] {
        all = so_far();
        return all.size() >= count;
    })) << "only "
        << all.size() << " of " << count << " bytes came";
    return all;
}

void BackendContract::expect_silence_after(
    const std::function<OSStatus(MIDIEndpointRef from)>& change) {
    const MIDIPortRef other = input_port(other_inbox_);
    const auto peer = world_->attach("4AC5F4C4");
    const MIDIEndpointRef from = source("4AC5F4C4");
    ASSERT_EQ(MIDIPortConnectSource(in_, from, nullptr), 0);
    ASSERT_EQ(MIDIPortConnectSource(other, from, nullptr), 0);
    ASSERT_EQ(change(from), 0);
    world_->emit(peer, {0x90, 0x01, 0x01, 0x90, 0x02, 0x02});
    static_cast<void>(wait_for_bytes(other_inbox_, 6));
    EXPECT_TRUE(world_->wait_until([&] { return inbox_.calls.empty(); }));
}
