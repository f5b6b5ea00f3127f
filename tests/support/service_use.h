// SPDX-License-Identifier: MIT
#pragma once

#include "midi_service/midi_service.h"
#include "midi_service/midi_text.h"
#include "tests/support/sequence.h"

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

// What tests do again and again with the operations of midi_service.h.

/// System-exclusive data of a length, at least 2.
inline Bytes exclusive(std::size_t length) {
    Bytes bytes(length);
    for (std::size_t i = 0; i < length; ++i)
        bytes[i] = static_cast<std::uint8_t>(i % 0x80);
    bytes.front() = 0xF0;
    bytes.back() = 0xF7;
    return bytes;
}

/// Sends each packet's bytes as a packet of its own, in one list.
inline OSStatus send_packets(MIDIPortRef port, MIDIEndpointRef destination,
                             const std::vector<Bytes>& packets) {
    alignas(MIDIPacketList) std::array<std::byte, 8192> room{};
    auto* list = reinterpret_cast<MIDIPacketList*>(room.data());
    MIDIPacket* packet = MIDIPacketListInit(list);
    for (const Bytes& bytes : packets) {
        packet = MIDIPacketListAdd(list, room.size(), packet, 0, bytes.size(), bytes.data());
        EXPECT_NE(packet, nullptr);
    }
    const OSStatus status = MIDISend(port, destination, list);
    EXPECT_EQ(list->numPackets, 0U) << "a send empties the list, whatever comes of it";
    return status;
}

/// A text of an object; nothing when the query fails.
inline std::optional<std::string> text_of(MIDIObjectRef object,
                                          CFStringRef property = kMIDIPropertyName) {
    CFStringRef text = nullptr;
    if (MIDIObjectGetStringProperty(object, property, &text) != 0)
        return std::nullopt;
    return std::string(view_text(TextHandle(text).get()));
}

/// The status of the question whether an object is offline, and the answer; 7: it was not written.
inline std::pair<OSStatus, std::int32_t> offline_of(MIDIObjectRef object) {
    std::int32_t value = 7;
    const OSStatus status = MIDIObjectGetIntegerProperty(object, kMIDIPropertyOffline, &value);
    return {status, value};
}

/// The object of this name among so many, or 0.
inline MIDIObjectRef find_by_name(std::string_view name, ItemCount count,
                                  MIDIObjectRef (*get)(ItemCount)) {
    for (ItemCount i = 0; i < count; ++i) {
        if (text_of(get(i)) == name)
            return get(i);
    }
    return 0;
}

/// The reference under which a name is listed, counted anew; 0 when it is not.
inline MIDIEndpointRef source(std::string_view name) {
    return find_by_name(name, MIDIGetNumberOfSources(), MIDIGetSource);
}
inline MIDIEndpointRef destination(std::string_view name) {
    return find_by_name(name, MIDIGetNumberOfDestinations(), MIDIGetDestination);
}
inline MIDIDeviceRef device(std::string_view name) {
    return find_by_name(name, MIDIGetNumberOfDevices(), MIDIGetDevice);
}
