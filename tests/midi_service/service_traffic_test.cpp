// SPDX-License-Identifier: MIT
#include "tests/midi_service/recording_backend.h"

#include <atomic>
#include <cerrno>
#include <functional>
#include <thread>

namespace {

/// What the callback saw.
struct Calls {
    std::vector<Bytes> bytes{};
    std::vector<void*> source_contexts{};
    std::vector<MIDITimeStamp> times{};

    static void read(const MIDIPacketList* list, void* port_context, void* source_context) {
        auto& calls = *static_cast<Calls*>(port_context);
        EXPECT_EQ(list->numPackets, 1U);
        const MIDIPacket& packet = list->packet[0];
        calls.bytes.emplace_back(packet.data, packet.data + packet.length);
        calls.source_contexts.push_back(source_context);
        const MIDITimeStamp time = packet.timeStamp; // the packed one cannot be referred to
        calls.times.push_back(time);
    }
};

/// The list of a thousand bytes that the device layer sends.
class Sending : public Service {
protected:
    void add(const Bytes& bytes) {
        current_ =
            MIDIPacketListAdd(list_, room_.size(), current_, 1000, bytes.size(), bytes.data());
        ASSERT_NE(current_, nullptr);
    }

    alignas(MIDIPacketList) std::array<std::byte, 1024> room_{};
    MIDIPacketList* list_ = reinterpret_cast<MIDIPacketList*>(room_.data());
    MIDIPacket* current_ = MIDIPacketListInit(list_);
    MIDIPortRef out_ = output(client());
};

} // namespace

TEST_F(Sending, PacketsGoToTheBackendInOrder) {
    add({0xF8});
    add({0x90, 0x40, 0x00});
    add({0xF0, 0x01, 0xF7});
    EXPECT_EQ(MIDISend(out_, peer_, list_), 0);
    EXPECT_EQ(backend_.sent, (Bytes{0xF8, 0x90, 0x40, 0x00, 0xF0, 0x01, 0xF7}));
    EXPECT_EQ(backend_.take().back(), "send " + std::to_string(out_) + ' ' + std::to_string(peer_));
}

TEST_F(Sending, ConfirmedCommandIsTenEventsOnTheWire) {
    // The device layer's way: the buffer is cleared between the steps, never initialised again,
    // and the position of the last append is kept.
    const auto zero = [this] { room_.fill(std::byte{0}); };
    zero();
    for (int i = 0; i < 6; ++i) {
        add({0xF8});
        EXPECT_EQ(MIDISend(out_, peer_, list_), 0);
    }
    for (const Bytes& event :
         {Bytes{0x90, 0x10, 0x22}, Bytes{0x80, 0x10, 0x22}, Bytes{0xB0, 0x10, 0x22}, Bytes{0xF8}}) {
        zero();
        add(event);
        EXPECT_EQ(MIDISend(out_, peer_, list_), 0);
    }
    EXPECT_EQ(backend_.sent, (Bytes{0xF8, 0xF8, 0xF8, 0xF8, 0xF8, 0xF8, 0x90, 0x10, 0x22, 0x80,
                                    0x10, 0x22, 0xB0, 0x10, 0x22, 0xF8}));
}

TEST_F(Sending, ListIsEmptyAfterwardsWhateverComesOfIt) {
    add({0xF8});
    EXPECT_EQ(MIDISend(out_, peer_, list_), 0);
    EXPECT_EQ(list_->numPackets, 0U);
    add({0xF8});
    backend_.statuses["send"] = -EIO;
    EXPECT_EQ(MIDISend(out_, peer_, list_), -EIO);
    EXPECT_EQ(list_->numPackets, 0U);
    add({0x90});
    EXPECT_EQ(MIDISend(out_, peer_, list_), -EBADMSG);
    EXPECT_EQ(list_->numPackets, 0U);
    add({0xF8});
    EXPECT_EQ(MIDISend(0, peer_, list_), -ENXIO);
    EXPECT_EQ(list_->numPackets, 0U);
}

TEST_F(Sending, NothingOfAListWithABrokenPacketIsSent) {
    for (const Bytes& broken : {Bytes{}, Bytes{0x90, 0x40}, Bytes{0x40}, Bytes{0xF4}, Bytes{0xF7},
                                Bytes{0xF0, 0x01}, Bytes{0xF8, 0x90, 0x40, 0x7F, 0x41, 0x7F}}) {
        current_ = MIDIPacketListInit(list_);
        add({0xF8});
        add(broken);
        add({0xF8});
        EXPECT_EQ(MIDISend(out_, peer_, list_), -EBADMSG);
    }
    EXPECT_EQ(backend_.sent, Bytes{});
}

TEST_F(Sending, MessageIsNotMadeOutOfTwoPackets) {
    add({0x90, 0x40});
    add({0x7F});
    EXPECT_EQ(MIDISend(out_, peer_, list_), -EBADMSG);
    EXPECT_EQ(backend_.sent, Bytes{});
}

TEST_F(Sending, FailureOfTheBackendIsPassedOn) {
    for (const OSStatus status : {-EIO, -ENODEV, -1}) {
        add({0xF8});
        backend_.statuses["send"] = status;
        EXPECT_EQ(MIDISend(out_, peer_, list_), status);
    }
}

TEST_F(Sending, DestinationThatIsNoObjectGetsNothing) {
    add({0xF8});
    EXPECT_EQ(MIDISend(out_, 0, list_), -ENODEV);
    EXPECT_EQ(backend_.sent, Bytes{});
}

TEST_F(Sending, InputPortSendsNothing) {
    Calls calls;
    const MIDIPortRef in = input(client(), Calls::read, &calls);
    add({0xF8});
    EXPECT_EQ(MIDISend(in, peer_, list_), -ENXIO);
    EXPECT_EQ(backend_.sent, Bytes{});
}

TEST_F(Service, MessageOfAConnectedSourceIsDeliveredWithItsTimeAndContexts) {
    Calls calls;
    int context = 0;
    const MIDIPortRef in = input(client(), Calls::read, &calls);
    ASSERT_EQ(MIDIPortConnectSource(in, peer_, &context), 0);
    deliver(in, peer_, 123, Bytes{0x90, 0x40, 0x7F});
    ASSERT_EQ(calls.bytes, (std::vector<Bytes>{{0x90, 0x40, 0x7F}}));
    EXPECT_EQ(calls.source_contexts[0], &context);
    EXPECT_EQ(calls.times[0], 123U);
}

TEST_F(Service, NothingElseIsDelivered) {
    Calls calls;
    const MIDIClientRef owner = client();
    const MIDIPortRef in = input(owner, Calls::read, &calls);
    const MIDIPortRef other = input(owner, Calls::read, &calls);
    const MIDIPortRef out = output(owner);
    deliver(in, peer_, 0, Bytes{0xF8});
    ASSERT_EQ(MIDIPortConnectSource(in, peer_, nullptr), 0);
    deliver(in, other_peer_, 0, Bytes{0xF8});
    deliver(other, peer_, 0, Bytes{0xF8});
    deliver(out, peer_, 0, Bytes{0xF8});
    deliver(0, peer_, 0, Bytes{0xF8});
    ASSERT_EQ(MIDIPortDisconnectSource(in, peer_), 0);
    deliver(in, peer_, 0, Bytes{0xF8});
    ASSERT_EQ(MIDIPortConnectSource(in, peer_, nullptr), 0);
    ASSERT_EQ(MIDIPortDispose(in), 0);
    deliver(in, peer_, 0, Bytes{0xF8});
    EXPECT_EQ(calls.bytes, std::vector<Bytes>{});
}

TEST_F(Service, LongExclusiveDataAreDeliveredInPiecesOfAtMost256Bytes) {
    Calls calls;
    const MIDIPortRef in = input(client(), Calls::read, &calls);
    ASSERT_EQ(MIDIPortConnectSource(in, peer_, nullptr), 0);
    for (const std::size_t length : {255U, 256U, 257U, 512U, 513U, 1000U}) {
        calls = {};
        const Bytes data = exclusive(length);
        deliver(in, peer_, 7, data);
        EXPECT_EQ(calls.bytes.size(), (length + 255) / 256);
        for (const Bytes& piece : calls.bytes)
            EXPECT_LE(piece.size(), 256U);
        EXPECT_EQ(joined(calls.bytes), data);
    }
}

TEST_F(Service, CallbacksComeOneAtATimeAlsoFromSeveralThreads) {
    struct Inside {
        std::atomic<int> threads{0};
        std::atomic<int> calls{0};
        std::atomic<bool> overlapped{false};
    } inside;
    const auto read = [](const MIDIPacketList*, void* port_context, void*) {
        auto& state = *static_cast<Inside*>(port_context);
        if (state.threads.fetch_add(1) != 0)
            state.overlapped = true;
        std::this_thread::yield();
        state.threads.fetch_sub(1);
        state.calls.fetch_add(1);
    };
    const MIDIClientRef owner = client();
    const MIDIPortRef first = input(owner, read, &inside);
    const MIDIPortRef second = input(owner, read, &inside);
    ASSERT_EQ(MIDIPortConnectSource(first, peer_, nullptr), 0);
    ASSERT_EQ(MIDIPortConnectSource(second, other_peer_, nullptr), 0);
    const auto flood = [](MIDIPortRef port, MIDIEndpointRef source) {
        for (int i = 0; i < 500; ++i)
            deliver(port, source, 0, Bytes{0xF8});
    };
    std::thread one(flood, first, peer_);
    std::thread two(flood, second, other_peer_);
    one.join();
    two.join();
    EXPECT_EQ(inside.calls, 1000);
    EXPECT_FALSE(inside.overlapped);
}

namespace {

/// A callback that stays inside until it is let go.
struct Gate {
    std::atomic<bool> entered{false};
    std::atomic<bool> let_go{false};
    std::atomic<bool> left{false};

    static void read(const MIDIPacketList*, void* port_context, void*) {
        auto& gate = *static_cast<Gate*>(port_context);
        gate.entered = true;
        while (!gate.let_go)
            std::this_thread::yield();
        // Whoever does not wait for the callback gets a fair chance to be caught.
        for (int i = 0; i < 100; ++i)
            std::this_thread::yield();
        gate.left = true;
    }

    /// Runs `dispose` while the callback is inside.
    void expect_waiting(const std::function<OSStatus()>& dispose, MIDIPortRef port,
                        MIDIEndpointRef source) {
        std::thread receive_thread([=] { deliver(port, source, 0, Bytes{0xF8}); });
        while (!entered)
            std::this_thread::yield();
        let_go = true;
        EXPECT_EQ(dispose(), 0);
        EXPECT_TRUE(left) << "it returned while the callback ran";
        receive_thread.join();
    }
};

} // namespace

TEST_F(Service, DisposingOfAPortWaitsForItsCallback) {
    Gate gate;
    const MIDIPortRef in = input(client(), Gate::read, &gate);
    ASSERT_EQ(MIDIPortConnectSource(in, peer_, nullptr), 0);
    gate.expect_waiting([in] { return MIDIPortDispose(in); }, in, peer_);
}

TEST_F(Service, DisposingOfAClientWaitsForItsCallbacks) {
    Gate gate;
    const MIDIClientRef owner = client();
    const MIDIPortRef in = input(owner, Gate::read, &gate);
    ASSERT_EQ(MIDIPortConnectSource(in, peer_, nullptr), 0);
    gate.expect_waiting([owner] { return MIDIClientDispose(owner); }, in, peer_);
}

TEST_F(Service, DisconnectingWaitsForTheCallback) {
    Gate gate;
    const MIDIPortRef in = input(client(), Gate::read, &gate);
    ASSERT_EQ(MIDIPortConnectSource(in, peer_, nullptr), 0);
    gate.expect_waiting([&] { return MIDIPortDisconnectSource(in, peer_); }, in, peer_);
}
