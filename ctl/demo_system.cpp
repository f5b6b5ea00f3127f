// SPDX-License-Identifier: MIT
#include "ctl/demo_system.h"

#include "protocol/mapping.h"

#include <array>
#include <chrono>

namespace {

/// Where the sequencer numbers programs from.
constexpr int first_client = 128;

} // namespace

DemoSystem::DemoSystem(const std::vector<std::uint32_t>& codes, MachineFaults faults) {
    for (const std::uint32_t code : codes)
        machines_.push_back(std::make_unique<EmbeddedMachine>(backend_, code, faults));
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
    using std::chrono::microseconds;
    constexpr auto control_change =
        static_cast<std::uint8_t>(protocol::MessageType::control_change);
    constexpr std::uint8_t volume = 7;
    constexpr std::array<std::uint8_t, 6> values = {0, 32, 64, 96, 127, 64};
    const auto& machine = machines_[moves_ / values.size() % machines_.size()];
    const std::array<std::uint8_t, 3> bytes = {control_change, volume,
                                               values[moves_ % values.size()]};
    backend_.emit(machine->reference(), bytes, microseconds(0));
    ++moves_;
    next_move_ = now + std::chrono::milliseconds(250);
    return next_move_;
}
