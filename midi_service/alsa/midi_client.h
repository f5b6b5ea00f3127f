// SPDX-License-Identifier: MIT
#pragma once

#include "midi_service/alsa/event_codec.h"
#include "midi_service/alsa/sequencer.h"
#include "midi_service/midi_types.h"

#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

/// One client of the service with its ports, on the sequencer as soon as there is one. Statuses are
/// the service's. Calling thread.
class MidiClient {
public:
    explicit MidiClient(std::string name);
    ~MidiClient(); ///< once it returns, no message of the client's ports is delivered
    MidiClient(const MidiClient&) = delete;
    MidiClient& operator=(const MidiClient&) = delete;

    [[nodiscard]] bool owns(MIDIPortRef port) const { return ports_.contains(port); }

    /// Joins the sequencer with all ports. 0 or a negative errno; then it has not joined.
    [[nodiscard]] int open();
    [[nodiscard]] bool is_open() const { return sequencer_ != nullptr; }

    /// Ports can come before the client is open.
    [[nodiscard]] OSStatus add_port(MIDIPortRef port, std::string name, bool is_input);
    void remove_port(MIDIPortRef port);

    [[nodiscard]] OSStatus connect(MIDIPortRef port, MIDIEndpointRef source, Address address);
    [[nodiscard]] OSStatus disconnect(MIDIPortRef port, MIDIEndpointRef source);

    /// Whether an output port is subscribed to this destination, or was until the destination went.
    [[nodiscard]] bool is_set_to(MIDIPortRef port, MIDIEndpointRef destination) const;
    [[nodiscard]] OSStatus send(MIDIPortRef port, MIDIEndpointRef destination, Address address,
                                std::span<const std::uint8_t> messages);

    /// The endpoints whose subscriptions are gone, and so are they.
    [[nodiscard]] std::vector<Address> lost_endpoints() const;

private:
    class ReceiveThread;
    struct Port {
        std::string name;
        bool is_input;
        std::uint8_t number = 0;         ///< when the client is open
        MIDIEndpointRef destination = 0; ///< that an output port is subscribed to, or 0
        Address destination_address{};
    };

    [[nodiscard]] int create(snd_seq_t* sequencer, Port& port) const;
    [[nodiscard]] Address own_address(const Port& port) const;
    [[nodiscard]] int switch_to(Port& port, MIDIEndpointRef destination, Address address);
    [[nodiscard]] int output_all(const Port& port, std::span<const std::uint8_t> messages);
    [[nodiscard]] int output(const Port& port, std::span<const std::uint8_t> piece);

    std::string name_;
    std::map<MIDIPortRef, Port> ports_;
    EventCodec codec_;
    Sequencer sequencer_;
    std::unique_ptr<ReceiveThread> receive_thread_; ///< last: it ends before the sequencer is left
};
