// SPDX-License-Identifier: MIT
#include "midi_service/alsa/alsa_backend.h"

#include "midi_service/alsa/announcements.h"
#include "midi_service/alsa/card_texts.h"
#include "midi_service/alsa/midi_client.h"
#include "midi_service/alsa/name_check.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <unistd.h>

namespace {

using std::chrono::milliseconds;

/// A list that is counted again within this time after its end was reached is looked through for
/// one thing after another, with nobody at the buttons in between: the names need not be read
/// again.
constexpr milliseconds pause_between_sweeps{100};

/// Coarse, so that it never needs a system call.
milliseconds now() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &time);
    return milliseconds{time.tv_sec * 1000 + time.tv_nsec / 1'000'000};
}

} // namespace

struct AlsaBackend::State {
    using Clients = std::vector<std::unique_ptr<MidiClient>>;

    void bring_up();
    void follow_announcements();
    void check_names();
    void check_devices();
    void refresh(Address address) { announcements.refresh(endpoints, address); }
    [[nodiscard]] Clients::iterator find(MIDIClientRef client);
    [[nodiscard]] MidiClient* owner(MIDIPortRef port);

    Announcements announcements;
    EndpointList endpoints;
    NameCheck name_check;
    std::uint64_t counts = 0;      ///< how often a list was counted
    MIDIObjectRef end_of_list = 0; ///< the last endpoint of the list that was counted last
    milliseconds last_use{0};      ///< when the list was counted, or its end reached
    bool names_are_due = false;    ///< the next count of endpoints has to look for renamed ones
    bool is_up = false;            ///< everything that has to be on the sequencer is
    int error = 0;                 ///< why it is not: a positive errno

    std::mutex clients_guard; ///< held for every change of the clients and for every send
    Clients clients;
};

AlsaBackend::AlsaBackend() : state_(std::make_unique<State>()) {}

AlsaBackend::~AlsaBackend() = default;

/// Joins the sequencer with whatever is not there yet.
void AlsaBackend::State::bring_up() {
    if (is_up)
        return;
    int result = 0;
    if (!announcements.is_open()) {
        result = announcements.open();
        if (result == 0) {
            announcements.read_all(endpoints);
            name_check.open();
            names_are_due = false; // just read
            last_use = now();
        }
    }
    const std::lock_guard lock{clients_guard};
    for (const auto& client : clients) {
        if (result == 0 && !client->is_open())
            result = client->open();
    }
    is_up = result == 0;
    error = -result;
}

void AlsaBackend::State::follow_announcements() {
    while (!announcements.follow(endpoints)) {
        const std::lock_guard lock{clients_guard};
        for (const auto& client : clients) {
            for (const Address lost : client->lost_endpoints())
                endpoints.remove(lost);
        }
        announcements.read_all(endpoints);
    }
}

void AlsaBackend::State::check_names() {
    const milliseconds time = now();
    if (names_are_due || time - last_use >= pause_between_sweeps) {
        for (const Address renamed : name_check.renamed(endpoints))
            refresh(renamed);
    }
    names_are_due = false;
    last_use = time;
}

void AlsaBackend::State::check_devices() {
    if (!name_check.is_open()) {
        // One by one, where a sweep over all machines does not have to wait for it.
        for (const Address address : endpoints.addresses())
            refresh(address);
    }
    for (const std::uint8_t client : endpoints.clients()) {
        ClientInfo info;
        if (query_client(announcements.sequencer(), client, info) < 0)
            continue; // it is going; so are its ports
        Object* device = endpoints.device(client);
        if (!device || view_text(device->text(TextProperty::name).get()) != info.name)
            endpoints.put_device(client, device_texts(info));
    }
}

AlsaBackend::State::Clients::iterator AlsaBackend::State::find(MIDIClientRef client) {
    return std::ranges::find_if(
        clients, [client](const auto& candidate) { return candidate->reference() == client; });
}

MidiClient* AlsaBackend::State::owner(MIDIPortRef port) {
    const auto client = std::ranges::find_if(
        clients, [port](const auto& candidate) { return candidate->owns(port); });
    return client == clients.end() ? nullptr : client->get();
}

OSStatus AlsaBackend::open_client(MIDIClientRef reference, std::string_view name) {
    {
        const std::lock_guard lock{state_->clients_guard};
        state_->clients.push_back(std::make_unique<MidiClient>(reference, std::string(name)));
    }
    state_->is_up = false;
    state_->names_are_due = true;
    state_->bring_up();
    return 0;
}

void AlsaBackend::close_client(MIDIClientRef reference) {
    std::unique_ptr<MidiClient> closing;
    {
        const std::lock_guard lock{state_->clients_guard};
        const auto client = state_->find(reference);
        if (client == state_->clients.end())
            return;
        closing = std::move(*client);
        state_->clients.erase(client);
    }
    // Its receive thread may be sending, and ends only then.
    closing.reset();
}

OSStatus AlsaBackend::open_port(MIDIPortRef port, MIDIClientRef reference, std::string_view name,
                                bool is_input) {
    const std::lock_guard lock{state_->clients_guard};
    const auto client = state_->find(reference);
    return client == state_->clients.end() ? -ENXIO
                                           : (*client)->add_port(port, std::string(name), is_input);
}

void AlsaBackend::close_port(MIDIPortRef port) {
    const std::lock_guard lock{state_->clients_guard};
    if (MidiClient* client = state_->owner(port))
        client->remove_port(port);
}

OSStatus AlsaBackend::connect(MIDIPortRef port, MIDIEndpointRef source) {
    state_->bring_up();
    const Object* object = state_->endpoints.objects().find(source);
    if (!object || !object->is_source)
        return -ENODEV;
    MidiClient* client = state_->owner(port);
    return client ? client->connect(port, source, object->address) : -ENXIO;
}

OSStatus AlsaBackend::disconnect(MIDIPortRef port, MIDIEndpointRef source) {
    MidiClient* client = state_->owner(port);
    return client ? client->disconnect(port, source) : -ENXIO;
}

std::span<const MIDIObjectRef> AlsaBackend::update(ObjectList list) {
    ++state_->counts;
    state_->bring_up();
    if (state_->announcements.is_open()) {
        state_->follow_announcements();
        if (list == ObjectList::devices) {
            state_->check_devices();
            // Here one thing ends and another begins, which is to rely on names of its own.
            state_->names_are_due = true;
        } else {
            state_->check_names();
        }
    }
    const auto published = state_->endpoints.publish(list);
    state_->end_of_list = published.empty() ? 0 : published.back();
    return published;
}

OSStatus AlsaBackend::text(MIDIObjectRef reference, TextProperty property, CFStringRef& value) {
    const ObjectTable& objects = state_->endpoints.objects();
    Object* object = objects.find(reference);
    if (reference == state_->end_of_list)
        state_->last_use = now();
    // Whoever asks for an endpoint's name again has found what it was looking for.
    if (object && object->is_endpoint() && property == TextProperty::name) {
        if (object->asked == state_->counts) {
            state_->refresh(object->address);
            object = objects.find(reference);
        } else {
            object->asked = state_->counts;
        }
    }
    if (!object) {
        const OSStatus status = objects.absence(reference);
        if (status == -ENODEV)
            value = nullptr;
        return status;
    }
    const TextHandle& text = object->text(property);
    value = text ? share_text(text.get()) : nullptr;
    return text ? 0 : -ENODATA;
}

OSStatus AlsaBackend::offline(MIDIObjectRef reference, std::int32_t& value) {
    const ObjectTable& objects = state_->endpoints.objects();
    const Object* object = objects.find(reference);
    if (object && object->is_endpoint()) {
        state_->refresh(object->address);
        object = objects.find(reference);
    }
    if (object) {
        value = 0;
        return 0;
    }
    const OSStatus status = objects.absence(reference);
    if (status == -ENODEV)
        value = 1;
    return status;
}

OSStatus AlsaBackend::send(MIDIPortRef port, MIDIEndpointRef destination,
                           std::span<const std::uint8_t> messages) {
    const auto address = state_->endpoints.objects().destination(destination);
    if (!address)
        return -ENODEV;
    const std::lock_guard lock{state_->clients_guard};
    MidiClient* client = state_->owner(port);
    return client ? client->send(port, destination, *address, messages) : -ENXIO;
}

int AlsaBackend::changes() const {
    return state_->announcements.descriptor();
}

std::optional<SequencerTrouble> AlsaBackend::trouble() const {
    return state_->error == 0 ? std::nullopt : std::optional(sequencer_trouble(state_->error));
}

std::optional<Address> AlsaBackend::address(MIDIEndpointRef endpoint) const {
    const Object* object = state_->endpoints.objects().find(endpoint);
    return object && object->is_endpoint() ? std::optional(object->address) : std::nullopt;
}

std::optional<PortNeighbours> AlsaBackend::neighbours(MIDIEndpointRef endpoint) const {
    snd_seq_t* sequencer = state_->announcements.sequencer();
    const auto place = address(endpoint);
    PortNeighbours result;
    if (!sequencer || !place || query_client(sequencer, place->client, result.client) < 0)
        return std::nullopt;
    result.address = *place;
    const auto connected = [&](snd_seq_query_subs_type_t direction) {
        std::vector<ConnectedPort> ports;
        for (const Address subscriber : query_subscribers(sequencer, *place, direction)) {
            ClientInfo client;
            if (query_client(sequencer, subscriber.client, client) >= 0 && client.pid != getpid())
                ports.push_back({subscriber, client});
        }
        return ports;
    };
    result.readers = connected(SND_SEQ_QUERY_SUBS_READ);
    result.writers = connected(SND_SEQ_QUERY_SUBS_WRITE);
    return result;
}

std::vector<ClientInfo> AlsaBackend::other_clients() const {
    if (!state_->announcements.is_open())
        return {};
    auto clients = query_all_clients(state_->announcements.sequencer());
    std::erase_if(clients, [](const ClientInfo& client) { return client.pid == getpid(); });
    return clients;
}

int AlsaBackend::places_left() const {
    snd_seq_t* sequencer = state_->announcements.sequencer();
    return sequencer ? ::places_left(query_all_clients(sequencer), query_most_clients(sequencer))
                     : 0;
}
