// SPDX-License-Identifier: MIT
#pragma once

#include "midi_service/midi_types.h"

#include <span>
#include <string_view>

/// The three lists that the service keeps.
enum class ObjectList : std::uint8_t { sources, destinations, devices };

/// The three texts that an object can have.
enum class TextProperty : std::uint8_t { name, manufacturer, model };

/// What stands behind the operations of midi_service.h. The service itself keeps clients, ports and
/// connections, checks arguments and bytes, and calls the callbacks; a backend reaches the world.
/// It is called on one thread, the calling thread of midi_service.h. Statuses are 0 or a negative
/// errno. A backend prints nothing.
class MidiBackend {
public:
    MidiBackend() = default;
    MidiBackend(const MidiBackend&) = delete;
    MidiBackend& operator=(const MidiBackend&) = delete;
    virtual ~MidiBackend() = default;

    /// Opens and closes what belongs to a client or a port under the reference the service chose.
    /// A port is closed before its client, and asked for nothing any more. After a failed open
    /// nothing is left to close. By default there is nothing to open.
    [[nodiscard]] virtual OSStatus open_client(MIDIClientRef /*client*/,
                                               std::string_view /*name*/) {
        return 0;
    }
    virtual void close_client(MIDIClientRef /*client*/) {}
    [[nodiscard]] virtual OSStatus open_port(MIDIPortRef /*port*/, MIDIClientRef /*client*/,
                                             std::string_view /*name*/, bool /*is_input*/) {
        return 0;
    }
    virtual void close_port(MIDIPortRef /*port*/) {}

    /// Starts and ends the flow from a source to an input port. connect() comes only for a pair
    /// that is not connected, disconnect() only for one that is. When a source goes, so do its
    /// connections. -ENODEV: the source is gone by now, also if another one took its place.
    [[nodiscard]] virtual OSStatus connect(MIDIPortRef port, MIDIEndpointRef source) = 0;
    [[nodiscard]] virtual OSStatus disconnect(MIDIPortRef port, MIDIEndpointRef source) = 0;

    /// Brings a list up to date: it has what is there now, under names that are at most 100 ms old.
    /// The result stays as it is until the next call for the same list.
    [[nodiscard]] virtual std::span<const MIDIObjectRef> update(ObjectList list) = 0;

    /// The properties. -ENODEV: there is no such object (any more); -ENODATA: it has no such
    /// property. `value` is written on success only, a text from make_text() or share_text(). Texts
    /// are those of the last update(); offline() looks whether the object is there now.
    [[nodiscard]] virtual OSStatus text(MIDIObjectRef object, TextProperty property,
                                        CFStringRef& value) = 0;
    [[nodiscard]] virtual OSStatus offline(MIDIObjectRef object, std::int32_t& value) = 0;

    /// Sends whole, valid messages through an output port, in order. A port keeps the way to one
    /// destination open, whatever other ports do: who sends to several in turn has a port for each.
    /// -ENODEV: the destination is gone by now, also if another one took its place.
    [[nodiscard]] virtual OSStatus send(MIDIPortRef port, MIDIEndpointRef destination,
                                        std::span<const std::uint8_t> messages) = 0;

    /// A descriptor to poll for POLLIN beside one's own. It is readable when an object may have
    /// come, gone or changed since the last update() of any list, and update() ends that: whoever
    /// was woken up updates every list it uses. It may be readable for nothing; a change of name
    /// alone need not make it so. -1: there is nothing to wait for yet; an update() later may
    /// change that. The descriptor is the backend's and stays the same once it is there.
    [[nodiscard]] virtual int changes() const = 0;
};

/// Puts a backend behind the operations, or none (null). The one before is closed down first: all
/// its clients and ports are disposed of. Calling thread; the backend has to outlive its use.
void install_midi_backend(MidiBackend* backend);

/// In place of a port: each that is connected to the source.
inline constexpr MIDIPortRef every_port = ~MIDIPortRef{0};

/// For backends: hands one whole message that `source` sent to the callback of an input port, if
/// the two are connected, in pieces of at most 256 bytes. An empty message is not handed on. Any
/// thread (called the receive thread), with no lock held that a call of the backend's takes; one
/// callback runs at a time.
void deliver(MIDIPortRef port, MIDIEndpointRef source, MIDITimeStamp time,
             std::span<const std::uint8_t> message);

/// For backends: a reference that no object had before. Any thread.
[[nodiscard]] MIDIObjectRef new_reference();
