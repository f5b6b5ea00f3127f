// SPDX-License-Identifier: MIT
#include "midi_service/packet_list.h"

#include "midi_service/midi_message.h"
#include "midi_service/midi_service.h"

#include <algorithm>
#include <cstddef>

namespace {

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

} // namespace

const MIDIPacket* packet_behind(const MIDIPacket* packet) {
    return reinterpret_cast<const MIDIPacket*>(static_cast<std::uintptr_t>(address_behind(packet)));
}

std::span<const std::uint8_t> packet_bytes(const MIDIPacket* packet) {
    return {reinterpret_cast<const std::uint8_t*>(packet) + packet_head, packet->length};
}

bool holds_whole_messages(const MIDIPacketList& list) {
    const MIDIPacket* packet = list.packet;
    for (std::uint32_t i = 0; i < list.numPackets; ++i) {
        if (!holds_whole_messages(packet_bytes(packet)))
            return false;
        packet = packet_behind(packet);
    }
    return true;
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
