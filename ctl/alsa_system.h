// SPDX-License-Identifier: MIT
#pragma once

#include "ctl/midi_system.h"
#include "midi_service/alsa/alsa_backend.h"

/// This computer's ALSA sequencer.
class AlsaSystem final : public MidiSystem {
public:
    [[nodiscard]] MidiBackend& backend() override { return *backend_; }
    [[nodiscard]] bool is_demo() const override { return false; }
    [[nodiscard]] std::optional<SystemTrouble> trouble() const override;
    [[nodiscard]] std::optional<setup::PortAddress>
    address(MIDIEndpointRef endpoint) const override;
    [[nodiscard]] Connections connections(MIDIEndpointRef endpoint) const override;
    [[nodiscard]] std::vector<OtherClient> other_clients() const override;
    [[nodiscard]] std::optional<int> places_left() const override;
    [[nodiscard]] std::optional<setup::Time> play(setup::Time) override { return std::nullopt; }

private:
    const std::unique_ptr<AlsaBackend> backend_ = AlsaBackend::create();
};
