// SPDX-License-Identifier: MIT
#include "tests/midi_service/embedded_fixture.h"

#include <cerrno>

TEST_F(EmbeddedService, IsEmptyAtTheStartAndHasNoDeviceOfItsOwn) {
    EXPECT_EQ(MIDIGetNumberOfSources(), 0U);
    EXPECT_EQ(MIDIGetNumberOfDestinations(), 0U);
    EXPECT_EQ(MIDIGetNumberOfDevices(), 0U);
}

TEST_F(EmbeddedService, ObjectIsInTheListsItIsMeantFor) {
    EmbeddedObject look = named("source");
    look.is_destination = look.is_device = false;
    const MIDIObjectRef source = service_.attach(look);
    look = named("destination");
    look.is_source = look.is_device = false;
    const MIDIObjectRef destination = service_.attach(look);
    look = named("device");
    look.is_source = look.is_destination = false;
    const MIDIObjectRef device = service_.attach(look);
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
    EmbeddedObject look = named("a name");
    look.manufacturer = "a maker";
    look.model = "a model";
    const MIDIObjectRef full = service_.attach(look);
    look = {};
    const MIDIObjectRef bare = service_.attach(look);
    for (const auto& [property, expected] :
         {std::pair{kMIDIPropertyName, "a name"}, std::pair{kMIDIPropertyManufacturer, "a maker"},
          std::pair{kMIDIPropertyModel, "a model"}}) {
        CFStringRef text = nullptr;
        EXPECT_EQ(MIDIObjectGetStringProperty(full, property, &text), 0);
        ASSERT_NE(text, nullptr);
        EXPECT_EQ(view_text(text), expected);
        CFRelease(text);
        text = CFSTR("left over");
        EXPECT_EQ(MIDIObjectGetStringProperty(bare, property, &text), -ENODATA);
        EXPECT_EQ(text, nullptr);
    }
}

TEST_F(EmbeddedService, NameMayBeAnyBytes) {
    for (const char* name : {"", "4AC5F4C4", "\xFF\xFE", "设备"}) {
        const MIDIObjectRef object = service_.attach(named(name));
        CFStringRef text = nullptr;
        EXPECT_EQ(MIDIObjectGetStringProperty(object, kMIDIPropertyName, &text), 0);
        ASSERT_NE(text, nullptr);
        EXPECT_EQ(view_text(text), name);
        CFRelease(text);
    }
}

TEST_F(EmbeddedService, OfflineIsAnyNumberOrAFailedQuery) {
    for (const std::int32_t offline : {0, 1, 2, -1}) {
        EmbeddedObject look = named("4AC5F4C4");
        look.offline = offline;
        std::int32_t value = 9;
        EXPECT_EQ(MIDIObjectGetIntegerProperty(service_.attach(look), kMIDIPropertyOffline, &value),
                  0);
        EXPECT_EQ(value, offline);
    }
    EmbeddedObject look = named("4AC5F4C4");
    look.offline.reset();
    std::int32_t value = 9;
    EXPECT_EQ(MIDIObjectGetIntegerProperty(service_.attach(look), kMIDIPropertyOffline, &value),
              -ENODATA);
    EXPECT_EQ(value, 9);
}

TEST_F(EmbeddedService, ChangedObjectLooksDifferentUnderTheSameReference) {
    const MIDIObjectRef object = service_.attach(named("4AC5F4C4"));
    ASSERT_EQ(MIDIGetNumberOfSources(), 1U);
    EmbeddedObject look = named("4ACAF4C4");
    look.offline = 1;
    look.is_source = false;
    service_.update_object(object, look);
    CFStringRef text = nullptr;
    EXPECT_EQ(MIDIObjectGetStringProperty(object, kMIDIPropertyName, &text), 0);
    EXPECT_EQ(view_text(text), "4ACAF4C4");
    CFRelease(text);
    std::int32_t offline = 0;
    EXPECT_EQ(MIDIObjectGetIntegerProperty(object, kMIDIPropertyOffline, &offline), 0);
    EXPECT_EQ(offline, 1);
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
    EmbeddedObject look = named("4AC5F4C4");
    look.is_source = false;
    EXPECT_NE(MIDIPortConnectSource(in_, service_.attach(look), nullptr), 0);
    look = named("4AC5F4C4");
    look.is_destination = false;
    EXPECT_NE(send(service_.attach(look), {{0xF8}}), 0);
}
