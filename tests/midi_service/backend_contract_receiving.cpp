// SPDX-License-Identifier: MIT
#include "tests/midi_service/backend_contract.h"

#include <cerrno>

namespace {

int first_context;
int second_context;

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
    world_->emit(peer, every_kind_of_message);
    EXPECT_EQ(wait_for_bytes(inbox_, every_kind_of_message.size()), every_kind_of_message);
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
    const MIDIPortRef other_port = input_port(other_inbox_);
    const auto peer = world_->attach("4AC5F4C4");
    ASSERT_EQ(MIDIPortConnectSource(in_, source("4AC5F4C4"), nullptr), 0);
    ASSERT_EQ(MIDIPortConnectSource(other_port, source("4AC5F4C4"), nullptr), 0);
    world_->emit(peer, {0xB0, 0x01, 0x02});
    EXPECT_EQ(wait_for_bytes(inbox_, 3), (Bytes{0xB0, 0x01, 0x02}));
    EXPECT_EQ(wait_for_bytes(other_inbox_, 3), (Bytes{0xB0, 0x01, 0x02}));
}

TEST_P(BackendContract, NothingComesAfterTheDisconnection) {
    expect_silence_after(
        [this](MIDIEndpointRef from) { return MIDIPortDisconnectSource(in_, from); });
}

TEST_P(BackendContract, NothingComesAfterThePortWasDisposedOf) {
    expect_silence_after([this](MIDIEndpointRef) { return MIDIPortDispose(in_); });
}

TEST_P(BackendContract, NothingComesAfterTheClientWasDisposedOf) {
    const MIDIPortRef old_port = input_port(other_inbox_);
    const auto peer = world_->attach("4AC5F4C4");
    const MIDIEndpointRef from = source("4AC5F4C4");
    ASSERT_EQ(MIDIPortConnectSource(old_port, from, nullptr), 0);
    ASSERT_EQ(MIDIClientDispose(client_), 0);

    ASSERT_EQ(MIDIClientCreate(CFSTR("Contract"), nullptr, nullptr, &client_), 0);
    in_ = input_port(inbox_);
    ASSERT_EQ(MIDIPortConnectSource(in_, source("4AC5F4C4"), nullptr), 0);
    world_->emit(peer, {0x90, 0x01, 0x01, 0x90, 0x02, 0x02});
    static_cast<void>(wait_for_bytes(inbox_, 6));
    EXPECT_TRUE(world_->wait_until([&] { return other_inbox_.calls.empty(); }));
}

TEST_P(BackendContract, SourceThatWentAndCameBackIsNotConnected) {
    const MIDIPortRef witness_port = input_port(other_inbox_);
    const auto before = world_->attach("4AC5F4C4");
    ASSERT_EQ(MIDIPortConnectSource(in_, source("4AC5F4C4"), nullptr), 0);
    world_->detach(before);
    const auto after = world_->attach("4AC5F4C4");
    ASSERT_EQ(MIDIPortConnectSource(witness_port, source("4AC5F4C4"), nullptr), 0);
    world_->emit(after, {0x90, 0x01, 0x01, 0x90, 0x02, 0x02});
    static_cast<void>(wait_for_bytes(other_inbox_, 6));
    EXPECT_TRUE(world_->wait_until([&] { return inbox_.calls.empty(); }));
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
