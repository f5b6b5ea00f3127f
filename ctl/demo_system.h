// SPDX-License-Identifier: MIT
#pragma once

#include "ctl/midi_system.h"
#include "midi_service/embedded/embedded_backend.h"
#include "simulation/embedded_connection.h"

#include <cstdint>
#include <memory>
#include <vector>

/// Simulated machines inside the process, at the addresses 128:0, 129:0 and so on. No sequencer, no
/// other programs.
class DemoSystem final : public MidiSystem {
public:
    /// What happens by itself.
    enum class Show : std::uint8_t {
        parts, ///< a fader, a pad, a wheel and further parts that are set to send something move
        plugs  ///< machines drop out and come back
    };

    /// `codes`: at least one; a code may be there twice.
    DemoSystem(const std::vector<std::uint32_t>& codes, MachineFaults faults,
               Show show = Show::parts);

    [[nodiscard]] MidiBackend& backend() override { return backend_; }
    [[nodiscard]] bool is_demo() const override { return true; }
    [[nodiscard]] std::optional<SystemTrouble> trouble() const override { return std::nullopt; }
    [[nodiscard]] std::optional<setup::PortAddress>
    address(MIDIEndpointRef endpoint) const override;
    [[nodiscard]] Connections connections(MIDIEndpointRef) const override { return {}; }
    [[nodiscard]] std::vector<OtherClient> other_clients() const override { return {}; }
    [[nodiscard]] std::optional<int> places_left() const override { return std::nullopt; }
    /// Goes on with the show, on one machine after the other.
    [[nodiscard]] std::optional<setup::Time> play(setup::Time now) override;

private:
    void move_part();
    void move_plug();

    const Show show_;
    EmbeddedBackend backend_;
    std::vector<std::unique_ptr<EmbeddedMachine>> machines_{};
    std::size_t moves_made_ = 0;
    setup::Time next_move_{};
};
