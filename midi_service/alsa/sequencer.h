// SPDX-License-Identifier: MIT
#pragma once

#include "midi_service/midi_service.h"

#include <alsa/asoundlib.h>
#include <cstdint>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

// The sequencer's own calls, with their results as values. Errors are negative errnos as alsa-lib
// gives them; to_status() makes a status of one.

/// A port of the sequencer.
struct Address {
    std::uint8_t client = 0;
    std::uint8_t port = 0;
    bool operator==(const Address&) const = default;
    bool operator<(const Address& other) const {
        return std::tie(client, port) < std::tie(other.client, other.port);
    }
};

struct PortInfo {
    Address address;
    std::string name;
    unsigned capabilities = 0; ///< SND_SEQ_PORT_CAP_ bits
};

struct ClientInfo {
    std::string name;
    int card = -1; ///< number of the sound card behind it, or -1
};

struct CloseSequencer {
    void operator()(snd_seq_t* sequencer) const { snd_seq_close(sequencer); }
};
using Sequencer = std::unique_ptr<snd_seq_t, CloseSequencer>;

/// The service's status for the result of a sequencer's call: 0 for 0 and more, -ENODEV where the
/// port or the client asked for is not there.
[[nodiscard]] OSStatus to_status(int result);

/// Joins the sequencer as a client that never blocks. 0 or an error, which leaves `opened` alone.
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
/// Every port there is, in order.
[[nodiscard]] std::vector<PortInfo> query_all_ports(snd_seq_t* sequencer);
