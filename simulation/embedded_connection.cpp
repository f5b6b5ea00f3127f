// SPDX-License-Identifier: MIT
#include "simulation/embedded_connection.h"

#include "protocol/device_code.h"

#include <chrono>
#include <utility>

EmbeddedMachine::EmbeddedMachine(EmbeddedBackend& service, std::uint32_t code, MachineFaults faults,
                                 MappingTable saved)
    : service_(service), name_(protocol::code_text(code)), firmware_(faults, std::move(saved)) {
    plug();
}

EmbeddedMachine::~EmbeddedMachine() {
    unplug();
}

void EmbeddedMachine::unplug() {
    std::unique_lock lock(mutex_);
    const MIDIObjectRef gone = std::exchange(reference_, 0);
    lock.unlock();
    // Not under the lock: detaching waits until a running receive() ends, which takes the lock.
    if (gone != 0)
        service_.detach(gone);
}

void EmbeddedMachine::plug() {
    // Held until the reference is known, in case a message arrives before attach() returns.
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
    // Another thread may destroy the machine once the lock is free: touch no member after that.
    EmbeddedBackend& service = service_;
    const MIDIObjectRef gone = std::exchange(reference_, 0);
    lock.unlock();
    service.detach(gone);
}

bool EmbeddedMachine::play(int part, int value) {
    const std::lock_guard lock(mutex_);
    const auto message = firmware_.play(part, value);
    if (reference_ == 0 || !message)
        return false;
    service_.emit(reference_, *message, std::chrono::microseconds(0));
    return true;
}
