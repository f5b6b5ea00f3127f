// SPDX-License-Identifier: MIT
#pragma once

#include "midi_service/alsa/event_codec.h"
#include "midi_service/alsa/sequencer.h"
#include "simulation/connected_machine.h"

#include <string>

/// A simulated machine as a client of this computer's ALSA sequencer, with one port for both
/// directions that other clients may subscribe to. It takes whatever is sent to its port, and sends
/// to the port's subscribers.
class SequencerMachine : public ConnectedMachine {
public:
    /// Joins the sequencer. `client` and `port`: its names; empty: those that a USB machine with
    /// this code has. MachineError when there is no sequencer or it has no room.
    SequencerMachine(std::uint32_t code, MachineFaults faults, MachineWatcher& watcher,
                     const std::string& client = {}, const std::string& port = {});

    /// Such as "client 128 of the sequencer", the number by which other programs find the machine.
    /// Only while it is there; another one after each power cycle.
    [[nodiscard]] std::string place() const override;
    [[nodiscard]] int descriptor() const override;
    void read() override;

protected:
    [[nodiscard]] snd_seq_t* sequencer() const { return sequencer_.get(); }
    [[nodiscard]] int port() const { return port_; }

private:
    void plug() override;
    void pull() override;
    void write(std::span<const std::uint8_t> message) override;

    const std::string client_;
    const std::string port_name_;
    Sequencer sequencer_; ///< null while the machine is gone
    EventCodec codec_;
    int port_ = -1;
};
