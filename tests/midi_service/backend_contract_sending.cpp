// SPDX-License-Identifier: MIT
#include "tests/midi_service/backend_contract.h"

#include "midi_service/midi_message.h"

#include <cerrno>

TEST_P(BackendContract, ListGoesOutByteForByteAndInOrder) {
    const auto peer = world_->attach("4AC5F4C4");
    EXPECT_EQ(send(destination("4AC5F4C4"), {{0xF8}, {0x90, 0x10, 0x00}, {0x90, 0x10, 0x00}}), 0);
    const Bytes expected{0xF8, 0x90, 0x10, 0x00, 0x90, 0x10, 0x00};
    EXPECT_EQ(wait_for_bytes(peer, expected.size()), expected) << "no running status, no note off";
}

TEST_P(BackendContract, EveryKindOfMessageGoesOutAsItIs) {
    const auto peer = world_->attach("4AC5F4C4");
    std::vector<Bytes> messages;
    for (std::span rest{every_kind_of_message}; !rest.empty();) {
        const auto message = rest.first(whole_message(rest));
        messages.emplace_back(message.begin(), message.end());
        rest = rest.subspan(message.size());
    }
    EXPECT_EQ(send(destination("4AC5F4C4"), messages), 0);
    EXPECT_EQ(wait_for_bytes(peer, every_kind_of_message.size()), every_kind_of_message);
}

TEST_P(BackendContract, SeveralMessagesInOnePacketGoOutOneByOne) {
    const auto peer = world_->attach("4AC5F4C4");
    const Bytes packet{0x90, 0x01, 0x02, 0xF8, 0xC0, 0x03, 0xF0, 0x04, 0xF7, 0xE0, 0x05, 0x06};
    EXPECT_EQ(send(destination("4AC5F4C4"), {packet}), 0);
    EXPECT_EQ(wait_for_bytes(peer, packet.size()), packet);
}

TEST_P(BackendContract, LongExclusiveDataGoOutWhole) {
    const auto peer = world_->attach("4AC5F4C4");
    Bytes data = exclusive(1000);
    EXPECT_EQ(send(destination("4AC5F4C4"), {data, {0xF8}}), 0);
    data.push_back(0xF8);
    EXPECT_EQ(wait_for_bytes(peer, data.size()), data);
}

TEST_P(BackendContract, EmptyListSendsNothingAndSucceeds) {
    const auto peer = world_->attach("4AC5F4C4");
    EXPECT_EQ(send(destination("4AC5F4C4"), {}), 0);
    EXPECT_EQ(send(destination("4AC5F4C4"), {{0xFE}}), 0);
    EXPECT_EQ(wait_for_bytes(peer, 1), (Bytes{0xFE}));
}

TEST_P(BackendContract, ChangingTheDestinationBackAndForthMixesNothingUp) {
    const auto first = world_->attach("4AC1F4C4");
    const auto second = world_->attach("4AC2F4C4");
    const MIDIEndpointRef to_first = destination("4AC1F4C4");
    const MIDIEndpointRef to_second = destination("4AC2F4C4");
    Bytes expected_first;
    Bytes expected_second;
    for (std::uint8_t i = 0; i < 10; ++i) {
        ASSERT_EQ(send(to_first, {{0xB0, i, 0x01}}), 0);
        ASSERT_EQ(send(to_second, {{0xB0, i, 0x02}}), 0);
        expected_first.insert(expected_first.end(), {0xB0, i, 0x01});
        expected_second.insert(expected_second.end(), {0xB0, i, 0x02});
    }
    EXPECT_EQ(wait_for_bytes(first, expected_first.size()), expected_first);
    EXPECT_EQ(wait_for_bytes(second, expected_second.size()), expected_second);
}

TEST_P(BackendContract, EachOutputPortKeepsItsOwnDestination) {
    constexpr std::size_t machines = 4;
    std::array<ContractWorld::Peer, machines> peers{};
    std::array<MIDIPortRef, machines> ports{};
    std::array<MIDIEndpointRef, machines> to{};
    for (std::size_t i = 0; i < machines; ++i) {
        const std::string name = "4AC" + std::to_string(i) + "F4C4";
        peers.at(i) = world_->attach(name);
        to.at(i) = destination(name);
        ASSERT_EQ(MIDIOutputPortCreate(client_, CFSTR("Contract output"), &ports.at(i)), 0);
    }
    for (std::uint8_t round = 0; round < 10; ++round) {
        for (std::size_t i = 0; i < machines; ++i)
            ASSERT_EQ(send(to.at(i), {{0xB0, round, static_cast<std::uint8_t>(i)}}, ports.at(i)),
                      0);
    }
    for (std::size_t i = 0; i < machines; ++i) {
        Bytes expected;
        for (std::uint8_t round = 0; round < 10; ++round)
            expected.insert(expected.end(), {0xB0, round, static_cast<std::uint8_t>(i)});
        EXPECT_EQ(wait_for_bytes(peers.at(i), expected.size()), expected);
        EXPECT_EQ(MIDIPortDispose(ports.at(i)), 0);
    }
}

TEST_P(BackendContract, DestinationThatIsNoneOrGoneFails) {
    const auto peer = world_->attach("4AC5F4C4");
    const MIDIEndpointRef to = destination("4AC5F4C4");
    EXPECT_EQ(send(to, {{0xF8}}), 0);
    static_cast<void>(wait_for_bytes(peer, 1));
    world_->detach(peer);
    EXPECT_EQ(send(to, {{0xF8}}), -ENODEV) << "gone, and not counted since";
    static_cast<void>(MIDIGetNumberOfDestinations());
    EXPECT_EQ(send(to, {{0xF8}}), -ENODEV);
    EXPECT_EQ(send(0, {{0xF8}}), -ENODEV);
}

TEST_P(BackendContract, BytesThatAreNotWholeMessagesAreRefusedWhole) {
    const auto peer = world_->attach("4AC5F4C4");
    const MIDIEndpointRef to = destination("4AC5F4C4");
    const std::vector<Bytes> broken{
        {0x90, 0x40},             // cut off
        {0x40, 0x7F},             // no status
        {0x90, 0x40, 0x80},       // a status where data belong
        {0x90, 0x40, 0x7F, 0x41}, // data behind a whole message
        {0xF4},                   // undefined
        {0xF7},                   // an end without a start
        {0xF0, 0x01},             // a start without an end
        {0xF0, 0x90, 0xF7},       // a status inside exclusive data
    };
    for (const Bytes& bytes : broken) {
        EXPECT_EQ(send(to, {{0xF8}, bytes}), -EBADMSG);
        EXPECT_EQ(send(to, {bytes, {0xF8}}), -EBADMSG);
    }
    EXPECT_EQ(send(to, {{0xFE}}), 0);
    EXPECT_EQ(wait_for_bytes(peer, 1), (Bytes{0xFE})) << "not even the whole ones";
}

TEST_P(BackendContract, OnlyAnOutputPortThatIsOpenSends) {
    const auto peer = world_->attach("4AC5F4C4");
    const MIDIEndpointRef to = destination("4AC5F4C4");
    MIDIPacketList room{};
    MIDIPacketList* list = &room;
    const Bytes clock{0xF8};
    for (const MIDIPortRef port : {MIDIPortRef{0}, in_, client_}) {
        MIDIPacket* packet = MIDIPacketListInit(list);
        ASSERT_NE(MIDIPacketListAdd(list, sizeof room, packet, 0, 1, clock.data()), nullptr);
        EXPECT_EQ(MIDISend(port, to, list), -ENXIO);
        EXPECT_EQ(list->numPackets, 0U);
    }
    ASSERT_EQ(MIDIPortDispose(out_), 0);
    EXPECT_EQ(send(to, {{0xF8}}), -ENXIO);
    ASSERT_EQ(MIDIOutputPortCreate(client_, CFSTR("Contract output"), &out_), 0);
    EXPECT_EQ(send(to, {{0xFE}}), 0);
    EXPECT_EQ(wait_for_bytes(peer, 1), (Bytes{0xFE}));
}

TEST_P(BackendContract, MessageAndAnswerCrossWhileBothSidesAreBusy) {
    const auto peer = world_->attach("4AC5F4C4");
    ASSERT_EQ(MIDIPortConnectSource(in_, source("4AC5F4C4"), nullptr), 0);
    const MIDIEndpointRef to = destination("4AC5F4C4");
    for (std::uint8_t i = 0; i < 50; ++i) {
        ASSERT_EQ(send(to, {{0x90, i, 0x01}}), 0);
        world_->emit(peer, {0x90, i, 0x02});
    }
    EXPECT_EQ(wait_for_bytes(peer, 150).size(), 150U);
    EXPECT_EQ(wait_for_bytes(inbox_, 150).size(), 150U);
}

TEST_P(BackendContract, ClientsAndPortsThatAreNotThereAreRefused) {
    MIDIPortRef port = 7;
    EXPECT_EQ(MIDIOutputPortCreate(0, CFSTR("none"), &port), -ENXIO);
    EXPECT_EQ(MIDIInputPortCreate(out_, CFSTR("none"), ContractInbox::read, &inbox_, &port),
              -ENXIO);
    EXPECT_EQ(port, 7U) << "written on success only";
    EXPECT_EQ(MIDIPortDispose(0), -ENXIO);
    EXPECT_EQ(MIDIPortDispose(client_), -ENXIO);
    EXPECT_EQ(MIDIClientDispose(0), -ENXIO);
    EXPECT_EQ(MIDIClientDispose(in_), -ENXIO);
}

TEST_P(BackendContract, PortsGoWithTheirClient) {
    EXPECT_EQ(MIDIClientDispose(client_), 0);
    EXPECT_EQ(MIDIPortDispose(out_), -ENXIO);
    EXPECT_EQ(MIDIPortDispose(in_), -ENXIO);
    EXPECT_EQ(MIDIClientDispose(client_), -ENXIO);
}
