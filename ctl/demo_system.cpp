// SPDX-License-Identifier: MIT
#include "ctl/demo_system.h"

#include "protocol/mapping.h"

#include <array>
#include <chrono>

namespace {

/// Where the sequencer numbers programs from.
constexpr int first_client = 128;

/// A fader, a pad and a wheel.
const MappingTable played_parts = {
    {.part = 0, .type = protocol::MessageType::control_change, .channel = 1, .controller = 7},
    {.part = 1, .type = protocol::MessageType::note_on, .channel = 10, .controller = 36},
    {.part = 2, .type = protocol::MessageType::bend_change, .channel = 1, .controller = 0},
};

struct Move {
    int part;
    int value;
};
/// Those three parts, and some that nobody hears until they are set to send something.
constexpr std::array<Move, 16> moves = {{{0, 0},
                                         {0, 64},
                                         {0, 127},
                                         {1, 100},
                                         {1, 0},
                                         {2, 96},
                                         {2, 32},
                                         {2, 64},
                                         {12, 20},
                                         {12, 21},
                                         {36, 90},
                                         {36, 0},
                                         {119, 127},
                                         {119, 0},
                                         {127, 64},
                                         {127, 65}}};
constexpr auto time_of_a_move = std::chrono::milliseconds(250);
constexpr auto plug_pace = std::chrono::milliseconds(1500);

} // namespace

DemoSystem::DemoSystem(const std::vector<std::uint32_t>& codes, MachineFaults faults, Show show)
    : show_(show) {
    for (const std::uint32_t code : codes)
        machines_.push_back(
            std::make_unique<EmbeddedMachine>(backend_, code, faults, played_parts));
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
    if (show_ == Show::parts)
        move_part();
    else
        move_plug();
    next_move_ = now + (show_ == Show::parts ? time_of_a_move : plug_pace);
    return next_move_;
}

void DemoSystem::move_part() {
    // Where a part sends nothing, or a machine has gone, the next move is made at once.
    for (std::size_t tried = 0; tried < moves.size() * machines_.size(); ++tried) {
        const Move& move = moves[moves_made_ % moves.size()];
        EmbeddedMachine& machine = *machines_[moves_made_ / moves.size() % machines_.size()];
        ++moves_made_;
        if (machine.play(move.part, move.value))
            break;
    }
}

/// All are there for a while; then one goes, and comes back.
void DemoSystem::move_plug() {
    constexpr std::size_t steps = 3;
    EmbeddedMachine& machine = *machines_[moves_made_ / steps % machines_.size()];
    switch (moves_made_++ % steps) {
    case 1:
        return machine.unplug();
    case 2:
        return machine.plug();
    default:
        return;
    }
}
