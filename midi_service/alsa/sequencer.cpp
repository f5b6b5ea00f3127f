// SPDX-License-Identifier: MIT
#include "midi_service/alsa/sequencer.h"

#include <cerrno>
#include <string_view>

namespace {

Address address_of(const snd_seq_port_info_t* info) {
    return {static_cast<std::uint8_t>(snd_seq_port_info_get_client(info)),
            static_cast<std::uint8_t>(snd_seq_port_info_get_port(info))};
}

PortInfo read_info(const snd_seq_port_info_t* info) {
    return {address_of(info), snd_seq_port_info_get_name(info),
            snd_seq_port_info_get_capability(info)};
}

ClientInfo read_info(snd_seq_client_info_t* info) {
    return {.number = static_cast<std::uint8_t>(snd_seq_client_info_get_client(info)),
            .name = snd_seq_client_info_get_name(info),
            .card = snd_seq_client_info_get_card(info),
            .pid = snd_seq_client_info_get_pid(info)};
}

void say_nothing(const char*, int, const char*, int, const char*, ...) {}

/// Calls one of the library's functions with a description of the subscription of `to` to `from`.
int with_subscription(snd_seq_t* sequencer, Address from, Address to,
                      int (*function)(snd_seq_t*, snd_seq_port_subscribe_t*)) {
    snd_seq_port_subscribe_t* subscription = nullptr;
    snd_seq_port_subscribe_alloca(&subscription);
    const snd_seq_addr_t sender = {from.client, from.port};
    const snd_seq_addr_t receiver = {to.client, to.port};
    snd_seq_port_subscribe_set_sender(subscription, &sender);
    snd_seq_port_subscribe_set_dest(subscription, &receiver);
    return function(sequencer, subscription);
}

} // namespace

OSStatus to_status(int result) {
    if (result >= 0)
        return 0;
    // For an address that does not exist events and queries get ENOENT, subscriptions EINVAL.
    if (result == -ENOENT || result == -EINVAL)
        return -ENODEV;
    return (result & 0xFF) != 0 ? result : -EIO;
}

int open_sequencer(const std::string& name, Sequencer& opened) {
    snd_lib_error_set_handler(&say_nothing);
    // Straight to the kernel's sequencer. Under the name "default" alsa-lib would read its
    // configuration files at each attempt, and they may put something else in its place.
    constexpr std::string_view text = "seq.kernel { type hw }";
    snd_config_t* read = nullptr;
    int result = snd_config_load_string(&read, text.data(), text.size());
    if (result < 0)
        return result;
    const std::unique_ptr<snd_config_t, decltype(&snd_config_delete)> configuration(
        read, &snd_config_delete);
    snd_seq_t* raw = nullptr;
    result = snd_seq_open_lconf(&raw, "kernel", SND_SEQ_OPEN_DUPLEX, SND_SEQ_NONBLOCK,
                                configuration.get());
    if (result < 0)
        return result;
    Sequencer sequencer(raw);
    result = snd_seq_set_client_name(raw, name.c_str());
    if (result < 0)
        return result;
    opened = std::move(sequencer);
    return 0;
}

int create_port(snd_seq_t* sequencer, const std::string& name, unsigned capabilities) {
    return snd_seq_create_simple_port(sequencer, name.c_str(), capabilities,
                                      SND_SEQ_PORT_TYPE_MIDI_GENERIC |
                                          SND_SEQ_PORT_TYPE_APPLICATION);
}

int subscribe(snd_seq_t* sequencer, Address from, Address to) {
    const int result = with_subscription(sequencer, from, to, &snd_seq_subscribe_port);
    // EBUSY: connected already, or another program has the port for itself alone.
    return result == -EBUSY && is_subscribed(sequencer, from, to) ? 0 : result;
}

int unsubscribe(snd_seq_t* sequencer, Address from, Address to) {
    return with_subscription(sequencer, from, to, &snd_seq_unsubscribe_port);
}

bool is_subscribed(snd_seq_t* sequencer, Address from, Address to) {
    return with_subscription(sequencer, from, to, &snd_seq_get_port_subscription) >= 0;
}

std::optional<PortInfo> query_port(snd_seq_t* sequencer, Address address) {
    snd_seq_port_info_t* info = nullptr;
    snd_seq_port_info_alloca(&info);
    if (snd_seq_get_any_port_info(sequencer, address.client, address.port, info) < 0)
        return std::nullopt;
    return read_info(info);
}

std::optional<ClientInfo> query_client(snd_seq_t* sequencer, std::uint8_t client) {
    snd_seq_client_info_t* info = nullptr;
    snd_seq_client_info_alloca(&info);
    if (snd_seq_get_any_client_info(sequencer, client, info) < 0)
        return std::nullopt;
    return read_info(info);
}

std::vector<ClientInfo> query_all_clients(snd_seq_t* sequencer) {
    std::vector<ClientInfo> clients;
    snd_seq_client_info_t* client = nullptr;
    snd_seq_client_info_alloca(&client);
    snd_seq_client_info_set_client(client, -1);
    while (snd_seq_query_next_client(sequencer, client) >= 0)
        clients.push_back(read_info(client));
    return clients;
}

std::vector<PortInfo> query_all_ports(snd_seq_t* sequencer) {
    std::vector<PortInfo> ports;
    snd_seq_port_info_t* port = nullptr;
    snd_seq_port_info_alloca(&port);
    for (const ClientInfo& client : query_all_clients(sequencer)) {
        snd_seq_port_info_set_client(port, client.number);
        snd_seq_port_info_set_port(port, -1);
        while (snd_seq_query_next_port(sequencer, port) >= 0)
            ports.push_back(read_info(port));
    }
    return ports;
}

std::vector<Address> query_subscribers(snd_seq_t* sequencer, Address port,
                                       snd_seq_query_subs_type_t direction) {
    std::vector<Address> subscribers;
    snd_seq_query_subscribe_t* query = nullptr;
    snd_seq_query_subscribe_alloca(&query);
    const snd_seq_addr_t root = {port.client, port.port};
    snd_seq_query_subscribe_set_root(query, &root);
    snd_seq_query_subscribe_set_type(query, direction);
    for (int i = 0;; ++i) {
        snd_seq_query_subscribe_set_index(query, i);
        if (snd_seq_query_port_subscribers(sequencer, query) < 0)
            return subscribers;
        const snd_seq_addr_t* subscriber = snd_seq_query_subscribe_get_addr(query);
        subscribers.push_back({subscriber->client, subscriber->port});
    }
}

int query_most_clients(snd_seq_t* sequencer) {
    snd_seq_system_info_t* info = nullptr;
    snd_seq_system_info_alloca(&info);
    const int result = snd_seq_system_info(sequencer, info);
    return result < 0 ? result : snd_seq_system_info_get_clients(info);
}
