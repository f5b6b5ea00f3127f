// SPDX-License-Identifier: MIT
#include "setup/machine_list.h"

#include "midi_service/embedded/embedded_backend.h"

#include <map>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using setup::address_text;
using setup::Choice;
using setup::choose_code;
using setup::choose_only;
using setup::choose_port;
using setup::list_machines;
using setup::Machine;
using setup::Obstacle;
using setup::parse_address;
using setup::PortAddress;
using testing::ElementsAre;

namespace {

constexpr std::uint32_t code = 0x4AC5F4C4;
constexpr std::uint32_t other_code = 0x4ACFF4C4;

class MachineList : public testing::Test {
protected:
    MachineList() { install_midi_backend(&service); }
    ~MachineList() override { install_midi_backend(nullptr); }

    /// An object at an address. Both ends and device, unless told otherwise.
    MIDIObjectRef add(EmbeddedObject object, PortAddress address) {
        if (!object.model)
            object.model = object.name;
        const MIDIObjectRef reference = service.attach(std::move(object));
        addresses[reference] = address;
        return reference;
    }

    /// A USB machine: device, source and destination.
    MIDIObjectRef add_machine(const std::string& name, PortAddress address) {
        return add({.name = name + " MIDI 1", .model = name}, address);
    }

    [[nodiscard]] std::vector<Machine> list() const { return list_machines(address_of); }

    [[nodiscard]] Obstacle only_obstacle() const {
        const std::vector<Machine> machines = list();
        return machines.size() == 1 ? machines[0].obstacle() : Obstacle::several_machines;
    }

    EmbeddedBackend service{EmbeddedBackend::Time::manual};
    std::map<MIDIObjectRef, PortAddress> addresses;
    setup::AddressOf address_of = [this](MIDIEndpointRef port) -> std::optional<PortAddress> {
        const auto found = addresses.find(port);
        return found == addresses.end() ? std::nullopt : std::optional{found->second};
    };
};

std::vector<std::uint32_t> codes(const std::vector<Machine>& machines) {
    std::vector<std::uint32_t> codes;
    codes.reserve(machines.size());
    for (const Machine& machine : machines)
        codes.push_back(machine.code);
    return codes;
}

} // namespace

TEST(PortAddressText, IsThatOfTheSequencersTools) {
    EXPECT_EQ(address_text({24, 0}), "24:0");
    EXPECT_EQ(parse_address("24:0"), (PortAddress{24, 0}));
    EXPECT_EQ(parse_address("129:15"), (PortAddress{129, 15}));
    for (const char* const wrong :
         {"", ":", "24", "24:", ":0", "24:0 ", " 24:0", "24: 0", "+24:0", "-1:0", "24:-1", "24:+0",
          "24:0:0", "24.0", "a:0", "24:a", "99999999999:0", "0:99999999999"})
        EXPECT_FALSE(parse_address(wrong)) << wrong;
}

TEST_F(MachineList, HasAMachineWithAllThatIsKnownOfIt) {
    const MIDIObjectRef port = add_machine("4AC5F4C4", {24, 0});
    const std::vector<Machine> machines = list();
    ASSERT_EQ(machines.size(), 1U);
    const Machine& machine = machines[0];
    EXPECT_EQ(machine.code, code);
    EXPECT_TRUE(machine.is_in_family());
    EXPECT_EQ(machine.obstacle(), Obstacle::none);
    for (const auto& ends : {machine.sources, machine.destinations}) {
        ASSERT_EQ(ends.size(), 1U);
        EXPECT_EQ(ends[0].reference, port);
        EXPECT_EQ(ends[0].name, "4AC5F4C4 MIDI 1");
        EXPECT_EQ(ends[0].address, (PortAddress{24, 0}));
        EXPECT_TRUE(ends[0].is_online);
    }
    ASSERT_EQ(machine.devices.size(), 1U);
    EXPECT_EQ(machine.devices[0].name, "4AC5F4C4 MIDI 1");
    EXPECT_EQ(machine.devices[0].model, "4AC5F4C4");
    EXPECT_TRUE(machine.has_agreeing_device());
}

TEST_F(MachineList, IsInTheOrderOfTheCodesWhateverTheirFamily) {
    add_machine("4ACFF4C4", {30, 0});
    add_machine("DEADBEEF", {29, 0});
    add_machine("4AC0F4C4", {31, 0});
    add_machine("00000000", {32, 0});
    const std::vector<Machine> machines = list();
    EXPECT_THAT(codes(machines), ElementsAre(0U, 0x4AC0F4C4U, 0x4ACFF4C4U, 0xDEADBEEFU));
    EXPECT_FALSE(machines[0].is_in_family());
    EXPECT_TRUE(machines[1].is_in_family());
    EXPECT_FALSE(machines[3].is_in_family());
}

TEST_F(MachineList, NamesWithoutEightUpperCaseDigitsInFrontAreNoMachines) {
    for (const char* const name : {"", "4AC5F4C", "4ac5f4c4", "4AC5F4Cx", " 4AC5F4C4", "Keyboard",
                                   "4AC5 F4C4", "MIDI 4AC5F4C4"})
        add_machine(name, {40, 0});
    add({.name = std::nullopt}, {41, 0});
    EXPECT_TRUE(list().empty());
}

TEST_F(MachineList, NamesAreUtf8AndLongOnesAreThere) {
    const std::string name = "4AC5F4C4 工作台 " + std::string(200, 'x');
    add_machine(name, {24, 0});
    const std::vector<Machine> machines = list();
    ASSERT_EQ(machines.size(), 1U);
    EXPECT_EQ(machines[0].sources[0].name, name + " MIDI 1");
}

TEST_F(MachineList, EndsMayBelongToTwoClients) {
    add({.name = "4AC5F4C4 in", .is_source = false, .is_device = false}, {130, 0});
    add({.name = "4AC5F4C4 out", .is_destination = false, .is_device = false}, {131, 2});
    const Choice choice = choose_only(list());
    EXPECT_EQ(choice.obstacle, Obstacle::none);
    EXPECT_EQ(choice.target.destination.address, (PortAddress{130, 0}));
    EXPECT_EQ(choice.target.source.address, (PortAddress{131, 2}));
    EXPECT_FALSE(choice.candidates.at(0).has_agreeing_device());
}

TEST_F(MachineList, DeviceAloneIsNoMachine) {
    add({.name = "4AC5F4C4", .is_source = false, .is_destination = false}, {24, 0});
    EXPECT_TRUE(list().empty());
}

TEST_F(MachineList, WindowWantsNameAndModelOfOneDevice) {
    add({.name = "4AC5F4C4", .model = "4AC6F4C4"}, {24, 0});
    EXPECT_FALSE(list().at(0).has_agreeing_device());
    add({.name = "Other", .model = "4AC5F4C4", .is_source = false, .is_destination = false},
        {25, 0});
    EXPECT_FALSE(list().at(0).has_agreeing_device());
    add({.name = "4AC5F4C4",
         .model = "4AC5F4C4 rev 2",
         .is_source = false,
         .is_destination = false},
        {26, 0});
    EXPECT_TRUE(list().at(0).has_agreeing_device());
    EXPECT_EQ(list().at(0).devices.size(), 2U);
}

TEST_F(MachineList, MachineWithOneEndIsInTheWay) {
    const MIDIObjectRef one = add({.name = "4AC5F4C4", .is_destination = false}, {24, 0});
    EXPECT_EQ(only_obstacle(), Obstacle::no_destination);
    service.detach(one);
    add({.name = "4AC5F4C4", .is_source = false}, {24, 0});
    EXPECT_EQ(only_obstacle(), Obstacle::no_source);
}

TEST_F(MachineList, TwinsAreInTheWayWithAllTheirAddresses) {
    add_machine("4AC5F4C4", {24, 0});
    add_machine("4AC5F4C4", {28, 0});
    const Choice choice = choose_code(list(), code);
    EXPECT_EQ(choice.obstacle, Obstacle::several_destinations);
    ASSERT_EQ(choice.candidates.size(), 1U);
    ASSERT_EQ(choice.candidates[0].destinations.size(), 2U);
    EXPECT_EQ(choice.candidates[0].destinations[0].address, (PortAddress{24, 0}));
    EXPECT_EQ(choice.candidates[0].destinations[1].address, (PortAddress{28, 0}));
    EXPECT_EQ(choice.target.destination.reference, 0U);
}

TEST_F(MachineList, TwoSourcesAreInTheWay) {
    add_machine("4AC5F4C4", {24, 0});
    add({.name = "4AC5F4C4 MIDI 2", .is_destination = false}, {24, 1});
    EXPECT_EQ(only_obstacle(), Obstacle::several_sources);
}

TEST_F(MachineList, OfflineIsInTheWay) {
    for (const bool is_source : {false, true}) {
        const MIDIObjectRef one = add({.name = "4AC5F4C4",
                                       .offline = 1,
                                       .is_source = is_source,
                                       .is_destination = !is_source},
                                      {24, 0});
        const MIDIObjectRef other = add(
            {.name = "4AC5F4C4", .is_source = !is_source, .is_destination = is_source}, {24, 1});
        EXPECT_EQ(only_obstacle(), Obstacle::offline);
        service.detach(one);
        service.detach(other);
    }
    add({.name = "4AC5F4C4", .offline = std::nullopt}, {24, 0}); // the service cannot say
    EXPECT_EQ(only_obstacle(), Obstacle::none);
}

TEST_F(MachineList, WithoutACodeOnlyTheFamilyIsLookedFor) {
    EXPECT_EQ(choose_only(list()).obstacle, Obstacle::no_machine);
    add_machine("DEADBEEF", {24, 0});
    EXPECT_EQ(choose_only(list()).obstacle, Obstacle::no_machine);
    EXPECT_EQ(choose_code(list(), 0xDEADBEEF).obstacle, Obstacle::none);
    EXPECT_EQ(choose_code(list(), code).obstacle, Obstacle::no_machine);
    add_machine("4AC5F4C4", {28, 0});
    const Choice choice = choose_only(list());
    EXPECT_EQ(choice.obstacle, Obstacle::none);
    EXPECT_EQ(choice.target.code, code);
    EXPECT_EQ(choice.target.source.address, (PortAddress{28, 0}));
}

TEST_F(MachineList, WithoutACodeSeveralOfTheFamilyAreTooMany) {
    add_machine("4AC5F4C4", {24, 0});
    add_machine("DEADBEEF", {25, 0});
    add_machine("4ACFF4C4", {28, 0});
    const Choice choice = choose_only(list());
    EXPECT_EQ(choice.obstacle, Obstacle::several_machines);
    EXPECT_THAT(codes(choice.candidates), ElementsAre(code, other_code));
    EXPECT_EQ(choose_code(list(), other_code).target.source.address, (PortAddress{28, 0}));
}

TEST_F(MachineList, PortIsTakenWhateverItsName) {
    add({.name = "Merge box"}, {20, 1});
    const Choice choice = choose_port(code, {20, 1}, address_of);
    EXPECT_EQ(choice.obstacle, Obstacle::none);
    EXPECT_EQ(choice.target.code, code);
    EXPECT_EQ(choice.target.destination.name, "Merge box");
    EXPECT_EQ(choice.target.source.address, (PortAddress{20, 1}));
}

TEST_F(MachineList, PortIsOneOfTwoTwins) {
    add_machine("4AC5F4C4", {24, 0});
    add_machine("4AC5F4C4", {28, 0});
    const Choice choice = choose_port(code, {28, 0}, address_of);
    EXPECT_EQ(choice.obstacle, Obstacle::none);
    EXPECT_EQ(choice.target.source.address, (PortAddress{28, 0}));
    EXPECT_EQ(choice.target.destination.address, (PortAddress{28, 0}));
}

TEST_F(MachineList, PortWithoutASourceIsHeardAtTheOnlyOneOfItsClient) {
    add({.name = "out", .is_source = false}, {20, 0});
    add({.name = "elsewhere", .is_destination = false}, {21, 0});
    EXPECT_EQ(choose_port(code, {20, 0}, address_of).obstacle, Obstacle::nothing_to_hear);
    add({.name = "in", .is_destination = false}, {20, 3});
    const Choice choice = choose_port(code, {20, 0}, address_of);
    EXPECT_EQ(choice.obstacle, Obstacle::none);
    EXPECT_EQ(choice.target.source.name, "in");
    add({.name = "in too", .is_destination = false}, {20, 4});
    EXPECT_EQ(choose_port(code, {20, 0}, address_of).obstacle, Obstacle::nothing_to_hear);
    add({.name = "out", .is_destination = false}, {20, 0});
    EXPECT_EQ(choose_port(code, {20, 0}, address_of).obstacle, Obstacle::none);
}

TEST_F(MachineList, PortThatCannotBeWrittenIsNone) {
    add({.name = "in", .is_destination = false}, {20, 3});
    EXPECT_EQ(choose_port(code, {20, 3}, address_of).obstacle, Obstacle::no_such_port);
    EXPECT_EQ(choose_port(code, {21, 0}, address_of).obstacle, Obstacle::no_such_port);
}

TEST_F(MachineList, PortThatIsOfflineIsInTheWay) {
    add({.name = "out", .offline = 1}, {20, 0});
    EXPECT_EQ(choose_port(code, {20, 0}, address_of).obstacle, Obstacle::offline);
}
