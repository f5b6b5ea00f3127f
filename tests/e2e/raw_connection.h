// SPDX-License-Identifier: MIT
#pragma once

#include "simulation/connected_machine.h"

#include <alsa/asoundlib.h>

#include <memory>

/// A simulated machine on a raw MIDI port. The port of a USB gadget is the machine's end of a
/// cable; the host is at the other end. The object outlives its port.
class RawMachine final : public ConnectedMachine {
public:
    /// `device`: the port, such as "hw:1,0". `gadget`: the UDC attribute of the port's gadget, or
    /// empty. The machine unbinds the gadget when it leaves and binds it again when it comes back:
    /// to the host the plug is pulled and put back. MachineError: the port cannot be opened.
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
    std::string controller_{};                    ///< what to bind the gadget to again
    std::unique_ptr<snd_rawmidi_t, Close> input_; ///< both are null while the machine is gone
    std::unique_ptr<snd_rawmidi_t, Close> output_;
};
