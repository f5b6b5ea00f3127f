// SPDX-License-Identifier: MIT
#pragma once

#include "midi_service/alsa/alsa_backend.h"
#include "tests/midi_service/alsa_peer.h"
#include "tests/support/service_use.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

/// The application's client and ports over this computer's sequencer, and what arrives there.
class AlsaService : public testing::Test {
protected:
    AlsaService();
    ~AlsaService() override;

    [[nodiscard]] OSStatus send(MIDIEndpointRef to, const Bytes& message) const {
        return send_packets(out_, to, {message});
    }
    /// Waits until so many bytes have arrived, and gives all that have.
    [[nodiscard]] Bytes wait_for_bytes(std::size_t count);
    /// Whether this byte arrives within a time, or has already.
    [[nodiscard]] bool arrives(std::uint8_t byte, std::chrono::milliseconds within);
    /// While it is set, the callback waits: what arrives has to be kept by the sequencer.
    void hold_callbacks(bool hold);

    /// The address of one of the application's ports ("Input port"), as other programs see it.
    [[nodiscard]] static snd_seq_addr_t address_of(const AlsaPeer& looker, std::string_view name);
    /// The capability word of the port there.
    [[nodiscard]] static unsigned capabilities_of(const AlsaPeer& looker, snd_seq_addr_t address);
    /// How many ports the peer's first port receives from.
    [[nodiscard]] static int writers_of(const AlsaPeer& peer);

    /// Makes the names that were read so far too old to rely on.
    static void let_names_age() { clock_offset += std::chrono::milliseconds{100}; }

    /// The backend's clock stands still but for let_names_age().
    static inline std::chrono::milliseconds clock_offset{0};
    const std::unique_ptr<AlsaBackend> owned_ = AlsaBackend::create([] { return clock_offset; });
    AlsaBackend& backend_ = *owned_;
    MIDIClientRef client_ = 0;
    MIDIPortRef out_ = 0;
    MIDIPortRef in_ = 0;

private:
    static void read(const MIDIPacketList* list, void* test, void* source);

    std::mutex guard_;
    std::condition_variable changed_;
    Bytes bytes_;
    bool held_ = false;
};
