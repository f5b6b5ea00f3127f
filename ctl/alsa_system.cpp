// SPDX-License-Identifier: MIT
#include "ctl/alsa_system.h"

#include <fstream>

namespace {

OtherClient other_client(const ClientInfo& info) {
    OtherClient client{.name = info.name, .pid = info.pid};
    if (info.pid > 0) {
        std::ifstream name("/proc/" + std::to_string(info.pid) + "/comm");
        std::getline(name, client.program);
    }
    return client;
}

std::vector<OtherClient> other_clients_of(const std::vector<ConnectedPort>& ports) {
    std::vector<OtherClient> clients;
    clients.reserve(ports.size());
    for (const ConnectedPort& port : ports)
        clients.push_back(other_client(port.client));
    return clients;
}

} // namespace

std::optional<SystemTrouble> AlsaSystem::trouble() const {
    const auto trouble = backend_.trouble();
    if (!trouble)
        return std::nullopt;
    return SystemTrouble{trouble->sentence, trouble->remedy};
}

std::optional<setup::PortAddress> AlsaSystem::address(MIDIEndpointRef endpoint) const {
    const auto address = backend_.address(endpoint);
    if (!address)
        return std::nullopt;
    return setup::PortAddress{address->client, address->port};
}

Connections AlsaSystem::connections(MIDIEndpointRef endpoint) const {
    const auto neighbours = backend_.neighbours(endpoint);
    if (!neighbours)
        return {};
    return {other_clients_of(neighbours->readers), other_clients_of(neighbours->writers)};
}

std::vector<OtherClient> AlsaSystem::other_clients() const {
    std::vector<OtherClient> clients;
    for (const ClientInfo& info : backend_.other_clients())
        clients.push_back(other_client(info));
    return clients;
}

std::optional<int> AlsaSystem::places_left() const {
    return backend_.places_left();
}
