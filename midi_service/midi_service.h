// SPDX-License-Identifier: MIT
#pragma once

#include "midi_service/midi_types.h"

#include <cstdint>

// The MIDI service: operations over whichever backend is installed (see midi_backend.h). To call
// one without a backend is a mistake that ends the program. All of them are called on one thread,
// the calling thread.
//
// Every status is 0 for success or a negative errno, whose low byte is never zero.

/// A constant text, from a literal. It lives for the whole process; releasing it does nothing.
/// The mark in front tells it from a text that the service allocated.
#define CFSTR(literal) (reinterpret_cast<CFStringRef>("=" literal))

/// Notification of set-up changes. Accepted and never called.
using MIDINotifyProc = void (*)(const struct MIDINotification* message, void* context);

/// Takes what a connected source sent, on the service's receive thread: one list with one packet
/// for each whole message (pieces of at most 256 bytes for system-exclusive data). The list is the
/// service's own and is gone when the callback returns. The callback must not call an operation of
/// this header.
using MIDIReadProc = void (*)(const MIDIPacketList* list, void* port_context, void* source_context);

/// Opens a client, which will own ports. `notify` and `context` are accepted and not used.
/// `*client` is set on success only.
OSStatus MIDIClientCreate(CFStringRef name, MIDINotifyProc notify, void* context,
                          MIDIClientRef* client);

/// Closes a client and its ports. After the return none of its callbacks runs.
/// -ENXIO: no such client.
OSStatus MIDIClientDispose(MIDIClientRef client);

/// Opens a port to send through. `*port` is set on success only. -ENXIO: no such client.
OSStatus MIDIOutputPortCreate(MIDIClientRef client, CFStringRef name, MIDIPortRef* port);

/// Opens a port to receive through; `read` gets `context` as its first context.
/// `*port` is set on success only. -ENXIO: no such client.
OSStatus MIDIInputPortCreate(MIDIClientRef client, CFStringRef name, MIDIReadProc read,
                             void* context, MIDIPortRef* port);

/// Closes a port. After the return its callback does not run. -ENXIO: no such port.
OSStatus MIDIPortDispose(MIDIPortRef port);

/// Lets what `source` sends arrive at an input port; the callback gets `context` as its second.
/// Connecting again only replaces the context. -ENXIO: no such port; -EINVAL: an output port, which
/// nothing can be connected to; -ENODEV: no such source, or it is gone; else the backend's.
OSStatus MIDIPortConnectSource(MIDIPortRef port, MIDIEndpointRef source, void* context);

/// Undoes the connection. After the return nothing of the source's arrives at the port.
/// -ENXIO and -EINVAL as above; -ENOTCONN: the two were not connected.
OSStatus MIDIPortDisconnectSource(MIDIPortRef port, MIDIEndpointRef source);

/// Bring the list of sources, destinations or devices up to date and give its length. The list
/// moves at no other time, so a loop over its indices sees one list.
ItemCount MIDIGetNumberOfSources();
ItemCount MIDIGetNumberOfDestinations();
ItemCount MIDIGetNumberOfDevices();

/// The object at an index of the list as it was counted last; 0 when the index is out of range.
MIDIEndpointRef MIDIGetSource(ItemCount index);
MIDIEndpointRef MIDIGetDestination(ItemCount index);
MIDIDeviceRef MIDIGetDevice(ItemCount index);

extern const CFStringRef kMIDIPropertyName;
extern const CFStringRef kMIDIPropertyManufacturer;
extern const CFStringRef kMIDIPropertyModel;
/// Integer: 1 when the object cannot be reached at the moment.
extern const CFStringRef kMIDIPropertyOffline;

/// Gives a text property; the caller releases it. -ENXIO: there never was such an object (`*value`
/// is not written); -ENODEV: it is gone, -ENODATA: it has no such property (`*value` is null then).
OSStatus MIDIObjectGetStringProperty(MIDIObjectRef object, CFStringRef property,
                                     CFStringRef* value);

/// Gives an integer property. -ENXIO: there never was such an object, -ENODATA: it has no such
/// property (`*value` is not written); -ENODEV: it is gone (offline reads as 1).
OSStatus MIDIObjectGetIntegerProperty(MIDIObjectRef object, CFStringRef property,
                                      std::int32_t* value);

/// Empties a list and gives the position of its first packet.
MIDIPacket* MIDIPacketListInit(MIDIPacketList* list);

/// Appends one event as a packet of its own and gives its position. Into a list that holds nothing
/// it goes first, wherever `current` points; else behind `current`. When it does not fit into
/// `list_size` bytes (the whole list, the count included), or `current` is not a position inside
/// the list, the result is null and nothing is changed.
MIDIPacket* MIDIPacketListAdd(MIDIPacketList* list, ByteCount list_size, MIDIPacket* current,
                              MIDITimeStamp time, ByteCount length, const std::uint8_t* data);

/// Sends what the list holds, at once and in order, and empties the list whatever comes of it. Each
/// packet has to hold whole MIDI messages without running status; if one does not, nothing is sent.
/// A port keeps the way to one destination open, so to send to several in turn, open a port for
/// each. -ENXIO: no such output port; -EBADMSG: not whole messages; -ENODEV: the destination is
/// none or gone; else the backend's.
OSStatus MIDISend(MIDIPortRef port, MIDIEndpointRef destination, MIDIPacketList* list);

/// Writes the text into a buffer of `size` bytes, with a terminator. Encodings: 0, Mac Roman, where
/// what has no counterpart becomes "?"; 0x08000100, UTF-8. What does not fit is cut off behind a
/// whole character. The result is 1 when all of the text is there, else 0.
std::uint8_t CFStringGetCString(CFStringRef text, char* buffer, std::int64_t size,
                                std::uint32_t encoding);

/// Gives back a text.
void CFRelease(CFTypeRef text);
