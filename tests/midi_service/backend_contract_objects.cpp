// SPDX-License-Identifier: MIT
#include "tests/midi_service/backend_contract.h"

#include <cerrno>
#include <limits>
#include <poll.h>

namespace {

bool is_readable(int descriptor) {
    pollfd polled{.fd = descriptor, .events = POLLIN, .revents = 0};
    return poll(&polled, 1, 0) == 1;
}

} // namespace

TEST_P(BackendContract, PeerAttachedBeforeTheCountIsInEveryList) {
    static_cast<void>(world_->attach("4AC5F4C4 first"));
    EXPECT_NE(source("4AC5F4C4 first"), 0U);
    EXPECT_NE(destination("4AC5F4C4 first"), 0U);
    EXPECT_NE(device("4AC5F4C4 first"), 0U);
}

TEST_P(BackendContract, EachPeerAddsOneSourceAndOneDestination) {
    const ItemCount sources = MIDIGetNumberOfSources();
    const ItemCount destinations = MIDIGetNumberOfDestinations();
    static_cast<void>(world_->attach("4AC1F4C4"));
    static_cast<void>(world_->attach("4AC2F4C4"));
    EXPECT_EQ(MIDIGetNumberOfSources(), sources + 2);
    EXPECT_EQ(MIDIGetNumberOfDestinations(), destinations + 2);
}

TEST_P(BackendContract, ListMovesOnlyWhenItIsCounted) {
    const ItemCount before = MIDIGetNumberOfSources();
    static_cast<void>(MIDIGetNumberOfDestinations());
    static_cast<void>(world_->attach("4AC5F4C4"));
    EXPECT_EQ(MIDIGetSource(before), 0U) << "not counted yet";
    ASSERT_EQ(MIDIGetNumberOfSources(), before + 1);
    EXPECT_EQ(name_of(MIDIGetSource(before)), "4AC5F4C4");
}

TEST_P(BackendContract, DetachedPeerKeepsItsPlaceUntilTheNextCount) {
    const ItemCount before = MIDIGetNumberOfSources();
    const auto gone = world_->attach("4AC1F4C4");
    static_cast<void>(world_->attach("4AC2F4C4"));
    ASSERT_EQ(MIDIGetNumberOfSources(), before + 2);
    const MIDIEndpointRef first = MIDIGetSource(before);
    const MIDIEndpointRef second = MIDIGetSource(before + 1);

    world_->detach(gone);
    EXPECT_EQ(MIDIGetSource(before), first);
    EXPECT_EQ(MIDIGetSource(before + 1), second);
    ASSERT_EQ(MIDIGetNumberOfSources(), before + 1);
    EXPECT_EQ(MIDIGetSource(before), second);
    EXPECT_EQ(MIDIGetSource(before + 1), 0U);
}

TEST_P(BackendContract, ReferenceStaysTheSameWhileOthersComeAndGo) {
    const auto other = world_->attach("4AC1F4C4");
    static_cast<void>(world_->attach("4AC2F4C4"));
    const MIDIEndpointRef from = source("4AC2F4C4");
    const MIDIEndpointRef to = destination("4AC2F4C4");
    world_->detach(other);
    static_cast<void>(world_->attach("4AC3F4C4"));
    EXPECT_EQ(source("4AC2F4C4"), from);
    EXPECT_EQ(destination("4AC2F4C4"), to);
    EXPECT_EQ(name_of(from), "4AC2F4C4");
}

TEST_P(BackendContract, PeerThatComesBackHasAnotherReference) {
    const auto peer = world_->attach("4AC5F4C4");
    const MIDIEndpointRef before = source("4AC5F4C4");
    world_->detach(peer);
    EXPECT_EQ(source("4AC5F4C4"), 0U);
    static_cast<void>(world_->attach("4AC5F4C4"));
    const MIDIEndpointRef after = source("4AC5F4C4");
    EXPECT_NE(after, 0U);
    EXPECT_NE(after, before);
    EXPECT_EQ(name_of(before), "(null)") << "the old reference does not come back to life";
}

TEST_P(BackendContract, OfflineSeesThatAPeerWasReplaced) {
    const auto before = world_->attach("4AC5F4C4");
    const MIDIEndpointRef from = source("4AC5F4C4");
    world_->detach(before);
    static_cast<void>(world_->attach("4AC5F4C4")); // where the other one was
    EXPECT_EQ(offline_of(from), (std::pair{-ENODEV, 1}));
}

TEST_P(BackendContract, SendSeesThatAPeerWasReplaced) {
    const auto before = world_->attach("4AC5F4C4");
    const MIDIEndpointRef to = destination("4AC5F4C4");
    world_->detach(before);
    const auto after = world_->attach("4AC5F4C4");
    EXPECT_EQ(send(to, {{0xF8}}), -ENODEV);
    EXPECT_EQ(send(destination("4AC5F4C4"), {{0xFE}}), 0);
    EXPECT_EQ(wait_for_bytes(after, 1), (Bytes{0xFE}));
}

TEST_P(BackendContract, ConnectionSeesThatAPeerWasReplaced) {
    const auto before = world_->attach("4AC5F4C4");
    const MIDIEndpointRef from = source("4AC5F4C4");
    world_->detach(before);
    static_cast<void>(world_->attach("4AC5F4C4"));
    EXPECT_EQ(MIDIPortConnectSource(in_, from, nullptr), -ENODEV);
    EXPECT_EQ(MIDIPortConnectSource(in_, source("4AC5F4C4"), nullptr), 0);
}

TEST_P(BackendContract, GonePeerIsNullAndOffline) {
    const auto peer = world_->attach("4AC5F4C4");
    for (const MIDIEndpointRef endpoint : {source("4AC5F4C4"), destination("4AC5F4C4")}) {
        ASSERT_NE(endpoint, 0U);
        EXPECT_EQ(offline_of(endpoint), (std::pair{0, 0}));
    }
    const std::vector<MIDIEndpointRef> endpoints{source("4AC5F4C4"), destination("4AC5F4C4")};
    world_->detach(peer);
    static_cast<void>(MIDIGetNumberOfSources());
    static_cast<void>(MIDIGetNumberOfDestinations());
    for (const MIDIEndpointRef endpoint : endpoints) {
        CFStringRef text = CFSTR("left over");
        EXPECT_EQ(MIDIObjectGetStringProperty(endpoint, kMIDIPropertyName, &text), -ENODEV);
        EXPECT_EQ(text, nullptr);
        EXPECT_EQ(offline_of(endpoint), (std::pair{-ENODEV, 1}));
    }
}

TEST_P(BackendContract, IndexOutOfRangeGivesNoObject) {
    static_cast<void>(world_->attach("4AC5F4C4"));
    const ItemCount sources = MIDIGetNumberOfSources();
    const ItemCount destinations = MIDIGetNumberOfDestinations();
    const ItemCount devices = MIDIGetNumberOfDevices();
    EXPECT_EQ(MIDIGetSource(sources), 0U);
    EXPECT_EQ(MIDIGetDestination(destinations), 0U);
    EXPECT_EQ(MIDIGetDevice(devices), 0U);
    for (const ItemCount index :
         {ItemCount{0xFFFFFFFF}, ItemCount{0x100000000}, std::numeric_limits<ItemCount>::max()}) {
        EXPECT_EQ(MIDIGetSource(index), 0U);
        EXPECT_EQ(MIDIGetDestination(index), 0U);
        EXPECT_EQ(MIDIGetDevice(index), 0U);
    }
}

TEST_P(BackendContract, QueryOnNoObjectFailsAndWritesNothing) {
    for (const MIDIObjectRef object : {MIDIObjectRef{0}, MIDIObjectRef{0xFFFFFFFF}}) {
        const CFStringRef before = CFSTR("left over");
        for (const CFStringRef property :
             {kMIDIPropertyName, kMIDIPropertyManufacturer, kMIDIPropertyModel}) {
            CFStringRef text = before;
            EXPECT_EQ(MIDIObjectGetStringProperty(object, property, &text), -ENXIO);
            EXPECT_EQ(text, before);
        }
        EXPECT_EQ(offline_of(object), (std::pair{-ENXIO, 7}));
    }
}

TEST_P(BackendContract, RenamedPeerHasItsNewNameAtTheNextCountThatIsLateEnough) {
    const auto peer = world_->attach("4AC5F4C4");
    const MIDIEndpointRef from = source("4AC5F4C4");
    const MIDIEndpointRef to = destination("4AC5F4C4");
    world_->rename(peer, "4ACAF4C4");
    world_->let_names_age();
    static_cast<void>(MIDIGetNumberOfSources());
    static_cast<void>(MIDIGetNumberOfDestinations());
    EXPECT_EQ(name_of(from), "4ACAF4C4");
    EXPECT_EQ(name_of(to), "4ACAF4C4");
    EXPECT_NE(device("4ACAF4C4"), 0U);
    EXPECT_EQ(device("4AC5F4C4"), 0U);
}

TEST_P(BackendContract, NamesComeOutInMacRoman) {
    static_cast<void>(world_->attach("4AC5F4C4 é"));
    EXPECT_EQ(name_of(source("4AC5F4C4 é")), "4AC5F4C4 \x8E");
}

TEST_P(BackendContract, ChangesCanBeWaitedForUntilTheNextCount) {
    static_cast<void>(MIDIGetNumberOfSources());
    const int changes = world_->backend().changes();
    ASSERT_GE(changes, 0);
    EXPECT_FALSE(is_readable(changes));
    const auto peer = world_->attach("4AC5F4C4");
    EXPECT_TRUE(is_readable(changes));
    EXPECT_NE(source("4AC5F4C4"), 0U);
    EXPECT_FALSE(is_readable(changes));
    world_->detach(peer);
    EXPECT_TRUE(is_readable(changes));
    EXPECT_EQ(device("4AC5F4C4"), 0U) << "whichever list is counted";
    EXPECT_FALSE(is_readable(changes));
    EXPECT_EQ(world_->backend().changes(), changes);
}
