// SPDX-License-Identifier: MIT
#include "tests/midi_service/backend_contract.h"

#include <cerrno>

namespace {

int first_context;
int second_context;

Bytes exclusive(std::size_t length) {
    Bytes bytes(length);
    for (std::size_t i = 0; i < length; ++i)
        bytes[i] = static_cast<std::uint8_t>(i % 0x80);
    bytes.front() = 0xF0;
    bytes.back() = 0xF7;
    return bytes;
}

} // namespace

TEST_P(BackendContract, EachMessageOfAConnectedSourceComesInACallOfItsOwn) {
    const auto peer = world_->attach("4AC5F4C4");
    ASSERT_EQ(MIDIPortConnectSource(in_, source("4AC5F4C4"), &first_context), 0);
    world_->emit(peer, {0x90, 0x40, 0x7F, 0xF8, 0xE3, 0x10, 0x20});
    static_cast<void>(wait_for_bytes(inbox_, 7));

    ASSERT_EQ(inbox_.calls.size(), 3U);
    EXPECT_EQ(inbox_.calls[0].bytes, (Bytes{0x90, 0x40, 0x7F}));
    EXPECT_EQ(inbox_.calls[1].bytes, (Bytes{0xF8}));
    EXPECT_EQ(inbox_.calls[2].bytes, (Bytes{0xE3, 0x10, 0x20}));
    for (const ContractCall& call : inbox_.calls) {
        EXPECT_EQ(call.packets, 1U);
        EXPECT_EQ(call.source_context, &first_context);
        EXPECT_EQ(call.thread, inbox_.calls[0].thread);
        EXPECT_NE(call.thread, std::this_thread::get_id());
    }
}

TEST_P(BackendContract, EveryKindOfMessageArrivesAsItWasSent) {
    const auto peer = world_->attach("4AC5F4C4");
    ASSERT_EQ(MIDIPortConnectSource(in_, source("4AC5F4C4"), nullptr), 0);
    const Bytes all{0x80, 0x01, 0x02, 0x9F, 0x7F, 0x00, 0xA1, 0x03, 0x04, 0xBF, 0x7F,
                    0x7F, 0xC2, 0x05, 0xD3, 0x06, 0xE4, 0x00, 0x40, 0xE5, 0x7F, 0x7F,
                    0xF1, 0x35, 0xF2, 0x07, 0x08, 0xF3, 0x09, 0xF6, 0xF8, 0xFA, 0xFB,
                    0xFC, 0xFE, 0xFF, 0xF0, 0x0A, 0x0B, 0xF7, 0xF0, 0xF7};
    world_->emit(peer, all);
    EXPECT_EQ(wait_for_bytes(inbox_, all.size()), all);
}

TEST_P(BackendContract, LongExclusiveDataComesWholeOrInPiecesOfAtMost256Bytes) {
    const auto peer = world_->attach("4AC5F4C4");
    ASSERT_EQ(MIDIPortConnectSource(in_, source("4AC5F4C4"), nullptr), 0);
    Bytes expected;
    for (const std::size_t length : {255U, 256U, 257U, 512U, 513U, 1000U}) {
        world_->emit(peer, exclusive(length));
        const Bytes data = exclusive(length);
        expected.insert(expected.end(), data.begin(), data.end());
        ASSERT_EQ(wait_for_bytes(inbox_, expected.size()), expected) << length;
    }
    for (const ContractCall& call : inbox_.calls) {
        EXPECT_LE(call.bytes.size(), 256U);
        EXPECT_EQ(call.packets, 1U);
    }
}

TEST_P(BackendContract, SourceThatIsNotConnectedIsNotHeard) {
    const auto stranger = world_->attach("4AC1F4C4");
    const auto peer = world_->attach("4AC2F4C4");
    ASSERT_EQ(MIDIPortConnectSource(in_, source("4AC2F4C4"), nullptr), 0);
    world_->emit(stranger, {0x90, 0x01, 0x01});
    world_->emit(peer, {0x90, 0x02, 0x02});
    EXPECT_EQ(wait_for_bytes(inbox_, 3), (Bytes{0x90, 0x02, 0x02}));
}

TEST_P(BackendContract, EachSourceBringsItsOwnContext) {
    const auto first = world_->attach("4AC1F4C4");
    const auto second = world_->attach("4AC2F4C4");
    ASSERT_EQ(MIDIPortConnectSource(in_, source("4AC1F4C4"), &first_context), 0);
    ASSERT_EQ(MIDIPortConnectSource(in_, source("4AC2F4C4"), &second_context), 0);
    world_->emit(first, {0x90, 0x01, 0x01});
    static_cast<void>(wait_for_bytes(inbox_, 3));
    world_->emit(second, {0x90, 0x02, 0x02});
    static_cast<void>(wait_for_bytes(inbox_, 6));
    ASSERT_EQ(inbox_.calls.size(), 2U);
    EXPECT_EQ(inbox_.calls[0].source_context, &first_context);
    EXPECT_EQ(inbox_.calls[1].source_context, &second_context);
}

TEST_P(BackendContract, ConnectingAgainOnlyReplacesTheContext) {
    const auto peer = world_->attach("4AC5F4C4");
    ASSERT_EQ(MIDIPortConnectSource(in_, source("4AC5F4C4"), &first_context), 0);
    ASSERT_EQ(MIDIPortConnectSource(in_, source("4AC5F4C4"), &second_context), 0);
    world_->emit(peer, {0x90, 0x01, 0x01, 0xF8});
    EXPECT_EQ(wait_for_bytes(inbox_, 4), (Bytes{0x90, 0x01, 0x01, 0xF8})) << "not twice";
    EXPECT_EQ(inbox_.calls[0].source_context, &second_context);
    EXPECT_EQ(MIDIPortDisconnectSource(in_, source("4AC5F4C4")), 0);
    EXPECT_EQ(MIDIPortDisconnectSource(in_, source("4AC5F4C4")), -ENOTCONN);
}

TEST_P(BackendContract, EachConnectedPortGetsTheMessage) {
    ContractInbox other{.world = world_.get()};
    const MIDIPortRef other_port = input_port(other);
    const auto peer = world_->attach("4AC5F4C4");
    ASSERT_EQ(MIDIPortConnectSource(in_, source("4AC5F4C4"), nullptr), 0);
    ASSERT_EQ(MIDIPortConnectSource(other_port, source("4AC5F4C4"), nullptr), 0);
    world_->emit(peer, {0xB0, 0x01, 0x02});
    EXPECT_EQ(wait_for_bytes(inbox_, 3), (Bytes{0xB0, 0x01, 0x02}));
    EXPECT_EQ(wait_for_bytes(other, 3), (Bytes{0xB0, 0x01, 0x02}));
    EXPECT_EQ(MIDIPortDispose(other_port), 0);
}

// In the next three another port, connected to the same source, tells when a message has been
// through; the second message tells that the first would have come.

TEST_P(BackendContract, NothingComesAfterTheDisconnection) {
    ContractInbox witness{.world = world_.get()};
    const MIDIPortRef witness_port = input_port(witness);
    const auto peer = world_->attach("4AC5F4C4");
    const MIDIEndpointRef from = source("4AC5F4C4");
    ASSERT_EQ(MIDIPortConnectSource(in_, from, nullptr), 0);
    ASSERT_EQ(MIDIPortConnectSource(witness_port, from, nullptr), 0);
    ASSERT_EQ(MIDIPortDisconnectSource(in_, from), 0);
    world_->emit(peer, {0x90, 0x01, 0x01, 0x90, 0x02, 0x02});
    static_cast<void>(wait_for_bytes(witness, 6));
    EXPECT_TRUE(world_->wait_until([&] { return inbox_.calls.empty(); }));
    EXPECT_EQ(MIDIPortDispose(witness_port), 0);
}

TEST_P(BackendContract, NothingComesAfterThePortWasDisposedOf) {
    ContractInbox witness{.world = world_.get()};
    const MIDIPortRef witness_port = input_port(witness);
    const auto peer = world_->attach("4AC5F4C4");
    const MIDIEndpointRef from = source("4AC5F4C4");
    ASSERT_EQ(MIDIPortConnectSource(in_, from, nullptr), 0);
    ASSERT_EQ(MIDIPortConnectSource(witness_port, from, nullptr), 0);
    ASSERT_EQ(MIDIPortDispose(in_), 0);
    world_->emit(peer, {0x90, 0x01, 0x01, 0x90, 0x02, 0x02});
    static_cast<void>(wait_for_bytes(witness, 6));
    EXPECT_TRUE(world_->wait_until([&] { return inbox_.calls.empty(); }));
    EXPECT_EQ(MIDIPortDispose(witness_port), 0);
}

TEST_P(BackendContract, NothingComesAfterTheClientWasDisposedOf) {
    ContractInbox old{.world = world_.get()};
    const MIDIPortRef old_port = input_port(old);
    const auto peer = world_->attach("4AC5F4C4");
    const MIDIEndpointRef from = source("4AC5F4C4");
    ASSERT_EQ(MIDIPortConnectSource(old_port, from, nullptr), 0);
    ASSERT_EQ(MIDIClientDispose(client_), 0);

    ASSERT_EQ(MIDIClientCreate(CFSTR("Contract"), nullptr, nullptr, &client_), 0);
    in_ = input_port(inbox_);
    ASSERT_EQ(MIDIPortConnectSource(in_, source("4AC5F4C4"), nullptr), 0);
    world_->emit(peer, {0x90, 0x01, 0x01, 0x90, 0x02, 0x02});
    static_cast<void>(wait_for_bytes(inbox_, 6));
    EXPECT_TRUE(world_->wait_until([&] { return old.calls.empty(); }));
}

TEST_P(BackendContract, SourceThatWentAndCameBackIsNotConnected) {
    ContractInbox witness{.world = world_.get()};
    const MIDIPortRef witness_port = input_port(witness);
    const auto before = world_->attach("4AC5F4C4");
    ASSERT_EQ(MIDIPortConnectSource(in_, source("4AC5F4C4"), nullptr), 0);
    world_->detach(before);
    const auto after = world_->attach("4AC5F4C4");
    ASSERT_EQ(MIDIPortConnectSource(witness_port, source("4AC5F4C4"), nullptr), 0);
    world_->emit(after, {0x90, 0x01, 0x01, 0x90, 0x02, 0x02});
    static_cast<void>(wait_for_bytes(witness, 6));
    EXPECT_TRUE(world_->wait_until([&] { return inbox_.calls.empty(); }));
    EXPECT_EQ(MIDIPortDispose(witness_port), 0);
}

TEST_P(BackendContract, ReconnectingTheSameSourceTwentyTimesLosesAndDoublesNothing) {
    const auto peer = world_->attach("4AC5F4C4");
    const MIDIEndpointRef from = source("4AC5F4C4");
    Bytes expected;
    for (std::uint8_t i = 0; i < 20; ++i) {
        ASSERT_EQ(MIDIPortConnectSource(in_, from, nullptr), 0);
        const Bytes message{0xB0, i, 0x01};
        world_->emit(peer, message);
        expected.insert(expected.end(), message.begin(), message.end());
        ASSERT_EQ(wait_for_bytes(inbox_, expected.size()), expected);
        ASSERT_EQ(MIDIPortDisconnectSource(in_, from), 0);
    }
}

TEST_P(BackendContract, NothingCanBeConnectedToAnOutputPort) {
    static_cast<void>(world_->attach("4AC5F4C4"));
    const MIDIEndpointRef from = source("4AC5F4C4");
    EXPECT_EQ(MIDIPortConnectSource(out_, from, nullptr), -EINVAL);
    EXPECT_EQ(MIDIPortDisconnectSource(out_, from), -EINVAL);
}

TEST_P(BackendContract, SourceThatIsNoneOrGoneCannotBeConnected) {
    const auto peer = world_->attach("4AC5F4C4");
    const MIDIEndpointRef from = source("4AC5F4C4");
    world_->detach(peer);
    EXPECT_EQ(MIDIPortConnectSource(in_, 0, nullptr), -ENODEV);
    EXPECT_EQ(MIDIPortConnectSource(in_, from, nullptr), -ENODEV);
    EXPECT_EQ(MIDIPortConnectSource(0, from, nullptr), -ENXIO);
}

TEST_P(BackendContract, DisconnectingWhatIsNotConnectedFails) {
    static_cast<void>(world_->attach("4AC5F4C4"));
    EXPECT_EQ(MIDIPortDisconnectSource(in_, source("4AC5F4C4")), -ENOTCONN);
    EXPECT_EQ(MIDIPortDisconnectSource(0, source("4AC5F4C4")), -ENXIO);
}
