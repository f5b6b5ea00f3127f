// SPDX-License-Identifier: MIT
#include "midi_service/alsa/alsa_backend.h"

#include "midi_service/alsa/endpoint_list.h"
#include "midi_service/alsa/midi_client.h"
#include "midi_service/alsa/name_table.h"
#include "midi_service/alsa/sequencer.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <map>
#include <poll.h>
#include <unistd.h>
#include <utility>

namespace {

using std::chrono::milliseconds;

/// Names that were read longer ago are read again. The clock is behind by at most a tick of 10 ms,
/// so this keeps the promise of 100 ms.
constexpr milliseconds names_stay_good{90};

constexpr Address announcer{SND_SEQ_CLIENT_SYSTEM, SND_SEQ_PORT_SYSTEM_ANNOUNCE};

} // namespace

struct AlsaBackend::State {
    explicit State(Clock replaceable_clock) : clock(replaceable_clock) {}

    const Clock clock;
    /// For the announcements of ports that start, change and go, and for questions; null while
    /// there is no sequencer. It is a client of its own: no flood of MIDI can push an announcement
    /// out, and nothing wakes the program up until it reads them.
    Sequencer sequencer;
    EndpointList endpoints;
    NameTable name_table;
    milliseconds names_read{0}; ///< when every endpoint's name was read last
    bool is_up = false;         ///< the announcements and all clients are open
    int error = 0;              ///< why not: a positive errno
    std::map<MIDIClientRef, MidiClient> clients;

    /// Opens on the sequencer whatever is not open yet.
    void bring_up() {
        if (is_up)
            return;
        int result = 0;
        if (!sequencer) {
            result = open_announcements();
            if (result == 0) {
                name_table.open();
                read_all();
            }
        }
        for (auto& [reference, client] : clients) {
            if (result == 0 && !client.is_open())
                result = client.open();
        }
        is_up = result == 0;
        error = -result;
    }

    /// 0 or a negative errno.
    [[nodiscard]] int open_announcements() {
        Sequencer opened;
        if (const int result = open_sequencer("MIDI Client announcements", opened); result < 0)
            return result;
        const int port = create_port(opened.get(), "Announcements",
                                     SND_SEQ_PORT_CAP_WRITE | SND_SEQ_PORT_CAP_NO_EXPORT);
        if (port < 0)
            return port;
        const Address own{static_cast<std::uint8_t>(snd_seq_client_id(opened.get())),
                          static_cast<std::uint8_t>(port)};
        if (const int result = subscribe(opened.get(), announcer, own); result < 0)
            return result;
        sequencer = std::move(opened);
        return 0;
    }

    void read_all() {
        names_read = clock();
        endpoints.replace_all(query_all_ports(sequencer.get()));
    }

    /// From here on the objects are as they are now, but for changes that are not announced.
    void follow_announcements() {
        // The library's buffer has room for all events that the kernel keeps for a client: a single
        // read gets them all. Each port that started or changed takes one more system call.
        const auto take = [this](const snd_seq_event_t& announcement) { apply(announcement); };
        while (sequencer && read_events(sequencer.get(), take) == -ENOSPC) {
            // Announcements were lost. Where a subscription of ours is gone, so is the port, even
            // if another one has its address by now.
            for (const auto& [reference, client] : clients) {
                for (const Address lost : client.lost_endpoints())
                    endpoints.remove(lost);
            }
            read_all();
        }
    }

    void apply(const snd_seq_event_t& announcement) {
        // Any client can send here. Believe only the system announcer, 0:1.
        if (Address{announcement.source.client, announcement.source.port} != announcer)
            return;
        const Address subject{announcement.data.addr.client, announcement.data.addr.port};
        switch (announcement.type) {
        case SND_SEQ_EVENT_PORT_START:
        case SND_SEQ_EVENT_PORT_CHANGE:
            return refresh(subject);
        case SND_SEQ_EVENT_PORT_EXIT:
            return endpoints.remove(subject);
        default:
            return;
        }
    }

    /// Asks the sequencer about one port.
    void refresh(Address address) {
        if (const auto info = query_port(sequencer.get(), address))
            endpoints.put(*info);
        else
            endpoints.remove(address);
    }

    /// The kernel does not announce new names (Linux 6.1).
    void refresh_names() {
        const milliseconds now = clock();
        if (now - names_read < names_stay_good)
            return;
        names_read = now;
        for (const Address address : name_table.suspects(endpoints))
            refresh(address);
    }

    void refresh_devices() {
        int asked = -1; // a client with several ports is asked once
        for (const Address address : endpoints.addresses()) {
            if (std::exchange(asked, address.client) == address.client)
                continue;
            const auto info = query_client(sequencer.get(), address.client);
            if (!info)
                continue; // it went a moment ago, and its ports go with it
            const Object* device = endpoints.find({address.client, whole_client});
            if (!device || device->name() != info->name)
                endpoints.put_device(address.client, device_texts(*info));
        }
    }

    /// The client of a port, which is open: the service asks for no others.
    [[nodiscard]] MidiClient& owner(MIDIPortRef port) {
        const auto owns = [port](const auto& client) { return client.second.owns(port); };
        return std::ranges::find_if(clients, owns)->second;
    }
};

AlsaBackend::AlsaBackend(Clock clock) : state_(std::make_unique<State>(clock)) {}

AlsaBackend::~AlsaBackend() = default;

milliseconds AlsaBackend::coarse_time() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &time);
    return milliseconds{time.tv_sec * 1000 + time.tv_nsec / 1'000'000};
}

OSStatus AlsaBackend::open_client(MIDIClientRef reference, std::string_view name) {
    state_->clients.try_emplace(reference, std::string(name));
    state_->is_up = false;
    state_->bring_up();
    return 0;
}

void AlsaBackend::close_client(MIDIClientRef reference) {
    state_->clients.erase(reference);
}

OSStatus AlsaBackend::open_port(MIDIPortRef port, MIDIClientRef reference, std::string_view name,
                                bool is_input) {
    return state_->clients.at(reference).add_port(port, std::string(name), is_input);
}

void AlsaBackend::close_port(MIDIPortRef port) {
    state_->owner(port).remove_port(port);
}

OSStatus AlsaBackend::connect(MIDIPortRef port, MIDIEndpointRef source) {
    state_->bring_up();
    state_->follow_announcements();
    const Object* object = state_->endpoints.find(source);
    if (!object || !object->is_in(ObjectList::sources))
        return -ENODEV;
    return state_->owner(port).connect(port, source, object->address);
}

OSStatus AlsaBackend::disconnect(MIDIPortRef port, MIDIEndpointRef source) {
    return state_->owner(port).disconnect(port, source);
}

std::span<const MIDIObjectRef> AlsaBackend::update(ObjectList list) {
    state_->bring_up();
    state_->follow_announcements();
    if (state_->sequencer) {
        if (list == ObjectList::devices)
            state_->refresh_devices();
        else
            state_->refresh_names();
    }
    return state_->endpoints.publish(list);
}

OSStatus AlsaBackend::text(MIDIObjectRef reference, TextProperty property, CFStringRef& value) {
    Object* object = state_->endpoints.find(reference);
    if (!object)
        return -ENODEV;
    const TextHandle& text = object->text(property);
    if (!text)
        return -ENODATA;
    value = share_text(text.get());
    return 0;
}

OSStatus AlsaBackend::offline(MIDIObjectRef reference, std::int32_t& value) {
    const EndpointList& endpoints = state_->endpoints;
    state_->follow_announcements();
    // Some changes are not announced: a port that is closed to others, for one.
    if (const Object* object = endpoints.find(reference); object && object->is_endpoint())
        state_->refresh(object->address);
    if (!endpoints.find(reference))
        return -ENODEV;
    value = 0;
    return 0;
}

OSStatus AlsaBackend::send(MIDIPortRef port, MIDIEndpointRef destination,
                           std::span<const std::uint8_t> messages) {
    MidiClient& client = state_->owner(port);
    // Before the first message to it: another port may own the destination's address by now. Later
    // the lost subscription shows that.
    if (!client.is_set_to(port, destination))
        state_->follow_announcements();
    const Object* object = state_->endpoints.find(destination);
    if (!object || !object->is_in(ObjectList::destinations))
        return -ENODEV;
    return client.send(port, destination, object->address, messages);
}

int AlsaBackend::changes() const {
    pollfd polled{.fd = -1, .events = 0, .revents = 0};
    if (state_->sequencer)
        snd_seq_poll_descriptors(state_->sequencer.get(), &polled, 1, POLLIN);
    return polled.fd;
}

std::optional<SequencerTrouble> AlsaBackend::trouble() const {
    return state_->error == 0 ? std::nullopt : std::optional(sequencer_trouble(state_->error));
}

std::optional<Address> AlsaBackend::address(MIDIEndpointRef endpoint) const {
    const Object* object = state_->endpoints.find(endpoint);
    return object && object->is_endpoint() ? std::optional(object->address) : std::nullopt;
}

std::optional<PortNeighbours> AlsaBackend::neighbours(MIDIEndpointRef endpoint) const {
    snd_seq_t* sequencer = state_->sequencer.get();
    const auto place = address(endpoint);
    if (!sequencer || !place || !query_port(sequencer, *place))
        return std::nullopt;
    const auto connected = [&](snd_seq_query_subs_type_t direction) {
        std::vector<ClientInfo> clients;
        for (const Address subscriber : query_subscribers(sequencer, *place, direction)) {
            const auto client = query_client(sequencer, subscriber.client);
            if (client && client->pid != getpid())
                clients.push_back(*client);
        }
        return clients;
    };
    return PortNeighbours{connected(SND_SEQ_QUERY_SUBS_READ), connected(SND_SEQ_QUERY_SUBS_WRITE)};
}

std::vector<ClientInfo> AlsaBackend::other_clients() const {
    if (!state_->sequencer)
        return {};
    auto clients = query_all_clients(state_->sequencer.get());
    std::erase_if(clients, [](const ClientInfo& client) { return client.pid == getpid(); });
    return clients;
}

int AlsaBackend::places_left() const {
    snd_seq_t* sequencer = state_->sequencer.get();
    return sequencer ? ::places_left(query_all_clients(sequencer), query_most_clients(sequencer))
                     : 0;
}
