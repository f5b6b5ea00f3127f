// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>
#include <string>
#include <tuple>
#include <vector>

// What is on the sequencer, as plain values.

/// A port of the sequencer.
struct Address {
    std::uint8_t client = 0;
    std::uint8_t port = 0;
    bool operator==(const Address&) const = default;
    bool operator<(const Address& other) const {
        return std::tie(client, port) < std::tie(other.client, other.port);
    }
};

struct PortInfo {
    Address address;
    std::string name;
    unsigned capabilities = 0; ///< SND_SEQ_PORT_CAP_ bits
};

struct ClientInfo {
    std::uint8_t number = 0;
    std::string name{};
    int card = -1; ///< number of the sound card behind it, or -1
    int pid = -1;  ///< of the program that it belongs to; -1: the kernel's own
};

/// Who is connected to a port, once for each connection. This program's own are left out.
struct PortNeighbours {
    std::vector<ClientInfo> readers; ///< they get what the port sends
    std::vector<ClientInfo> writers; ///< what they send goes to the port
};

/// How many more clients programs can open, when `clients` are all there are and the sequencer
/// numbers them from 0 to `most` - 1. The numbers below 128 are for the kernel and for cards.
[[nodiscard]] inline int places_left(std::span<const ClientInfo> clients, int most) {
    constexpr int first_of_programs = 128;
    const auto taken = std::ranges::count_if(
        clients, [](const ClientInfo& client) { return client.number >= first_of_programs; });
    return std::max(0, most - first_of_programs - static_cast<int>(taken));
}
