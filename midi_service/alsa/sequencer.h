// SPDX-License-Identifier: MIT
#pragma once

#include "midi_service/alsa/sequencer_types.h"
#include "midi_service/midi_types.h"

#include <alsa/asoundlib.h>
#include <memory>
#include <string>
#include <vector>

// The sequencer's own calls, with their results as values. Errors are negative errnos as alsa-lib
// gives them; to_status() makes a status of one.

struct CloseSequencer {
    void operator()(snd_seq_t* sequencer) const { snd_seq_close(sequencer); }
};
using Sequencer = std::unique_ptr<snd_seq_t, CloseSequencer>;

/// The service's status for the result of a sequencer's call: 0 for 0 and more, -ENODEV where the
/// port or the client asked for is not there.
[[nodiscard]] OSStatus to_status(int result);

/// Joins the sequencer as a client that never blocks. 0 or an error, which leaves `opened` alone.
/// Silences alsa-lib, which would write messages of its own to standard error.
[[nodiscard]] int open_sequencer(const std::string& name, Sequencer& opened);

/// Creates a port of a program that makes no sound by itself. Its number, or an error.
[[nodiscard]] int create_port(snd_seq_t* sequencer, const std::string& name, unsigned capabilities);

/// Starts and ends the flow between two ports, one of which is the client's own. Starting one that
/// is there already succeeds. 0 or an error.
[[nodiscard]] int subscribe(snd_seq_t* sequencer, Address from, Address to);
[[nodiscard]] int unsubscribe(snd_seq_t* sequencer, Address from, Address to);
/// Whether it is there. A port that goes takes its subscriptions along, and no other program can
/// end one of ours.
[[nodiscard]] bool is_subscribed(snd_seq_t* sequencer, Address from, Address to);

/// What the sequencer says of a port or a client now. 0 or an error: -ENOENT when it is not there.
[[nodiscard]] int query_port(snd_seq_t* sequencer, Address address, PortInfo& info);
[[nodiscard]] int query_client(snd_seq_t* sequencer, std::uint8_t client, ClientInfo& info);
/// Every client and every port there is, in order.
[[nodiscard]] std::vector<ClientInfo> query_all_clients(snd_seq_t* sequencer);
[[nodiscard]] std::vector<PortInfo> query_all_ports(snd_seq_t* sequencer);
/// The ports that read what a port sends (SND_SEQ_QUERY_SUBS_READ), or that write to it (_WRITE).
[[nodiscard]] std::vector<Address> query_subscribers(snd_seq_t* sequencer, Address port,
                                                     snd_seq_query_subs_type_t direction);
/// How many clients the sequencer numbers at most, or an error.
[[nodiscard]] int query_most_clients(snd_seq_t* sequencer);
