// SPDX-License-Identifier: MIT
#pragma once

#include "bench/probes.h"
#include "tests/midi_service/alsa_peer.h"
#include "tests/midi_service/system_calls.h"

#include <deque>

/// Other programs on the sequencer, with so many ports together.
class Crowd {
public:
    explicit Crowd(std::int64_t ports) {
        const std::int64_t ports_of_each = (ports + most_peers - 1) / most_peers;
        for (std::int64_t port = 0; port < ports; ++port) {
            if (port % ports_of_each == 0)
                peers_.emplace_back(port_name(port));
            else
                peers_.back().add_port(port_name(port));
        }
    }

    [[nodiscard]] AlsaPeer& any() { return peers_.front(); }

private:
    static constexpr std::int64_t most_peers = 32; // the sequencer has room for 64 programs

    std::deque<AlsaPeer> peers_{};
};

/// How a program without a list of its own sees the sources: it asks for every client and every
/// port. The visitor gets the address and the name of each source.
template<typename Visitor>
void query_all_sources(snd_seq_t* sequencer, Visitor visit) {
    snd_seq_client_info_t* client = nullptr;
    snd_seq_client_info_alloca(&client);
    snd_seq_port_info_t* port = nullptr;
    snd_seq_port_info_alloca(&port);
    snd_seq_client_info_set_client(client, -1);
    while (snd_seq_query_next_client(sequencer, client) >= 0) {
        snd_seq_port_info_set_client(port, snd_seq_client_info_get_client(client));
        snd_seq_port_info_set_port(port, -1);
        while (snd_seq_query_next_port(sequencer, port) >= 0) {
            if ((snd_seq_port_info_get_capability(port) & SND_SEQ_PORT_CAP_SUBS_READ) != 0)
                visit(*snd_seq_port_info_get_addr(port), snd_seq_port_info_get_name(port));
        }
    }
}
