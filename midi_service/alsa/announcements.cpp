// SPDX-License-Identifier: MIT
#include "midi_service/alsa/announcements.h"

#include <cerrno>
#include <poll.h>

namespace {
constexpr Address announcer{SND_SEQ_CLIENT_SYSTEM, SND_SEQ_PORT_SYSTEM_ANNOUNCE};
} // namespace

int Announcements::open() {
    Sequencer sequencer;
    if (const int result = open_sequencer("MIDI Client announcements", sequencer); result < 0)
        return result;
    const int port = create_port(sequencer.get(), "Announcements",
                                 SND_SEQ_PORT_CAP_WRITE | SND_SEQ_PORT_CAP_NO_EXPORT);
    if (port < 0)
        return port;
    const Address own{static_cast<std::uint8_t>(snd_seq_client_id(sequencer.get())),
                      static_cast<std::uint8_t>(port)};
    if (const int result = subscribe(sequencer.get(), announcer, own); result < 0)
        return result;
    sequencer_ = std::move(sequencer);
    return 0;
}

void Announcements::read_all(EndpointList& endpoints) {
    endpoints.replace_all(query_all_ports(sequencer_.get()));
}

bool Announcements::follow(EndpointList& endpoints) {
    // The library's buffer has room for all events that the kernel keeps for a client: a single
    // read gets them all.
    do {
        snd_seq_event_t* event = nullptr;
        const int result = snd_seq_event_input(sequencer_.get(), &event);
        if (result == -ENOSPC)
            return false;
        if (result < 0)
            break;
        apply(endpoints, *event);
    } while (snd_seq_event_input_pending(sequencer_.get(), 0) > 0);
    return true;
}

void Announcements::refresh(EndpointList& endpoints, Address address) {
    PortInfo info;
    if (query_port(sequencer_.get(), address, info) < 0)
        endpoints.remove(address);
    else
        endpoints.put(info);
}

int Announcements::descriptor() const {
    pollfd polled{.fd = -1, .events = 0, .revents = 0};
    if (is_open())
        snd_seq_poll_descriptors(sequencer_.get(), &polled, 1, POLLIN);
    return polled.fd;
}

void Announcements::apply(EndpointList& endpoints, const snd_seq_event_t& event) {
    // Any client can send here. Believe only the system announcer, 0:1.
    if (Address{event.source.client, event.source.port} != announcer)
        return;
    const Address subject{event.data.addr.client, event.data.addr.port};
    switch (event.type) {
    case SND_SEQ_EVENT_PORT_START:
    case SND_SEQ_EVENT_PORT_CHANGE:
        return refresh(endpoints, subject);
    case SND_SEQ_EVENT_PORT_EXIT:
        return endpoints.remove(subject);
    default:
        return;
    }
}
