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

std::vector<OtherClient> other_clients_of(const std::vector<ClientInfo>& infos) {
    std::vector<OtherClient> clients;
    clients.reserve(infos.size());
    for (const ClientInfo& info : infos)
        clients.push_back(other_client(info));
    return clients;
}

} // namespace

std::optional<SystemTrouble> AlsaSystem::trouble() const {
    const auto trouble = backend_->trouble();
    if (!trouble)
        return std::nullopt;
    return SystemTrouble{trouble->sentence, trouble->remedy};
}

std::optional<setup::PortAddress> AlsaSystem::address(MIDIEndpointRef endpoint) const {
    const auto address = backend_->address(endpoint);
    if (!address)
        return std::nullopt;
    return setup::PortAddress{address->client, address->port};
}

Connections AlsaSystem::connections(MIDIEndpointRef endpoint) const {
    const auto neighbours = backend_->neighbours(endpoint);
    if (!neighbours)
        return {};
    return {other_clients_of(neighbours->readers), other_clients_of(neighbours->writers)};
}

std::vector<OtherClient> AlsaSystem::other_clients() const {
    return other_clients_of(backend_->other_clients());
}

std::optional<int> AlsaSystem::places_left() const {
    return backend_->places_left();
}
