// SPDX-License-Identifier: MIT
#include "midi_service/alsa/endpoint_list.h"

#include <alsa/asoundlib.h>

#include <gtest/gtest.h>

namespace {

// Capability words as Linux 6.1 has them, and what later kernels add to them.
constexpr unsigned usb_machine = 0x7F;     // the port of a USB device
constexpr unsigned through_port = 0x63;    // Midi Through
constexpr unsigned timer = 0x23;           // 0:0
constexpr unsigned announcements = 0x21;   // 0:1
constexpr unsigned keyboard = 0x21;        // a program that only plays
constexpr unsigned synthesizer = 0x42;     // a program that only listens
constexpr unsigned own_output = 0x81;      // ours
constexpr unsigned own_input = 0x82;       // ours
constexpr unsigned inactive_group = 0x17F; // a group of a device that is not in use
constexpr unsigned whole_device = 0x27F;   // all groups of a device in one port

PortInfo port(std::uint8_t client, std::uint8_t number, const std::string& name,
              unsigned capabilities = usb_machine) {
    return {.address = {client, number}, .name = name, .capabilities = capabilities};
}

using Names = std::vector<std::string>;

class AlsaEndpointList : public testing::Test {
protected:
    std::vector<MIDIObjectRef> list(ObjectList which) {
        const auto published = endpoints.publish(which);
        return {published.begin(), published.end()};
    }

    Names names(ObjectList which) {
        Names result;
        for (const MIDIObjectRef reference : list(which)) {
            Object* object = endpoints.find(reference);
            result.emplace_back(object ? view_text(object->text(TextProperty::name).get())
                                       : std::string_view("(gone)"));
        }
        return result;
    }

    EndpointList endpoints;
};

TEST_F(AlsaEndpointList, CapabilitiesSayWhatAPortCanBe) {
    EXPECT_TRUE(is_source_port(usb_machine));
    EXPECT_TRUE(is_destination_port(usb_machine));
    EXPECT_TRUE(is_source_port(through_port));
    EXPECT_TRUE(is_destination_port(through_port));
    EXPECT_TRUE(is_source_port(keyboard));
    EXPECT_FALSE(is_destination_port(keyboard));
    EXPECT_FALSE(is_source_port(synthesizer));
    EXPECT_TRUE(is_destination_port(synthesizer));
}

TEST_F(AlsaEndpointList, ClosedInactiveAndDoublePortsAreNone) {
    for (const unsigned word : {own_output, own_input, inactive_group, whole_device,
                                usb_machine | SND_SEQ_PORT_CAP_NO_EXPORT, 0U}) {
        EXPECT_FALSE(is_source_port(word)) << word;
        EXPECT_FALSE(is_destination_port(word)) << word;
    }
}

TEST_F(AlsaEndpointList, PortsThatCannotBeSubscribedToAreNone) {
    EXPECT_FALSE(is_source_port(SND_SEQ_PORT_CAP_READ));
    EXPECT_FALSE(is_source_port(SND_SEQ_PORT_CAP_SUBS_READ));
    EXPECT_FALSE(is_destination_port(SND_SEQ_PORT_CAP_WRITE));
    EXPECT_FALSE(is_destination_port(SND_SEQ_PORT_CAP_SUBS_WRITE));
}

TEST_F(AlsaEndpointList, SystemClientHasNoEndpoint) {
    endpoints.put(port(0, 0, "Timer", timer | SND_SEQ_PORT_CAP_SUBS_WRITE));
    endpoints.put(port(0, 1, "Announce", announcements));
    EXPECT_EQ(names(ObjectList::sources), Names{});
    EXPECT_EQ(names(ObjectList::destinations), Names{});
}

TEST_F(AlsaEndpointList, OrderIsThatOfClientsThenPorts) {
    endpoints.put(port(129, 0, "129:0"));
    endpoints.put(port(24, 1, "24:1", keyboard));
    endpoints.put(port(128, 0, "128:0"));
    endpoints.put(port(24, 0, "24:0", synthesizer));
    EXPECT_EQ(names(ObjectList::sources), (Names{"24:1", "128:0", "129:0"}));
    EXPECT_EQ(names(ObjectList::destinations), (Names{"24:0", "128:0", "129:0"}));
}

TEST_F(AlsaEndpointList, DuplexPortHasOneReference) {
    endpoints.put(port(24, 0, "4AC5F4C4"));
    EXPECT_EQ(list(ObjectList::sources), list(ObjectList::destinations));
}

TEST_F(AlsaEndpointList, ChangedPortKeepsItsReference) {
    endpoints.put(port(24, 0, "4AC5F4C4"));
    const auto before = list(ObjectList::sources);
    endpoints.put(port(24, 0, "4AC6F4C4", keyboard));
    EXPECT_EQ(list(ObjectList::sources), before);
    EXPECT_EQ(names(ObjectList::sources), Names{"4AC6F4C4"});
    EXPECT_EQ(names(ObjectList::destinations), Names{});
    EXPECT_FALSE(endpoints.find(before[0])->is_in(ObjectList::destinations));
}

TEST_F(AlsaEndpointList, PortThatIsClosedLaterGoes) {
    endpoints.put(port(24, 0, "4AC5F4C4"));
    const auto before = list(ObjectList::sources);
    endpoints.put(port(24, 0, "4AC5F4C4", inactive_group));
    EXPECT_EQ(names(ObjectList::sources), Names{});
    EXPECT_EQ(endpoints.find(before[0]), nullptr);
}

TEST_F(AlsaEndpointList, PortThatComesBackHasAnotherReference) {
    endpoints.put(port(24, 0, "4AC5F4C4"));
    const auto before = list(ObjectList::sources);
    endpoints.remove({24, 0});
    endpoints.put(port(24, 0, "4AC5F4C4"));
    const auto after = list(ObjectList::sources);
    EXPECT_NE(after, before);
    EXPECT_EQ(endpoints.find(before[0]), nullptr);
    EXPECT_EQ(endpoints.find(after[0] + 1000), nullptr);
    EXPECT_EQ(endpoints.find(0), nullptr);
}

TEST_F(AlsaEndpointList, TextThatWasGivenOutIsKeptAsItWas) {
    endpoints.put(port(24, 0, "4AC5F4C4"));
    Object* object = endpoints.find({24, 0});
    const TextHandle given(share_text(object->text(TextProperty::name).get()));
    endpoints.put(port(24, 0, "4AC6F4C4"));
    EXPECT_EQ(view_text(given.get()), "4AC5F4C4");
    EXPECT_EQ(view_text(object->text(TextProperty::name).get()), "4AC6F4C4");
}

TEST_F(AlsaEndpointList, FirstDeviceIsTheSequencer) {
    endpoints.put(port(129, 0, "port"));
    endpoints.put_device(129, {.name = "program", .model = "program", .manufacturer = {}});
    EXPECT_EQ(names(ObjectList::devices), (Names{"ALSA Sequencer", "program"}));
    Object* sequencer = endpoints.find(endpoints.publish(ObjectList::devices)[0]);
    EXPECT_EQ(view_text(sequencer->text(TextProperty::model).get()), "ALSA Sequencer");
    EXPECT_EQ(sequencer->text(TextProperty::manufacturer), nullptr);
}

TEST_F(AlsaEndpointList, DeviceGoesWithItsClientsLastPort) {
    for (const std::uint8_t client : std::vector<std::uint8_t>{128, 129, 130}) {
        endpoints.put(port(client, 0, "port"));
        endpoints.put_device(
            client, {.name = "program " + std::to_string(client), .model = {}, .manufacturer = {}});
    }
    endpoints.put(port(129, 3, "second port"));
    const MIDIObjectRef device = endpoints.find({129, whole_client})->reference;
    endpoints.remove({129, 0});
    EXPECT_NE(endpoints.find(device), nullptr);
    endpoints.remove({129, 3});
    EXPECT_EQ(endpoints.find(device), nullptr);
    EXPECT_EQ(names(ObjectList::devices), (Names{"ALSA Sequencer", "program 128", "program 130"}));
}

TEST_F(AlsaEndpointList, ReadingAnewKeepsWhatIsTheSame) {
    endpoints.put(port(24, 0, "stays"));
    endpoints.put(port(25, 0, "goes"));
    endpoints.put(port(26, 0, "is another"));
    const auto before = list(ObjectList::sources);
    endpoints.replace_all(
        std::vector{port(24, 0, "stays"), port(26, 0, "other"), port(27, 0, "comes")});
    const auto after = list(ObjectList::sources);
    EXPECT_EQ(names(ObjectList::sources), (Names{"stays", "other", "comes"}));
    EXPECT_EQ(after[0], before[0]);
    EXPECT_EQ(endpoints.find(before[1]), nullptr);
    EXPECT_EQ(endpoints.find(before[2]), nullptr);
    EXPECT_NE(after[1], before[2]) << "an endpoint under another name is another one";
}

TEST_F(AlsaEndpointList, PortThatWentIsNotTakenForTheNextOneOfItsName) {
    endpoints.put(port(24, 0, "twin"));
    endpoints.put(port(25, 0, "twin"));
    const auto before = list(ObjectList::sources);
    endpoints.replace_all(std::vector{port(25, 0, "twin")});
    EXPECT_EQ(list(ObjectList::sources), std::vector{before[1]});
}

TEST_F(AlsaEndpointList, AddressesAreThoseOfAllEndpointsInOrder) {
    endpoints.put(port(20, 1, "b"));
    endpoints.put(port(20, 0, "a"));
    endpoints.put(port(14, 0, "through", through_port));
    endpoints.put_device(20, {.name = "no endpoint", .model = {}, .manufacturer = {}});
    EXPECT_EQ(endpoints.addresses(), (std::vector<Address>{{14, 0}, {20, 0}, {20, 1}}));
}

} // namespace
