// SPDX-License-Identifier: MIT
#pragma once

#include "midi_service/midi_backend.h"

#include <memory>

/// The MIDI service over this computer's ALSA sequencer. Without a sequencer it answers as an empty
/// service with one device, says on standard error why and what helps, and carries on as soon as
/// there is one.
///
/// Sources and destinations are the ports of other programs and of sound cards that can be
/// subscribed to, under one reference each for both directions; devices are the sequencer itself
/// and the clients that own such a port. All of them are in the order of their numbers.
class AlsaBackend final : public MidiBackend {
public:
    AlsaBackend();
    ~AlsaBackend() override; ///< not while it is installed

    [[nodiscard]] OSStatus open_client(MIDIClientRef client, std::string_view name) override;
    void close_client(MIDIClientRef client) override;
    [[nodiscard]] OSStatus open_port(MIDIPortRef port, MIDIClientRef client, std::string_view name,
                                     bool is_input) override;
    void close_port(MIDIPortRef port) override;
    [[nodiscard]] OSStatus connect(MIDIPortRef port, MIDIEndpointRef source) override;
    [[nodiscard]] OSStatus disconnect(MIDIPortRef port, MIDIEndpointRef source) override;
    [[nodiscard]] std::span<const MIDIObjectRef> update(ObjectList list) override;
    [[nodiscard]] OSStatus text(MIDIObjectRef object, TextProperty property,
                                CFStringRef& value) override;
    [[nodiscard]] OSStatus offline(MIDIObjectRef object, std::int32_t& value) override;
    [[nodiscard]] OSStatus send(MIDIPortRef port, MIDIEndpointRef destination,
                                std::span<const std::uint8_t> messages) override;

private:
    struct State;
    std::unique_ptr<State> state_;
};
