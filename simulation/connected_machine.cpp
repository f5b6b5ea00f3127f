// SPDX-License-Identifier: MIT
#include "simulation/connected_machine.h"

#include "protocol/device_code.h"

#include <algorithm>

ConnectedMachine::ConnectedMachine(std::uint32_t code, MachineFaults faults,
                                   MachineWatcher& watcher, std::chrono::milliseconds gap)
    : name_(protocol::code_text(code)), firmware_(faults), watcher_(watcher), gap_(gap) {}

std::optional<ConnectedMachine::Clock::time_point> ConnectedMachine::next_due() const {
    if (pending_.empty())
        return std::nullopt;
    return std::max(pending_.begin()->first, free_);
}

void ConnectedMachine::send_due(Clock::time_point now) {
    while (!pending_.empty() && next_due() <= now) {
        const MachineReply reply = pending_.extract(pending_.begin()).mapped();
        const std::span<const std::uint8_t> message(reply.bytes.data(), reply.length);
        write(message);
        watcher_.sent(*this, message);
        free_ = std::max(now, Clock::now()) + gap_; // from the end of the write
    }
}

void ConnectedMachine::play(int part, int value) {
    if (const auto message = firmware_.play(part, value))
        pending_.emplace(Clock::now(),
                         MachineReply{.after_ms = 0, .bytes = *message, .length = message->size()});
}

void ConnectedMachine::power_cycle() {
    pending_.clear();
    pull();
    const MachineEvent event = firmware_.power_cycle();
    plug();
    watcher_.happened(*this, event);
}

void ConnectedMachine::take(std::span<const std::uint8_t> bytes) {
    watcher_.received(*this, bytes);
    const MachineAnswer answer = firmware_.receive(bytes);
    // From now, not from when the bytes arrived: an echo may be late but never early.
    const Clock::time_point now = Clock::now();
    for (const MachineReply& reply : answer.replies)
        pending_.emplace(now + std::chrono::milliseconds(reply.after_ms), reply);
    if (firmware_.vanished()) {
        pending_.clear();
        pull();
    }
    for (const MachineEvent& event : answer.events)
        watcher_.happened(*this, event);
}

void ConnectedMachine::lose() {
    pending_.clear();
    watcher_.lost(*this);
}
