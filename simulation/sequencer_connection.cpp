// SPDX-License-Identifier: MIT
#include "simulation/sequencer_connection.h"

#include "midi_service/alsa/sequencer_trouble.h"

#include <cerrno>

#include <poll.h>

namespace {

int check(int result) {
    if (result < 0)
        throw MachineError(sequencer_trouble(-result).line());
    return result;
}

} // namespace

SequencerMachine::SequencerMachine(std::uint32_t code, MachineFaults faults,
                                   MachineWatcher& watcher, const std::string& client,
                                   const std::string& port)
    : ConnectedMachine(code, faults, watcher, std::chrono::milliseconds(0)),
      client_(client.empty() ? name() : client),
      port_name_(port.empty() ? name() + " MIDI 1" : port) {
    SequencerMachine::plug();
}

std::string SequencerMachine::place() const {
    return "client " + std::to_string(snd_seq_client_id(sequencer_.get())) + " of the sequencer";
}

int SequencerMachine::descriptor() const {
    pollfd polled{.fd = -1, .events = 0, .revents = 0};
    if (sequencer_)
        snd_seq_poll_descriptors(sequencer_.get(), &polled, 1, POLLIN);
    return polled.fd;
}

void SequencerMachine::plug() {
    check(open_sequencer(client_, sequencer_));
    constexpr unsigned ways = SND_SEQ_PORT_CAP_READ | SND_SEQ_PORT_CAP_SUBS_READ |
                              SND_SEQ_PORT_CAP_WRITE | SND_SEQ_PORT_CAP_SUBS_WRITE |
                              SND_SEQ_PORT_CAP_DUPLEX;
    port_ = check(create_port(sequencer_.get(), port_name_, ways));
}

void SequencerMachine::pull() {
    sequencer_.reset();
}

void SequencerMachine::read() {
    int left = 1;
    while (left > 0 && sequencer_) {
        snd_seq_event_t* event = nullptr;
        left = snd_seq_event_input(sequencer_.get(), &event);
        // ENOSPC: the kernel's queue overflowed. Those events are lost, as on a cable.
        if (left == -EAGAIN || left == -ENOSPC)
            return;
        check(left);
        const auto bytes = codec_.decode(*event);
        if (!bytes.empty())
            take(bytes);
    }
}

void SequencerMachine::write(std::span<const std::uint8_t> message) {
    snd_seq_event_t event;
    snd_seq_ev_clear(&event);
    codec_.encode(message, event);
    snd_seq_ev_set_source(&event, static_cast<unsigned char>(port_));
    snd_seq_ev_set_subs(&event);
    snd_seq_ev_set_direct(&event);
    // A reply that cannot be delivered is lost, as on a cable.
    (void)snd_seq_event_output_direct(sequencer_.get(), &event);
}
