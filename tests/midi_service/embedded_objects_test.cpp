// SPDX-License-Identifier: MIT
#include "tests/midi_service/embedded_fixture.h"

#include <cerrno>

TEST_F(EmbeddedService, IsEmptyAtTheStartAndHasNoDeviceOfItsOwn) {
    EXPECT_EQ(MIDIGetNumberOfSources(), 0U);
    EXPECT_EQ(MIDIGetNumberOfDestinations(), 0U);
    EXPECT_EQ(MIDIGetNumberOfDevices(), 0U);
}

TEST_F(EmbeddedService, ObjectIsInTheListsItIsMeantFor) {
    const MIDIObjectRef source =
        service_.attach({.name = "source", .is_destination = false, .is_device = false});
    const MIDIObjectRef destination =
        service_.attach({.name = "destination", .is_source = false, .is_device = false});
    const MIDIObjectRef device =
        service_.attach({.name = "device", .is_source = false, .is_destination = false});
    const MIDIObjectRef all = service_.attach(named("all"));

    ASSERT_EQ(MIDIGetNumberOfSources(), 2U);
    EXPECT_EQ(MIDIGetSource(0), source);
    EXPECT_EQ(MIDIGetSource(1), all);
    ASSERT_EQ(MIDIGetNumberOfDestinations(), 2U);
    EXPECT_EQ(MIDIGetDestination(0), destination);
    EXPECT_EQ(MIDIGetDestination(1), all);
    ASSERT_EQ(MIDIGetNumberOfDevices(), 2U);
    EXPECT_EQ(MIDIGetDevice(0), device);
    EXPECT_EQ(MIDIGetDevice(1), all);
}

TEST_F(EmbeddedService, ListsAreInTheOrderOfAttaching) {
    const MIDIObjectRef first = service_.attach(named("4ACFF4C4"));
    const MIDIObjectRef second = service_.attach(named("4AC0F4C4"));
    const MIDIObjectRef third = service_.attach(named("4AC7F4C4"));
    service_.detach(second);
    const MIDIObjectRef fourth = service_.attach(named("4AC0F4C4"));
    ASSERT_EQ(MIDIGetNumberOfSources(), 3U);
    EXPECT_EQ(MIDIGetSource(0), first);
    EXPECT_EQ(MIDIGetSource(1), third);
    EXPECT_EQ(MIDIGetSource(2), fourth);
}

TEST_F(EmbeddedService, EachListMovesWhenItIsCountedItself) {
    static_cast<void>(service_.attach(named("4AC5F4C4")));
    EXPECT_EQ(MIDIGetNumberOfSources(), 1U);
    EXPECT_EQ(MIDIGetDestination(0), 0U);
    EXPECT_EQ(MIDIGetDevice(0), 0U);
    EXPECT_EQ(MIDIGetNumberOfDestinations(), 1U);
    EXPECT_NE(MIDIGetDestination(0), 0U);
    EXPECT_EQ(MIDIGetDevice(0), 0U);
}

TEST_F(EmbeddedService, EachTextOfAnObjectIsGivenOrNull) {
    const MIDIObjectRef full =
        service_.attach({.name = "a name", .manufacturer = "a maker", .model = "a model"});
    const MIDIObjectRef bare = service_.attach({});
    for (const auto& [property, expected] :
         {std::pair{kMIDIPropertyName, "a name"}, std::pair{kMIDIPropertyManufacturer, "a maker"},
          std::pair{kMIDIPropertyModel, "a model"}}) {
        EXPECT_EQ(text_of(full, property), expected);
        CFStringRef text = CFSTR("left over");
        EXPECT_EQ(MIDIObjectGetStringProperty(bare, property, &text), -ENODATA);
        EXPECT_EQ(text, nullptr);
    }
}

TEST_F(EmbeddedService, NameMayBeAnyBytes) {
    for (const char* name : {"", "4AC5F4C4", "\xFF\xFE", "设备"})
        EXPECT_EQ(text_of(service_.attach(named(name))), name);
}

TEST_F(EmbeddedService, OfflineIsAnyNumberOrAFailedQuery) {
    for (const std::int32_t offline : {0, 1, 2, -1}) {
        const MIDIObjectRef object = service_.attach({.offline = offline});
        EXPECT_EQ(offline_of(object), (std::pair{0, offline}));
    }
    const MIDIObjectRef object = service_.attach({.offline = {}});
    EXPECT_EQ(offline_of(object), (std::pair{-ENODATA, 7}));
}

TEST_F(EmbeddedService, ChangedObjectLooksDifferentUnderTheSameReference) {
    const MIDIObjectRef object = service_.attach(named("4AC5F4C4"));
    ASSERT_EQ(MIDIGetNumberOfSources(), 1U);
    service_.update_object(object, {.name = "4ACAF4C4", .offline = 1, .is_source = false});
    EXPECT_EQ(text_of(object), "4ACAF4C4");
    EXPECT_EQ(offline_of(object), (std::pair{0, 1}));
    EXPECT_EQ(MIDIGetSource(0), object) << "the list was not counted yet";
    EXPECT_EQ(MIDIGetNumberOfSources(), 0U);
    EXPECT_EQ(MIDIGetNumberOfDestinations(), 1U);
}

TEST_F(EmbeddedService, ChangeOfAGoneObjectDoesNothing) {
    const MIDIObjectRef object = service_.attach(named("4AC5F4C4"));
    service_.detach(object);
    service_.update_object(object, named("4ACAF4C4"));
    service_.detach(object);
    CFStringRef text = CFSTR("left over");
    EXPECT_EQ(MIDIObjectGetStringProperty(object, kMIDIPropertyName, &text), -ENODEV);
    EXPECT_EQ(text, nullptr);
    EXPECT_EQ(MIDIGetNumberOfSources(), 0U);
}

TEST_F(EmbeddedService, ObjectThatIsNoSourceOrNoDestinationIsNotUsedAsOne) {
    EXPECT_NE(MIDIPortConnectSource(in_, service_.attach({.is_source = false}), nullptr), 0);
    EXPECT_NE(send(service_.attach({.is_destination = false}), {{0xF8}}), 0);
}
