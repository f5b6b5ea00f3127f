// SPDX-License-Identifier: MIT
#include "tests/midi_service/recording_backend.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <functional>
#include <set>
#include <thread>

#include <gmock/gmock.h>

namespace {

void ignore(const MIDIPacketList*, void*, void*) {}

std::string text(std::string_view word, std::initializer_list<MIDIObjectRef> numbers,
                 std::string_view rest = "") {
    std::string line(word);
    for (const MIDIObjectRef number : numbers)
        line += ' ' + std::to_string(number);
    return line + std::string(rest);
}

} // namespace

using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(Service, ClientAndPortsAreOpenedUnderTheirReferencesAndNames) {
    const MIDIClientRef one = client();
    const MIDIPortRef out = output(one);
    const MIDIPortRef in = input(one, ignore, nullptr);
    EXPECT_EQ((std::set<MIDIObjectRef>{0, one, out, in}.size()), 4U) << "all different, none 0";
    EXPECT_THAT(backend_.take(), ElementsAre(text("open_client", {one}, " MIDI Client"),
                                             text("open_port", {out, one}, " out Output port"),
                                             text("open_port", {in, one}, " in Input port")));
}

TEST_F(Service, DisposingOfAClientClosesItsPortsFirst) {
    const MIDIClientRef one = client();
    const MIDIPortRef out = output(one);
    const MIDIClientRef other = client();
    const MIDIPortRef other_out = output(other);
    static_cast<void>(backend_.take());
    EXPECT_EQ(MIDIClientDispose(one), 0);
    EXPECT_THAT(backend_.take(),
                ElementsAre(text("close_port", {out}), text("close_client", {one})));
    EXPECT_EQ(MIDIPortDispose(out), -ENXIO);
    EXPECT_EQ(MIDIClientDispose(one), -ENXIO);
    EXPECT_THAT(backend_.take(), IsEmpty()) << "what is closed is not closed again";
    EXPECT_EQ(MIDIPortDispose(other_out), 0);
    EXPECT_EQ(MIDIClientDispose(other), 0);
    EXPECT_THAT(backend_.take(),
                ElementsAre(text("close_port", {other_out}), text("close_client", {other})));
}

TEST_F(Service, FailedOpeningIsReportedAndLeavesNothingToClose) {
    backend_.statuses["open_client"] = -ENOMEM;
    MIDIClientRef reference = 77;
    EXPECT_EQ(MIDIClientCreate(CFSTR("x"), nullptr, nullptr, &reference), -ENOMEM);
    EXPECT_EQ(reference, 77U);
    backend_.statuses.clear();

    const MIDIClientRef one = client();
    backend_.statuses["open_port"] = -EACCES;
    EXPECT_EQ(MIDIOutputPortCreate(one, CFSTR("x"), &reference), -EACCES);
    EXPECT_EQ(MIDIInputPortCreate(one, CFSTR("x"), ignore, nullptr, &reference), -EACCES);
    EXPECT_EQ(reference, 77U);
    static_cast<void>(backend_.take());
    EXPECT_EQ(MIDIClientDispose(one), 0);
    EXPECT_THAT(backend_.take(), ElementsAre(text("close_client", {one})));
}

TEST_F(Service, ReferencesAreNeverUsedAgain) {
    std::set<MIDIObjectRef> seen;
    for (int i = 0; i < 100; ++i) {
        const MIDIClientRef one = client();
        EXPECT_TRUE(seen.insert(one).second);
        EXPECT_TRUE(seen.insert(output(one)).second);
        EXPECT_TRUE(seen.insert(new_reference()).second);
        EXPECT_EQ(MIDIClientDispose(one), 0);
    }
    EXPECT_EQ(seen.count(0), 0U);
}

TEST_F(Service, ReferencesFromSeveralThreadsAreAllDifferent) {
    constexpr std::size_t each = 30'000;
    std::array<std::vector<MIDIObjectRef>, 2> taken;
    std::atomic<int> ready = 0;
    const auto take = [&](std::vector<MIDIObjectRef>& references) {
        ready.fetch_add(1);
        while (ready < 2)
            std::this_thread::yield();
        for (std::size_t i = 0; i < each; ++i)
            references.push_back(new_reference());
    };
    std::thread other(take, std::ref(taken[0]));
    take(taken[1]);
    other.join();
    std::set<MIDIObjectRef> all;
    for (const auto& references : taken)
        all.insert(references.begin(), references.end());
    EXPECT_EQ(all.size(), 2 * each);
}

TEST_F(Service, AnotherBackendClosesEverythingOfTheOneBefore) {
    const MIDIClientRef one = client();
    const MIDIPortRef out = output(one);
    const MIDIPortRef in = input(one, ignore, nullptr);
    static_cast<void>(backend_.take());
    RecordingBackend next;
    install_midi_backend(&next);
    EXPECT_THAT(backend_.take(),
                testing::UnorderedElementsAre(text("close_port", {out}), text("close_port", {in}),
                                              text("close_client", {one})));
    EXPECT_EQ(MIDIPortDispose(out), -ENXIO);
    EXPECT_EQ(MIDIClientDispose(one), -ENXIO);
    EXPECT_NE(client(), one);
    EXPECT_THAT(backend_.take(), IsEmpty());
    EXPECT_EQ(next.journal.size(), 1U);
    install_midi_backend(&backend_);
}

TEST_F(Service, ListIsUpdatedWhereACountIsAskedForAndNowhereElse) {
    backend_.list = {31, 32, 33};
    EXPECT_EQ(MIDIGetSource(0), 0U) << "nothing was counted yet";
    EXPECT_EQ(MIDIGetNumberOfSources(), 3U);
    EXPECT_EQ(MIDIGetNumberOfDestinations(), 3U);
    EXPECT_EQ(MIDIGetNumberOfDevices(), 3U);
    EXPECT_THAT(backend_.take(), ElementsAre("update 0", "update 1", "update 2"));
    for (ItemCount i = 0; i < 3; ++i) {
        EXPECT_EQ(MIDIGetSource(i), 31 + i);
        EXPECT_EQ(MIDIGetDestination(i), 31 + i);
        EXPECT_EQ(MIDIGetDevice(i), 31 + i);
    }
    EXPECT_EQ(MIDIGetSource(3), 0U);
    EXPECT_EQ(MIDIGetDestination(0xFFFFFFFF), 0U);
    EXPECT_EQ(MIDIGetDevice(ItemCount{1} << 32), 0U);
    EXPECT_THAT(backend_.take(), IsEmpty());
}

TEST_F(Service, EachTextPropertyIsAskedForByItsOwnName) {
    for (const auto& [property, expected] :
         {std::pair{kMIDIPropertyName, " 0"}, std::pair{kMIDIPropertyManufacturer, " 1"},
          std::pair{kMIDIPropertyModel, " 2"}}) {
        EXPECT_EQ(text_of(peer_, property), "4AC5F4C4");
        EXPECT_THAT(backend_.take_queries(), ElementsAre(text("text", {peer_}, expected)));
    }
}

TEST_F(Service, OfflineIsWhatTheBackendSays) {
    for (const std::int32_t given : {0, 1, 2, -1}) {
        backend_.given_offline = given;
        EXPECT_EQ(offline_of(peer_), (std::pair{0, given}));
    }
    EXPECT_EQ(backend_.take_queries().front(), text("offline", {peer_}));
}

TEST_F(Service, PropertyOfTheOtherKindIsNone) {
    CFStringRef value = CFSTR("left over");
    EXPECT_EQ(MIDIObjectGetStringProperty(peer_, kMIDIPropertyOffline, &value), -ENODATA);
    EXPECT_EQ(value, nullptr);
    value = CFSTR("left over");
    EXPECT_EQ(MIDIObjectGetStringProperty(peer_, CFSTR("colour"), &value), -ENODATA);
    EXPECT_EQ(value, nullptr);
    std::int32_t number = 9;
    EXPECT_EQ(MIDIObjectGetIntegerProperty(peer_, kMIDIPropertyName, &number), -ENODATA);
    EXPECT_EQ(number, 9);
}

TEST_F(Service, OutputPortIsNeverConnected) {
    const MIDIPortRef out = output(client());
    static_cast<void>(backend_.take());
    EXPECT_EQ(MIDIPortConnectSource(out, peer_, nullptr), -EINVAL);
    EXPECT_EQ(MIDIPortDisconnectSource(out, peer_), -EINVAL);
    EXPECT_THAT(backend_.take(), IsEmpty());
}

/// With an input port, and the journal as it is after its opening.
class Connecting : public Service {
protected:
    Connecting() { static_cast<void>(backend_.take()); }

    MIDIPortRef in_ = input(client(), ignore, nullptr);
};

TEST_F(Connecting, ConnectionReachesTheBackendOnceAndSoDoesItsEnd) {
    EXPECT_EQ(MIDIPortDisconnectSource(in_, peer_), -ENOTCONN);
    EXPECT_EQ(MIDIPortConnectSource(in_, peer_, nullptr), 0);
    EXPECT_EQ(MIDIPortConnectSource(in_, peer_, nullptr), 0);
    EXPECT_EQ(MIDIPortConnectSource(in_, other_peer_, nullptr), 0);
    EXPECT_EQ(MIDIPortDisconnectSource(in_, peer_), 0);
    EXPECT_EQ(MIDIPortDisconnectSource(in_, peer_), -ENOTCONN);
    EXPECT_EQ(MIDIPortConnectSource(in_, peer_, nullptr), 0);
    EXPECT_THAT(backend_.take(),
                ElementsAre(text("connect", {in_, peer_}), text("connect", {in_, other_peer_}),
                            text("disconnect", {in_, peer_}), text("connect", {in_, peer_})));
}

TEST_F(Connecting, FailedConnectionIsReportedAndIsNone) {
    backend_.statuses["connect"] = -EBUSY;
    EXPECT_EQ(MIDIPortConnectSource(in_, peer_, nullptr), -EBUSY);
    EXPECT_EQ(MIDIPortDisconnectSource(in_, peer_), -ENOTCONN);
    backend_.statuses.clear();
    static_cast<void>(backend_.take());
    EXPECT_EQ(MIDIPortConnectSource(in_, peer_, nullptr), 0);
    EXPECT_THAT(backend_.take(), ElementsAre(text("connect", {in_, peer_})));
}

TEST_F(Connecting, SourceThatTheBackendCannotReachIsNotConnected) {
    backend_.statuses["connect"] = -ENODEV;
    EXPECT_EQ(MIDIPortConnectSource(in_, peer_, nullptr), -ENODEV);
    EXPECT_EQ(MIDIPortDisconnectSource(in_, peer_), -ENOTCONN);
    EXPECT_THAT(backend_.take(), ElementsAre(text("connect", {in_, peer_})));
}

TEST_F(Connecting, SourceThatWentHasToBeConnectedAnew) {
    ASSERT_EQ(MIDIPortConnectSource(in_, peer_, nullptr), 0);
    static_cast<void>(backend_.take());
    backend_.statuses["offline"] = -ENODEV;
    backend_.statuses["connect"] = -ENODEV;
    EXPECT_EQ(MIDIPortConnectSource(in_, peer_, nullptr), -ENODEV);
    EXPECT_EQ(MIDIPortDisconnectSource(in_, peer_), -ENOTCONN);
    EXPECT_THAT(backend_.take(), ElementsAre(text("connect", {in_, peer_})));
}

TEST_F(Connecting, WhatNeverWasAnObjectIsNotConnectedAndTheBackendNotAsked) {
    for (const MIDIObjectRef none : {MIDIObjectRef{0}, MIDIObjectRef{0xFFFFFFFF}})
        EXPECT_EQ(MIDIPortConnectSource(in_, none, nullptr), -ENODEV);
    EXPECT_THAT(backend_.take(), IsEmpty());
    EXPECT_THAT(backend_.take_queries(), IsEmpty());
}

TEST_F(Service, OperationBeforeABackendIsInstalledStopsWithAMessage) {
    install_midi_backend(nullptr);
    EXPECT_DEATH(MIDIGetNumberOfSources(), "before a backend was installed");
    install_midi_backend(&backend_);
}
