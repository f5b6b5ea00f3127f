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
class AlsaBackend : public MidiBackend {
public:
    /// Time since any fixed moment.
    using Clock = std::chrono::milliseconds (*)();
    /// The computer's own; it costs no system call and is behind by at most 10 ms.
    [[nodiscard]] static std::chrono::milliseconds coarse_time();

    /// Never null; not to be destroyed while it is installed. `clock` says how old names are.
    [[nodiscard]] static std::unique_ptr<AlsaBackend> create(Clock clock = &coarse_time);

    /// What is wrong with the sequencer, by the last call that needed it; nothing when it works.
    [[nodiscard]] virtual std::optional<SequencerTrouble> trouble() const = 0;

    /// Where an endpoint is on the sequencer; nothing when it is gone.
    [[nodiscard]] virtual std::optional<Address> address(MIDIEndpointRef endpoint) const = 0;
    /// Who is connected to an endpoint, as it is now; nothing when it is gone.
    [[nodiscard]] virtual std::optional<PortNeighbours>
    neighbours(MIDIEndpointRef endpoint) const = 0;
    /// The clients of other programs and of the kernel, as they are now. Empty without a sequencer.
    [[nodiscard]] virtual std::vector<ClientInfo> other_clients() const = 0;
    /// How many more clients programs can open; 0 without a sequencer.
    [[nodiscard]] virtual int places_left() const = 0;
};
