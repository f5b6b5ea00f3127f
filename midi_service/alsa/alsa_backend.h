// SPDX-License-Identifier: MIT
#pragma once

#include "midi_service/alsa/sequencer_trouble.h"
#include "midi_service/alsa/sequencer_types.h"
#include "midi_service/midi_backend.h"

#include <chrono>
#include <memory>
#include <optional>
#include <vector>

/// The MIDI service over this computer's ALSA sequencer. Without a sequencer it answers as an empty
/// service with one device, and carries on as soon as there is one.
///
/// Sources and destinations are the ports of other programs and of sound cards that can be
/// subscribed to; a port for both directions has one reference. Devices are the sequencer itself
/// and the clients that own such a port. All of them are in the order of their numbers.
class AlsaBackend final : public MidiBackend {
public:
    /// Time since any fixed moment.
    using Clock = std::chrono::milliseconds (*)();
    /// The computer's own; it costs no system call and is behind by at most 10 ms.
    [[nodiscard]] static std::chrono::milliseconds coarse_time();

    /// `clock` says how old names are.
    explicit AlsaBackend(Clock clock = &coarse_time);
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
    [[nodiscard]] int changes() const override;

    /// What is wrong with the sequencer, by the last call that needed it; nothing when it works.
    [[nodiscard]] std::optional<SequencerTrouble> trouble() const;

    /// Where an endpoint is on the sequencer; nothing when it is gone.
    [[nodiscard]] std::optional<Address> address(MIDIEndpointRef endpoint) const;
    /// Who is connected to an endpoint, as it is now; nothing when it is gone.
    [[nodiscard]] std::optional<PortNeighbours> neighbours(MIDIEndpointRef endpoint) const;
    /// The clients of other programs and of the kernel, as they are now. Empty without a sequencer.
    [[nodiscard]] std::vector<ClientInfo> other_clients() const;
    /// How many more clients programs can open; 0 without a sequencer.
    [[nodiscard]] int places_left() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};
