// SPDX-License-Identifier: MIT
#pragma once

#include "midi_service/alsa/sequencer.h"
#include "midi_service/midi_backend.h"

#include <mutex>
#include <optional>
#include <span>
#include <thread>
#include <vector>

/// Which source's messages go to which port of the service.
struct Route {
    std::uint8_t own_port;
    Address source;
    MIDIPortRef port;
    MIDIEndpointRef reference;
};

/// The receive thread of one sequencer client, from construction to destruction: delivers what
/// comes along a route and drops the rest. Only it reads from the sequencer. Other calls: screen
/// thread.
class ReceiveThread {
public:
    explicit ReceiveThread(snd_seq_t* sequencer);
    ~ReceiveThread();
    ReceiveThread(const ReceiveThread&) = delete;
    ReceiveThread& operator=(const ReceiveThread&) = delete;

    /// Opens a route; it takes the place of one between the same two ports.
    void add(const Route& route);
    /// Closes a route; the result is the route that was there.
    std::optional<Route> remove(MIDIPortRef port, MIDIEndpointRef source);
    void remove_port(MIDIPortRef port);
    [[nodiscard]] std::vector<Route> routes() const { return routes_; }

private:
    void run();
    [[nodiscard]] int read_events();
    void handle(const snd_seq_event_t& event);

    snd_seq_t* sequencer_;
    int stop_; ///< an eventfd: readable when the thread has to end
    std::mutex guard_;
    std::vector<Route> routes_; ///< changed on the screen thread with guard_ held
    std::thread thread_;
};
