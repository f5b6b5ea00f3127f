// SPDX-License-Identifier: MIT
#include "simulation/embedded_connection.h"

#include "protocol/device_code.h"

#include <chrono>
#include <utility>

EmbeddedMachine::EmbeddedMachine(EmbeddedBackend& service, std::uint32_t code, MachineFaults faults)
    : service_(service), name_(protocol::code_text(code)), firmware_(faults) {
    plug();
}

EmbeddedMachine::~EmbeddedMachine() {
    unplug();
}

void EmbeddedMachine::unplug() {
    std::unique_lock lock(mutex_);
    const MIDIObjectRef gone = std::exchange(reference_, 0);
    lock.unlock();
    // Detaching waits for a receive() that runs, and that waits for the lock.
    if (gone != 0)
        service_.detach(gone);
}

void EmbeddedMachine::plug() {
    // A message that comes before the reference is known waits for the lock.
    const std::lock_guard lock(mutex_);
    if (reference_ != 0)
        return;
    (void)firmware_.power_cycle();
    reference_ =
        service_.attach({.name = name_ + " MIDI 1", .manufacturer = "keyloft", .model = name_},
                        [this](std::span<const std::uint8_t> messages) { receive(messages); });
}

void EmbeddedMachine::receive(std::span<const std::uint8_t> messages) {
    std::unique_lock lock(mutex_);
    if (reference_ == 0)
        return; // pulled while the message was on its way
    received_.insert(received_.end(), messages.begin(), messages.end());
    for (const MachineReply& reply : firmware_.receive(messages).replies)
        service_.emit(reference_, {reply.bytes.data(), reply.length},
                      std::chrono::milliseconds(reply.after_ms));
    if (!firmware_.vanished())
        return;
    // Once the lock is given up the machine may be gone: nothing of it is touched behind it.
    EmbeddedBackend& service = service_;
    const MIDIObjectRef gone = std::exchange(reference_, 0);
    lock.unlock();
    service.detach(gone);
}

MappingTable EmbeddedMachine::table() const {
    const std::lock_guard lock(mutex_);
    return firmware_.table();
}

MappingTable EmbeddedMachine::saved_table() const {
    const std::lock_guard lock(mutex_);
    return firmware_.saved_table();
}

std::vector<std::uint8_t> EmbeddedMachine::received() const {
    const std::lock_guard lock(mutex_);
    return received_;
}

MIDIObjectRef EmbeddedMachine::reference() const {
    const std::lock_guard lock(mutex_);
    return reference_;
}
