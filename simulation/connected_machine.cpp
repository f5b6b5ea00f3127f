// SPDX-License-Identifier: MIT
#include "simulation/connected_machine.h"

#include "protocol/device_code.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace {

std::string count_text(const MappingTable& table) {
    return std::to_string(table.size()) + (table.size() == 1 ? " mapping" : " mappings");
}

nlohmann::ordered_json table_json(const MappingTable& table) {
    auto mappings = nlohmann::ordered_json::array();
    for (const auto& [part, type, channel, controller] : table)
        mappings.push_back({{"part", part},
                            {"type", protocol::type_name(type)},
                            {"channel", channel},
                            {"controller", controller}});
    return mappings;
}

} // namespace

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

std::string event_text(const ConnectedMachine& machine, const MachineEvent& event) {
    switch (event.kind) {
    case MachineEvent::Kind::mapping:
        return protocol::mapping_text(event.mapping);
    case MachineEvent::Kind::save:
        return "saved: " + count_text(machine.firmware().saved_table());
    case MachineEvent::Kind::power_cycle:
        return "power cycle: back to " + count_text(machine.firmware().table());
    case MachineEvent::Kind::vanish:
        break;
    }
    return "vanished";
}

std::string tables_json(const ConnectedMachine& machine) {
    return nlohmann::ordered_json{{"machine", machine.name()},
                                  {"table", table_json(machine.firmware().table())},
                                  {"saved", table_json(machine.firmware().saved_table())}}
        .dump();
}
