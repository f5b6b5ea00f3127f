// SPDX-License-Identifier: MIT
#pragma once

#include <alsa/asoundlib.h>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <thread>

/// Another program on the sequencer, with one port that can be subscribed to in both directions.
/// Whatever fails ends the test program.
class AlsaPeer {
public:
    /// Called with the bytes of each event that arrives, on the peer's own thread.
    using Receiver = std::function<void(std::span<const std::uint8_t> bytes)>;

    static constexpr unsigned everything = SND_SEQ_PORT_CAP_READ | SND_SEQ_PORT_CAP_SUBS_READ |
                                           SND_SEQ_PORT_CAP_WRITE | SND_SEQ_PORT_CAP_SUBS_WRITE;

    /// Client and port have the same name. Without a receiver nothing is read.
    explicit AlsaPeer(const std::string& name, Receiver receiver = {},
                      unsigned capabilities = everything);
    ~AlsaPeer();
    AlsaPeer(const AlsaPeer&) = delete;
    AlsaPeer& operator=(const AlsaPeer&) = delete;

    void rename(const std::string& name); ///< client and port
    void rename_port(const std::string& name);
    /// Adds a port; the result is its number.
    int add_port(const std::string& name, unsigned capabilities = everything);
    void remove_port(int port);

    /// Sends messages to whoever has subscribed to the port, or straight to an address.
    void emit(std::span<const std::uint8_t> messages);
    void emit_to(snd_seq_addr_t address, std::span<const std::uint8_t> messages);
    /// Sends one event as it is, straight to an address.
    void send_event(snd_seq_event_t event, snd_seq_addr_t address);

    [[nodiscard]] int client() const { return snd_seq_client_id(sequencer_); }
    [[nodiscard]] snd_seq_t* sequencer() const { return sequencer_; }

private:
    void receive();
    void emit_events(std::span<const std::uint8_t> messages,
                     const std::function<void(snd_seq_event_t&)>& address);

    snd_seq_t* sequencer_ = nullptr;
    Receiver receiver_;
    int stop_;
    std::thread thread_;
};
