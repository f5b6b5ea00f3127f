// SPDX-License-Identifier: MIT
#include "ctl/demo_system.h"

#include "protocol/mapping.h"

#include <array>
#include <chrono>

namespace {

/// Where the sequencer numbers programs from.
constexpr int first_client = 128;

/// A fader, a pad and a wheel.
const MappingTable parts = {
    {.part = 0, .type = protocol::MessageType::control_change, .channel = 1, .controller = 7},
    {.part = 1, .type = protocol::MessageType::note_on, .channel = 10, .controller = 36},
    {.part = 2, .type = protocol::MessageType::bend_change, .channel = 1, .controller = 0},
};

struct Move {
    int part;
    int value;
};
constexpr std::array<Move, 8> moves = {
    {{0, 0}, {0, 64}, {0, 127}, {1, 100}, {1, 0}, {2, 96}, {2, 32}, {2, 64}}};
constexpr auto pace = std::chrono::milliseconds(250);

} // namespace

DemoSystem::DemoSystem(const std::vector<std::uint32_t>& codes, MachineFaults faults) {
    for (const std::uint32_t code : codes)
        machines_.push_back(std::make_unique<EmbeddedMachine>(backend_, code, faults, parts));
}

std::optional<setup::PortAddress> DemoSystem::address(MIDIEndpointRef endpoint) const {
    for (std::size_t i = 0; i < machines_.size(); ++i) {
        if (endpoint != 0 && machines_[i]->reference() == endpoint)
            return setup::PortAddress{first_client + static_cast<int>(i), 0};
    }
    return std::nullopt;
}

std::optional<setup::Time> DemoSystem::play(setup::Time now) {
    if (now < next_move_)
        return next_move_;
    const Move& move = moves[moves_made_ % moves.size()];
    (void)machines_[moves_made_ / moves.size() % machines_.size()]->play(move.part, move.value);
    ++moves_made_;
    next_move_ = now + pace;
    return next_move_;
}
