// SPDX-License-Identifier: MIT
#pragma once

#include "midi_service/embedded/embedded_backend.h"
#include "tests/support/service_use.h"

#include <utility>

using std::chrono::microseconds;
using std::chrono::milliseconds;

/// A client with its two ports over the embedded service. With manual time, what arrives at the
/// input port has arrived when advance() returns.
class EmbeddedService : public testing::Test {
protected:
    explicit EmbeddedService(EmbeddedBackend::Time time = EmbeddedBackend::Time::manual)
        : service_(time) {
        install_midi_backend(&service_);
        EXPECT_EQ(MIDIClientCreate(CFSTR("MIDI Client"), nullptr, nullptr, &client_), 0);
        EXPECT_EQ(MIDIOutputPortCreate(client_, CFSTR("Output port"), &out_), 0);
        EXPECT_EQ(MIDIInputPortCreate(client_, CFSTR("Input port"), read, this, &in_), 0);
    }
    ~EmbeddedService() override { install_midi_backend(nullptr); }

    static void read(const MIDIPacketList* list, void* port_context, void*) {
        const MIDIPacket& packet = list->packet[0];
        static_cast<EmbeddedService*>(port_context)
            ->heard_.emplace_back(packet.data, packet.data + packet.length);
    }

public: // also for callbacks
    OSStatus send(MIDIEndpointRef to, const std::vector<Bytes>& packets) {
        return send_packets(out_, to, packets);
    }

    void emit(MIDIObjectRef object, const Bytes& bytes, microseconds after = microseconds{0}) {
        service_.emit(object, bytes, after);
    }

    [[nodiscard]] microseconds service_now() const { return service_.now(); }

protected:
    static EmbeddedObject named(const char* name) { return {.name = name}; }

    /// Attached, and connected to the input port.
    MIDIObjectRef connected(const char* name) {
        const MIDIObjectRef object = service_.attach(named(name));
        EXPECT_EQ(MIDIPortConnectSource(in_, object, nullptr), 0);
        return object;
    }

    /// What has arrived since the last call when so much time has passed. Bytes that are due at
    /// once may arrive before the call.
    std::vector<Bytes> heard_within(microseconds time) {
        service_.advance(time);
        return std::exchange(heard_, {});
    }

    EmbeddedBackend service_;
    MIDIClientRef client_ = 0;
    MIDIPortRef out_ = 0;
    MIDIPortRef in_ = 0;
    std::vector<Bytes> heard_; ///< written by the receive thread, which advance() waits for
};
