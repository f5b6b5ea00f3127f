// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

// The types that the operations of midi_service.h take and give.

using OSStatus = std::int32_t;
using ItemCount = std::uint64_t;
using ByteCount = std::uint64_t;
using MIDITimeStamp = std::uint64_t;

/// Names one object of the service (client, port, endpoint or device). 0 is no object. A reference
/// is never used again for another object.
using MIDIObjectRef = std::uint32_t;
using MIDIClientRef = MIDIObjectRef;
using MIDIPortRef = MIDIObjectRef;
using MIDIEndpointRef = MIDIObjectRef;
using MIDIDeviceRef = MIDIObjectRef;

/// A text of the service, UTF-8 inside. Whoever gets one from MIDIObjectGetStringProperty gives it
/// back with CFRelease.
using CFStringRef = const struct CFString*;
using CFTypeRef = const void*;

// Packets are packed to four bytes, so that the data follow the length without a gap and the next
// packet starts at the next multiple of four.
#pragma pack(push, 4)

/// One event. `data` is as long as `length` says, which may be more or less than 256.
struct MIDIPacket {
    MIDITimeStamp timeStamp; ///< in the service's time; a time that is past means "at once"
    std::uint16_t length;    ///< bytes of data, 0 to 65535
    std::uint8_t data[256];
};

/// A count and as many packets, one behind the other.
struct MIDIPacketList {
    std::uint32_t numPackets;
    MIDIPacket packet[1];
};

#pragma pack(pop)

static_assert(sizeof(MIDIPacket) == 268 && alignof(MIDIPacket) == 4);
static_assert(sizeof(MIDIPacketList) == 272 && alignof(MIDIPacketList) == 4);
