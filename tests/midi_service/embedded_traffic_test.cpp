// SPDX-License-Identifier: MIT
#include "tests/midi_service/embedded_fixture.h"

#include <cerrno>

using Messages = std::vector<Bytes>;

TEST_F(EmbeddedService, ReceiverGetsTheMessagesOfOnePacketAtATime) {
    Messages packets;
    const MIDIObjectRef object =
        service_.attach(named("4AC5F4C4"), [&](std::span<const std::uint8_t> messages) {
            packets.emplace_back(messages.begin(), messages.end());
        });
    EXPECT_EQ(send(object, {{0xF8}, {0x90, 0x40, 0x7F, 0xF8}, {0xF0, 0x01, 0xF7}}), 0);
    EXPECT_EQ(packets, (Messages{{0xF8}, {0x90, 0x40, 0x7F, 0xF8}, {0xF0, 0x01, 0xF7}}));
}

TEST_F(EmbeddedService, ObjectWithASendStatusGivesItAndReceivesNothing) {
    int received = 0;
    EmbeddedObject look = named("4AC5F4C4");
    look.send_status = -EIO;
    const MIDIObjectRef object = service_.attach(look, [&](auto) { ++received; });
    EXPECT_EQ(send(object, {{0xF8}}), -EIO);
    look.send_status = 0x100;
    service_.update_object(object, look);
    EXPECT_EQ(send(object, {{0xF8}}), 0x100);
    EXPECT_EQ(received, 0);
    look.send_status = 0;
    service_.update_object(object, look);
    EXPECT_EQ(send(object, {{0xF8}}), 0);
    EXPECT_EQ(received, 1);
}

TEST_F(EmbeddedService, SendToAnObjectWithoutAReceiverSucceeds) {
    EXPECT_EQ(send(service_.attach(named("4AC5F4C4")), {{0xF8}}), 0);
}

TEST_F(EmbeddedService, TimeStandsStillUntilItIsAdvanced) {
    EXPECT_EQ(service_.now(), microseconds{0});
    service_.advance(microseconds{1500});
    EXPECT_EQ(service_.now(), microseconds{1500});
    service_.advance(microseconds{0});
    EXPECT_EQ(service_.now(), microseconds{1500});
}

TEST_F(EmbeddedService, BytesComeWhenTheirTimeHasComeAndNotSooner) {
    const MIDIObjectRef object = connected("4AC5F4C4");
    emit(object, {0x90, 0x40, 0x7F}, microseconds{1000});
    EXPECT_EQ(heard_within(microseconds{999}), Messages{});
    EXPECT_EQ(heard_within(microseconds{1}), (Messages{{0x90, 0x40, 0x7F}}));
    EXPECT_EQ(heard_within(milliseconds{100}), Messages{});

    emit(object, {0xF8}, milliseconds{5});
    EXPECT_EQ(heard_within(milliseconds{4}), Messages{}) << "counted from the emission";
    EXPECT_EQ(heard_within(milliseconds{1}), (Messages{{0xF8}}));
}

TEST_F(EmbeddedService, BytesThatAreDueTogetherComeInTheOrderOfTheirEmission) {
    const MIDIObjectRef first = connected("4AC1F4C4");
    const MIDIObjectRef second = connected("4AC2F4C4");
    for (std::uint8_t i = 0; i < 100; ++i)
        emit(i % 2 == 0 ? first : second, {0xB0, i, 0x00}, milliseconds{3});
    const Messages heard = heard_within(milliseconds{3});
    ASSERT_EQ(heard.size(), 100U);
    for (std::uint8_t i = 0; i < 100; ++i)
        EXPECT_EQ(heard[i], (Bytes{0xB0, i, 0x00}));
}

TEST_F(EmbeddedService, EarlierTimesComeFirstWhateverTheOrderOfEmission) {
    const MIDIObjectRef object = connected("4AC5F4C4");
    emit(object, {0xB0, 0x03, 0x00}, milliseconds{3});
    emit(object, {0xB0, 0x01, 0x00}, milliseconds{1});
    emit(object, {0xB0, 0x02, 0x00}, milliseconds{2});
    EXPECT_EQ(heard_within(milliseconds{10}),
              (Messages{{0xB0, 0x01, 0x00}, {0xB0, 0x02, 0x00}, {0xB0, 0x03, 0x00}}));
}

TEST_F(EmbeddedService, MessageMayComeInTwoEmissions) {
    const MIDIObjectRef object = connected("4AC5F4C4");
    emit(object, {0x90, 0x40});
    EXPECT_EQ(heard_within(milliseconds{1}), Messages{});
    emit(object, {0x7F, 0x41, 0x00});
    EXPECT_EQ(heard_within(milliseconds{1}), (Messages{{0x90, 0x40, 0x7F}, {0x90, 0x41, 0x00}}));
}

TEST_F(EmbeddedService, BytesOfTwoObjectsAreNotMixedIntoOneMessage) {
    const MIDIObjectRef first = connected("4AC1F4C4");
    const MIDIObjectRef second = connected("4AC2F4C4");
    emit(first, {0x90, 0x40});
    emit(second, {0xB1, 0x01});
    emit(first, {0x7F});
    emit(second, {0x02});
    EXPECT_EQ(heard_within(milliseconds{1}), (Messages{{0x90, 0x40, 0x7F}, {0xB1, 0x01, 0x02}}));
}

TEST_F(EmbeddedService, ConnectionCountsAtTheTimeOfDelivery) {
    const MIDIObjectRef object = service_.attach(named("4AC5F4C4"));
    emit(object, {0xB0, 0x01, 0x00}, milliseconds{1});
    emit(object, {0xB0, 0x02, 0x00}, milliseconds{2});
    emit(object, {0xB0, 0x03, 0x00}, milliseconds{3});
    EXPECT_EQ(heard_within(milliseconds{1}), Messages{});
    ASSERT_EQ(MIDIPortConnectSource(in_, object, nullptr), 0);
    EXPECT_EQ(heard_within(milliseconds{1}), (Messages{{0xB0, 0x02, 0x00}}));
    ASSERT_EQ(MIDIPortDisconnectSource(in_, object), 0);
    EXPECT_EQ(heard_within(milliseconds{1}), Messages{});
}

TEST_F(EmbeddedService, WhatADetachedObjectHadStillToSendIsLost) {
    const MIDIObjectRef object = connected("4AC5F4C4");
    const MIDIObjectRef other = connected("4AC6F4C4");
    emit(object, {0xB0, 0x01, 0x00}, milliseconds{1});
    emit(other, {0xB0, 0x02, 0x00}, milliseconds{1});
    service_.detach(object);
    EXPECT_EQ(heard_within(milliseconds{1}), (Messages{{0xB0, 0x02, 0x00}}));
    emit(object, {0xB0, 0x03, 0x00});
    EXPECT_EQ(heard_within(milliseconds{1}), Messages{});
}

TEST_F(EmbeddedService, NothingIsHeardAfterTheClientWasDisposedOf) {
    const MIDIObjectRef object = connected("4AC5F4C4");
    emit(object, {0xB0, 0x01, 0x00}, milliseconds{1});
    ASSERT_EQ(MIDIClientDispose(client_), 0);
    EXPECT_EQ(heard_within(milliseconds{1}), Messages{});
    emit(object, {0xB0, 0x02, 0x00});
    EXPECT_EQ(heard_within(milliseconds{1}), Messages{});
}

TEST_F(EmbeddedService, NothingIsHeardAfterThePortWasDisposedOf) {
    const MIDIObjectRef object = connected("4AC5F4C4");
    emit(object, {0xB0, 0x01, 0x00}, milliseconds{1});
    ASSERT_EQ(MIDIPortDispose(in_), 0);
    EXPECT_EQ(heard_within(milliseconds{1}), Messages{});
}

TEST_F(EmbeddedService, ReceiverMayEmitItsAnswer) {
    MIDIObjectRef object = 0;
    object = service_.attach(named("4AC5F4C4"), [&](std::span<const std::uint8_t> messages) {
        service_.emit(object, messages, milliseconds{1});
    });
    ASSERT_EQ(MIDIPortConnectSource(in_, object, nullptr), 0);
    ASSERT_EQ(send(object, {{0xB0, 0x01, 0x02}}), 0);
    EXPECT_EQ(heard_within(microseconds{999}), Messages{});
    EXPECT_EQ(heard_within(microseconds{1}), (Messages{{0xB0, 0x01, 0x02}}));
}

TEST_F(EmbeddedService, AnswersToAnswersThatFallDueMeanwhileComeInTheSameAdvance) {
    // The machine answers after a millisecond, and each time the callback makes it answer again.
    MIDIObjectRef object = 0;
    object = service_.attach(named("4AC5F4C4"), [&](std::span<const std::uint8_t> messages) {
        service_.emit(object, messages, milliseconds{1});
    });
    struct Player {
        EmbeddedService* test;
        MIDIObjectRef to;
        std::vector<microseconds> times{};
    } player{.test = this, .to = object};
    const auto answer = [](const MIDIPacketList*, void* port_context, void*) {
        auto& state = *static_cast<Player*>(port_context);
        state.times.push_back(state.test->service_now());
        state.test->emit(state.to, {0xF8}, milliseconds{1});
    };
    MIDIPortRef port = 0;
    ASSERT_EQ(MIDIInputPortCreate(client_, CFSTR("Player"), answer, &player, &port), 0);
    ASSERT_EQ(MIDIPortConnectSource(port, object, nullptr), 0);
    ASSERT_EQ(send(object, {{0xF8}}), 0);
    service_.advance(microseconds{3500});
    EXPECT_EQ(player.times,
              (std::vector<microseconds>{milliseconds{1}, milliseconds{2}, milliseconds{3}}));
    EXPECT_EQ(service_.now(), microseconds{3500});
}

TEST_F(EmbeddedService, ReceiverMayChangeAndDetachItsObject) {
    MIDIObjectRef object = 0;
    int received = 0;
    object = service_.attach(named("4AC5F4C4"), [&](std::span<const std::uint8_t>) {
        if (++received == 1)
            service_.update_object(object, named("4ACAF4C4"));
        else
            service_.detach(object);
    });
    ASSERT_EQ(send(object, {{0xF8}}), 0);
    EXPECT_EQ(text_of(object), "4ACAF4C4");
    static_cast<void>(send(object, {{0xF8}}));
    EXPECT_EQ(send(object, {{0xF8}}), -ENODEV);
    EXPECT_EQ(received, 2);
}

TEST_F(EmbeddedService, ReceiverOfADetachedObjectIsNotCalled) {
    int received = 0;
    const MIDIObjectRef object = service_.attach(named("4AC5F4C4"), [&](auto) { ++received; });
    service_.detach(object);
    EXPECT_EQ(send(object, {{0xF8}}), -ENODEV);
    EXPECT_EQ(received, 0);
}

TEST_F(EmbeddedService, SourceThatWentIsNoLongerConnected) {
    const MIDIObjectRef object = connected("4AC5F4C4");
    service_.detach(object);
    EXPECT_EQ(MIDIPortConnectSource(in_, object, nullptr), -ENODEV);
}

TEST_F(EmbeddedService, HasNothingToDeliverToWhenNothingIsInstalled) {
    const MIDIObjectRef object = connected("4AC5F4C4");
    emit(object, {0xB0, 0x01, 0x00}, milliseconds{1});
    install_midi_backend(nullptr);
    EXPECT_EQ(heard_within(milliseconds{1}), Messages{});
    install_midi_backend(&service_);
}
