// SPDX-License-Identifier: MIT
#pragma once

#include "midi_service/midi_backend.h"
#include "tests/support/service_use.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

// What every backend promises, as test cases over the operations of midi_service.h. A test program
// links test_backend_contract, brings a world for its backend and instantiates the cases:
//
//     INSTANTIATE_TEST_SUITE_P(Embedded, BackendContract, testing::Values(&make_embedded_world));
//
// Other endpoints may be there all the time: the cases know their peers by name.

/// The other side of the service: peers that a test attaches, each one source, destination and
/// device under one name. What is detached stays detached; the world's end detaches the rest.
class ContractWorld {
public:
    using Peer = std::size_t;

    ContractWorld() = default;
    ContractWorld(const ContractWorld&) = delete;
    ContractWorld& operator=(const ContractWorld&) = delete;
    virtual ~ContractWorld() = default;

    /// The backend under test. It is installed and uninstalled by the fixture.
    [[nodiscard]] virtual MidiBackend& backend() = 0;

    /// These return when the change has reached the system that the backend asks.
    [[nodiscard]] virtual Peer attach(std::string_view utf8_name) = 0;
    virtual void rename(Peer peer, std::string_view utf8_name) = 0;
    virtual void detach(Peer peer) = 0;
    /// Makes the names that the backend has read too old to rely on.
    virtual void let_names_age() = 0;
    /// Lets a peer send whole messages, in this order.
    virtual void emit(Peer peer, const Bytes& messages) = 0;

    /// Every byte that reached the peer so far. Call it in a condition of wait_until() only.
    [[nodiscard]] const Bytes& received(Peer peer) const { return received_[peer]; }

    /// Writes something down for the conditions of wait_until() to see. Any thread.
    void happened(const std::function<void()>& write_down);
    /// True as soon as the condition holds, false when it does not within ten seconds.
    [[nodiscard]] bool wait_until(const std::function<bool()>& condition);

protected:
    /// Makes room for the bytes of the next peer; what is given has to be called with them.
    [[nodiscard]] std::function<void(std::span<const std::uint8_t> sent)> next_receiver();

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Bytes> received_; ///< a peer's bytes stay where they are
};

using MakeContractWorld = std::unique_ptr<ContractWorld> (*)();

/// One call of a read callback.
struct ContractCall {
    Bytes bytes;
    std::uint32_t packets;
    void* source_context;
    std::thread::id thread;
};

inline const Bytes every_kind_of_message{
    0x80, 0x01, 0x02, 0x9F, 0x7F, 0x00, 0xA1, 0x03, 0x04, 0xBF, 0x7F, 0x7F, 0xC2, 0x05,
    0xD3, 0x06, 0xE4, 0x00, 0x40, 0xE5, 0x7F, 0x7F, 0xF1, 0x35, 0xF2, 0x07, 0x08, 0xF3,
    0x09, 0xF6, 0xF8, 0xFA, 0xFB, 0xFC, 0xFE, 0xFF, 0xF0, 0x0A, 0x0B, 0xF7, 0xF0, 0xF7};

/// What an input port's callback was called with; the port's context points to it.
struct ContractInbox {
    ContractWorld* world;
    std::vector<ContractCall> calls{};

    static void read(const MIDIPacketList* list, void* port_context, void* source_context);
    /// The bytes of all calls. In a condition of wait_until() only.
    [[nodiscard]] Bytes bytes() const;
};

/// A client with an output and an input port over a fresh backend.
class BackendContract : public testing::TestWithParam<MakeContractWorld> {
protected:
    BackendContract();
    ~BackendContract() override;

    /// An object's name in Mac Roman; "(null)" when it has none.
    [[nodiscard]] static std::string name_of(MIDIObjectRef object);

    /// One more input port with the callback and the inbox.
    [[nodiscard]] MIDIPortRef input_port(ContractInbox& inbox);
    /// Sends each of the messages as a packet of its own, in one list, through `out_` or `port`.
    [[nodiscard]] OSStatus send(MIDIEndpointRef to, const std::vector<Bytes>& messages,
                                MIDIPortRef port = 0) const {
        return send_packets(port != 0 ? port : out_, to, messages);
    }
    /// Waits until so many bytes have come, and gives all that have come.
    [[nodiscard]] Bytes wait_for_bytes(ContractWorld::Peer peer, std::size_t count);
    [[nodiscard]] Bytes wait_for_bytes(ContractInbox& inbox, std::size_t count);

    /// Connects a peer to the input port and to another one, makes a change, lets the peer send two
    /// messages, and expects none at the input port: the other one tells when the second has come,
    /// and so the first would have.
    void expect_silence_after(const std::function<OSStatus(MIDIEndpointRef from)>& change);

    std::unique_ptr<ContractWorld> world_;
    ContractInbox inbox_;
    ContractInbox other_inbox_;
    MIDIClientRef client_ = 0;
    MIDIPortRef out_ = 0;
    MIDIPortRef in_ = 0;

private:
    [[nodiscard]] Bytes wait_for_bytes(const std::function<Bytes()>& so_far, std::size_t count);
};
