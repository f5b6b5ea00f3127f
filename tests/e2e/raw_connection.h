// SPDX-License-Identifier: MIT
#pragma once

#include "simulation/connected_machine.h"

#include <alsa/asoundlib.h>

#include <memory>

/// A simulated machine on a raw MIDI port, such as the one of a USB gadget, which is the far end of
/// a cable to the host. It lives on when the port goes away.
class RawMachine final : public ConnectedMachine {
public:
    /// `device`: the port, such as "hw:1,0". `gadget`: the UDC attribute of the gadget that the
    /// port belongs to, or nothing; the machine unbinds the gadget there when it leaves and binds
    /// it to the same controller when it comes back, which is what pulling a plug means to the
    /// host. MachineError: the port cannot be opened.
    RawMachine(std::uint32_t code, std::string device, std::string gadget, MachineFaults faults,
               MachineWatcher& watcher);

    [[nodiscard]] std::string place() const override { return device_; }
    [[nodiscard]] int descriptor() const override;
    void read() override;

private:
    void plug() override;
    void pull() override;
    void write(std::span<const std::uint8_t> message) override;
    [[nodiscard]] int open();
    void close();

    struct Close {
        void operator()(snd_rawmidi_t* port) const { snd_rawmidi_close(port); }
    };
    const std::string device_;
    const std::string gadget_;
    std::string controller_{}; ///< what the gadget was bound to when the machine left
    std::unique_ptr<snd_rawmidi_t, Close> input_; ///< both are null while the machine is gone
    std::unique_ptr<snd_rawmidi_t, Close> output_;
};
