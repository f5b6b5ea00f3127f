// SPDX-License-Identifier: MIT
#pragma once

#include "midi_service/alsa/sequencer_types.h"
#include "midi_service/midi_types.h"

#include <alsa/asoundlib.h>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// alsa-lib's sequencer calls, with their results as values. Errors are alsa-lib's negative errnos;
// to_status() turns one into a status.

struct CloseSequencer {
    void operator()(snd_seq_t* sequencer) const { snd_seq_close(sequencer); }
};
using Sequencer = std::unique_ptr<snd_seq_t, CloseSequencer>;

/// The service's status for the result of a sequencer call: 0 for success, -ENODEV when the port or
/// client does not exist.
[[nodiscard]] OSStatus to_status(int result);

/// Joins the sequencer as a client that never blocks. 0 or an error, which leaves `opened` alone.
/// Silences alsa-lib, which would write messages of its own to standard error.
[[nodiscard]] int open_sequencer(const std::string& name, Sequencer& opened);

/// Hands events to `handle`: what is in the library's buffer, or what one read of the kernel's
/// gives. 0 or an error, -EAGAIN when there is nothing.
template<typename Handle>
[[nodiscard]] int read_events(snd_seq_t* sequencer, Handle handle) {
    do {
        snd_seq_event_t* event = nullptr;
        const int result = snd_seq_event_input(sequencer, &event);
        if (result < 0)
            return result;
        handle(*event);
    } while (snd_seq_event_input_pending(sequencer, 0) > 0);
    return 0;
}

/// Creates a port. Its number, or an error.
[[nodiscard]] int create_port(snd_seq_t* sequencer, const std::string& name, unsigned capabilities);

/// Connect and disconnect two ports, one of which is the client's own. Connecting twice succeeds.
/// 0 or an error.
[[nodiscard]] int subscribe(snd_seq_t* sequencer, Address from, Address to);
[[nodiscard]] int unsubscribe(snd_seq_t* sequencer, Address from, Address to);
/// Whether the two are connected. Our connections end when one of the ports goes, and in no other
/// way: they are closed to other programs.
[[nodiscard]] bool is_subscribed(snd_seq_t* sequencer, Address from, Address to);

/// A port or a client as it is now; nothing when it does not exist.
[[nodiscard]] std::optional<PortInfo> query_port(snd_seq_t* sequencer, Address address);
[[nodiscard]] std::optional<ClientInfo> query_client(snd_seq_t* sequencer, std::uint8_t client);
/// All clients and all ports, in order.
[[nodiscard]] std::vector<ClientInfo> query_all_clients(snd_seq_t* sequencer);
[[nodiscard]] std::vector<PortInfo> query_all_ports(snd_seq_t* sequencer);
/// The ports that read what a port sends (SND_SEQ_QUERY_SUBS_READ), or that write to it (_WRITE).
[[nodiscard]] std::vector<Address> query_subscribers(snd_seq_t* sequencer, Address port,
                                                     snd_seq_query_subs_type_t direction);
/// How many clients the sequencer numbers at most, or an error.
[[nodiscard]] int query_most_clients(snd_seq_t* sequencer);
