// SPDX-License-Identifier: MIT
#pragma once

#include "simulation/connected_machine.h"
#include "simulation/sequencer_codec.h"

#include <memory>

/// A simulated machine as a client of this computer's ALSA sequencer: named by its code, with one
/// port for both directions that other clients may subscribe to. It takes what is sent to its port
/// by whatever way, and sends to whoever has subscribed.
class SequencerMachine final : public ConnectedMachine {
public:
    /// Joins the sequencer; MachineError when there is none or it has no room.
    SequencerMachine(std::uint32_t code, MachineFaults faults, MachineWatcher& watcher);

    /// While it is there: such as "client 128 of the sequencer", the number by which other programs
    /// find it. It can be another one after a power cycle.
    [[nodiscard]] std::string place() const override;
    [[nodiscard]] int descriptor() const override;
    void read() override;

private:
    void plug() override;
    void pull() override;
    void write(std::span<const std::uint8_t> message) override;

    struct Close {
        void operator()(snd_seq_t* sequencer) const { snd_seq_close(sequencer); }
    };
    std::unique_ptr<snd_seq_t, Close> sequencer_; ///< null while the machine is gone
    SequencerCodec codec_;
    int port_ = -1;
};
