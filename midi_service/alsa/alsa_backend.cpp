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

/// See AlsaBackend. Its data are the calling thread's, as the service is.
class SequencerBackend final : public AlsaBackend {
public:
    explicit SequencerBackend(Clock clock) : clock_(clock) {}

    OSStatus open_client(MIDIClientRef reference, std::string_view name) override {
        clients_.try_emplace(reference, std::string(name));
        is_up_ = false;
        bring_up();
        return 0;
    }

    void close_client(MIDIClientRef reference) override { clients_.erase(reference); }

    OSStatus open_port(MIDIPortRef port, MIDIClientRef reference, std::string_view name,
                       bool is_input) override {
        return clients_.at(reference).add_port(port, std::string(name), is_input);
    }

    void close_port(MIDIPortRef port) override { owner(port).remove_port(port); }

    OSStatus connect(MIDIPortRef port, MIDIEndpointRef source) override {
        bring_up();
        follow_announcements();
        const Object* object = endpoints_.find(source);
        if (!object || !object->is_in(ObjectList::sources))
            return -ENODEV;
        return owner(port).connect(port, source, object->address);
    }

    OSStatus disconnect(MIDIPortRef port, MIDIEndpointRef source) override {
        return owner(port).disconnect(port, source);
    }

    std::span<const MIDIObjectRef> update(ObjectList list) override {
        bring_up();
        follow_announcements();
        if (sequencer_) {
            if (list == ObjectList::devices)
                refresh_devices();
            else
                refresh_names();
        }
        return endpoints_.publish(list);
    }

    OSStatus text(MIDIObjectRef reference, TextProperty property, CFStringRef& value) override {
        Object* object = endpoints_.find(reference);
        if (!object)
            return -ENODEV;
        const TextHandle& text = object->text(property);
        if (!text)
            return -ENODATA;
        value = share_text(text.get());
        return 0;
    }

    OSStatus offline(MIDIObjectRef reference, std::int32_t& value) override {
        follow_announcements();
        // Some changes are not announced: a port that is closed to others, for one.
        if (const Object* object = endpoints_.find(reference); object && object->is_endpoint())
            refresh(object->address);
        if (!endpoints_.find(reference))
            return -ENODEV;
        value = 0;
        return 0;
    }

    OSStatus send(MIDIPortRef port, MIDIEndpointRef destination,
                  std::span<const std::uint8_t> messages) override {
        MidiClient& client = owner(port);
        // Before the first message to it: another port may own the destination's address by now.
        // Later the lost subscription shows that.
        if (!client.is_set_to(port, destination))
            follow_announcements();
        const Object* object = endpoints_.find(destination);
        if (!object || !object->is_in(ObjectList::destinations))
            return -ENODEV;
        return client.send(port, destination, object->address, messages);
    }

    [[nodiscard]] int changes() const override {
        pollfd polled{.fd = -1, .events = 0, .revents = 0};
        if (sequencer_)
            snd_seq_poll_descriptors(sequencer_.get(), &polled, 1, POLLIN);
        return polled.fd;
    }

    [[nodiscard]] std::optional<SequencerTrouble> trouble() const override {
        return error_ == 0 ? std::nullopt : std::optional(sequencer_trouble(error_));
    }

    [[nodiscard]] std::optional<Address> address(MIDIEndpointRef endpoint) const override {
        const Object* object = endpoints_.find(endpoint);
        return object && object->is_endpoint() ? std::optional(object->address) : std::nullopt;
    }

    [[nodiscard]] std::optional<PortNeighbours>
    neighbours(MIDIEndpointRef endpoint) const override {
        const auto place = address(endpoint);
        if (!sequencer_ || !place || !query_port(sequencer_.get(), *place))
            return std::nullopt;
        const auto connected = [&](snd_seq_query_subs_type_t direction) {
            std::vector<ClientInfo> clients;
            for (const Address subscriber :
                 query_subscribers(sequencer_.get(), *place, direction)) {
                const auto client = query_client(sequencer_.get(), subscriber.client);
                if (client && client->pid != getpid())
                    clients.push_back(*client);
            }
            return clients;
        };
        return PortNeighbours{connected(SND_SEQ_QUERY_SUBS_READ),
                              connected(SND_SEQ_QUERY_SUBS_WRITE)};
    }

    [[nodiscard]] std::vector<ClientInfo> other_clients() const override {
        if (!sequencer_)
            return {};
        auto clients = query_all_clients(sequencer_.get());
        std::erase_if(clients, [](const ClientInfo& client) { return client.pid == getpid(); });
        return clients;
    }

    [[nodiscard]] int places_left() const override {
        if (!sequencer_)
            return 0;
        return ::places_left(query_all_clients(sequencer_.get()),
                             query_most_clients(sequencer_.get()));
    }

private:
    /// Opens on the sequencer whatever is not open yet.
    void bring_up() {
        if (is_up_)
            return;
        int result = sequencer_ ? 0 : open_announcements();
        for (auto& [reference, client] : clients_) {
            if (result == 0 && !client.is_open())
                result = client.open();
        }
        is_up_ = result == 0;
        error_ = -result;
    }

    /// Also reads what is there. 0 or a negative errno.
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
        sequencer_ = std::move(opened);
        name_table_.open();
        read_all();
        return 0;
    }

    void read_all() {
        names_read_ = clock_();
        endpoints_.replace_all(query_all_ports(sequencer_.get()));
    }

    /// From here on the objects are as they are now, but for changes that are not announced.
    void follow_announcements() {
        // The library's buffer has room for all events that the kernel keeps for a client: a single
        // read gets them all. Each port that started or changed takes one more system call.
        const auto take = [this](const snd_seq_event_t& announcement) { apply(announcement); };
        while (sequencer_ && read_events(sequencer_.get(), take) == -ENOSPC) {
            // Announcements were lost. Where a subscription of ours is gone, so is the port, even
            // if another one has its address by now.
            for (const auto& [reference, client] : clients_) {
                for (const Address lost : client.lost_endpoints())
                    endpoints_.remove(lost);
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
            return endpoints_.remove(subject);
        default:
            return;
        }
    }

    /// Asks the sequencer about one port.
    void refresh(Address address) {
        if (const auto info = query_port(sequencer_.get(), address))
            endpoints_.put(*info);
        else
            endpoints_.remove(address);
    }

    /// The kernel does not announce new names (Linux 6.1).
    void refresh_names() {
        const milliseconds now = clock_();
        if (now - names_read_ < names_stay_good)
            return;
        names_read_ = now;
        for (const Address address : name_table_.suspects(endpoints_))
            refresh(address);
    }

    void refresh_devices() {
        int asked = -1; // a client with several ports is asked once
        for (const Address address : endpoints_.addresses()) {
            if (std::exchange(asked, address.client) == address.client)
                continue;
            const auto info = query_client(sequencer_.get(), address.client);
            if (!info)
                continue; // it went a moment ago, and its ports go with it
            const Object* device = endpoints_.find({address.client, whole_client});
            if (!device || device->name() != info->name)
                endpoints_.put_device(address.client, device_texts(*info));
        }
    }

    /// The client of a port, which is open: the service asks for no others.
    [[nodiscard]] MidiClient& owner(MIDIPortRef port) {
        const auto owns = [port](const auto& client) { return client.second.owns(port); };
        return std::ranges::find_if(clients_, owns)->second;
    }

    const Clock clock_;
    /// For the announcements of ports that start, change and go, and for questions; null while
    /// there is no sequencer. It is a client of its own: no flood of MIDI can push an announcement
    /// out, and nothing wakes the program up until it reads them.
    Sequencer sequencer_;
    EndpointList endpoints_;
    NameTable name_table_;
    milliseconds names_read_{0}; ///< when every endpoint's name was read last
    bool is_up_ = false;         ///< the announcements and all clients are open
    int error_ = 0;              ///< why not: a positive errno
    std::map<MIDIClientRef, MidiClient> clients_;
};

} // namespace

std::unique_ptr<AlsaBackend> AlsaBackend::create(Clock clock) {
    return std::make_unique<SequencerBackend>(clock);
}

milliseconds AlsaBackend::coarse_time() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &time);
    return milliseconds{time.tv_sec * 1000 + time.tv_nsec / 1'000'000};
}
