// SPDX-License-Identifier: MIT
#pragma once

#include "midi_service/embedded/embedded_backend.h"
#include "simulation/firmware.h"

#include <cstdint>
#include <mutex>
#include <span>
#include <string>
#include <vector>

/// A simulated machine on the embedded service: device, source and destination in one, named as a
/// USB machine is. Any thread.
class EmbeddedMachine {
public:
    /// Plugs the machine with this device code in. The service has to outlive it.
    EmbeddedMachine(EmbeddedBackend& service, std::uint32_t code, MachineFaults faults = {});
    ~EmbeddedMachine();
    EmbeddedMachine(const EmbeddedMachine&) = delete;
    EmbeddedMachine& operator=(const EmbeddedMachine&) = delete;

    /// Pulls the plug, or plugs in again, after which the machine has its saved table and stands at
    /// the end of the lists. Nothing happens when it is so already.
    void unplug();
    void plug();

    [[nodiscard]] MappingTable table() const;
    [[nodiscard]] MappingTable saved_table() const;
    /// Every byte that reached the machine, in order.
    [[nodiscard]] std::vector<std::uint8_t> received() const;
    /// Where the service has it; 0 while it is unplugged.
    [[nodiscard]] MIDIObjectRef reference() const;

private:
    void receive(std::span<const std::uint8_t> messages);

    EmbeddedBackend& service_;
    const std::string name_;
    mutable std::mutex mutex_; ///< over what follows; never held while the service detaches
    Firmware firmware_;
    std::vector<std::uint8_t> received_{};
    MIDIObjectRef reference_ = 0;
};
