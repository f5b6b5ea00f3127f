// SPDX-License-Identifier: MIT
#pragma once

#include "midi_service/alsa/event_codec.h"
#include "midi_service/alsa/sequencer.h"
#include "midi_service/annotated_mutex.h"
#include "midi_service/midi_types.h"

#include <optional>
#include <thread>
#include <vector>

/// Which source's messages go to which port of the service.
struct Route {
    std::uint8_t own_port;
    Address source;
    MIDIPortRef port;
    MIDIEndpointRef reference;
};

/// The receive thread of one sequencer client, from construction to destruction. It delivers what
/// comes along a route and drops the rest, and nobody else reads from the sequencer. Its functions
/// are for the calling thread.
class ReceiveThread {
public:
    explicit ReceiveThread(snd_seq_t* sequencer);
    ~ReceiveThread();
    ReceiveThread(const ReceiveThread&) = delete;
    ReceiveThread& operator=(const ReceiveThread&) = delete;

    /// Opens a route. It replaces one between the same two ports.
    void add(const Route& route);
    /// Closes a route; the result is the route that was there.
    std::optional<Route> remove(MIDIPortRef port, MIDIEndpointRef source);
    void remove_port(MIDIPortRef port);
    [[nodiscard]] std::vector<Route> routes() const;

private:
    void run();
    [[nodiscard]] int read_events();
    void handle(const snd_seq_event_t& event);

    snd_seq_t* sequencer_;
    int stop_; ///< an eventfd: readable when the thread has to end
    mutable Mutex guard_;
    std::vector<Route> routes_ GUARDED_BY(guard_);
    EventCodec codec_; ///< receive thread
    std::thread thread_;
};
