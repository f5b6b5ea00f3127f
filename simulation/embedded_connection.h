// SPDX-License-Identifier: MIT
#pragma once

#include "midi_service/embedded/embedded_backend.h"
#include "simulation/firmware.h"

#include <cstdint>
#include <mutex>
#include <span>
#include <string>
#include <vector>

/// A simulated machine on the embedded service: one object that is device, source and destination,
/// with the names of a USB machine. Its replies come in the service's time. Any thread.
class EmbeddedMachine {
public:
    /// Plugs the machine with this device code in. `saved`: the mappings that it starts with. The
    /// service has to outlive it.
    EmbeddedMachine(EmbeddedBackend& service, std::uint32_t code, MachineFaults faults = {},
                    MappingTable saved = {});
    ~EmbeddedMachine();
    EmbeddedMachine(const EmbeddedMachine&) = delete;
    EmbeddedMachine& operator=(const EmbeddedMachine&) = delete;

    /// Pulls the plug; plugs the machine in again, with its saved table and at the end of the
    /// service's lists. Nothing happens if it is unplugged, or plugged in, already.
    void unplug();
    void plug();

    /// Moves a part: the machine sends what the part is mapped to with this value, 0 to 127. False
    /// if the machine is unplugged or has no such mapping.
    bool play(int part, int value);

    [[nodiscard]] MappingTable table() const {
        const std::lock_guard lock(mutex_);
        return firmware_.table();
    }
    [[nodiscard]] MappingTable saved_table() const {
        const std::lock_guard lock(mutex_);
        return firmware_.saved_table();
    }
    /// Every byte that reached the machine, in order.
    [[nodiscard]] std::vector<std::uint8_t> received() const {
        const std::lock_guard lock(mutex_);
        return received_;
    }
    /// The machine's reference at the service; 0 while it is unplugged.
    [[nodiscard]] MIDIObjectRef reference() const {
        const std::lock_guard lock(mutex_);
        return reference_;
    }

private:
    void receive(std::span<const std::uint8_t> messages);

    EmbeddedBackend& service_;
    const std::string name_;
    mutable std::mutex mutex_; ///< guards what follows; never held while the service detaches
    Firmware firmware_;
    std::vector<std::uint8_t> received_{};
    MIDIObjectRef reference_ = 0;
};
