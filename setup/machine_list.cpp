// SPDX-License-Identifier: MIT
#include "setup/machine_list.h"

#include "protocol/device_code.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <map>
#include <utility>

namespace setup {

namespace {

constexpr std::uint32_t utf_8 = 0x08000100;
constexpr std::size_t longest_name = 512; // longer ones are cut; the sequencer's are shorter

using Machines = std::map<std::uint32_t, Machine>;

std::string text_of(MIDIObjectRef object, CFStringRef property) {
    CFStringRef text = nullptr;
    if (MIDIObjectGetStringProperty(object, property, &text) != 0 || !text)
        return {};
    std::array<char, longest_name> buffer{};
    (void)CFStringGetCString(text, buffer.data(), buffer.size(), utf_8);
    CFRelease(text);
    return buffer.data();
}

/// The code that the name begins with, in the form in which machines carry it.
std::optional<std::uint32_t> code_in(std::string_view name) {
    const auto code = protocol::parse_code(name.substr(0, protocol::code_digits));
    return code && protocol::carries(name, *code) ? code : std::nullopt;
}

bool is_online(MIDIEndpointRef endpoint) {
    std::int32_t offline = 0;
    (void)MIDIObjectGetIntegerProperty(endpoint, kMIDIPropertyOffline, &offline);
    return offline == 0;
}

Endpoint look_at(MIDIEndpointRef reference, std::string name, const AddressOf& address_of) {
    return {.reference = reference,
            .name = std::move(name),
            .address = address_of(reference),
            .is_online = is_online(reference)};
}

void add_sources(Machines& machines, const AddressOf& address_of) {
    const ItemCount count = MIDIGetNumberOfSources();
    for (ItemCount i = 0; i < count; ++i) {
        const MIDIEndpointRef source = MIDIGetSource(i);
        std::string name = text_of(source, kMIDIPropertyName);
        if (const auto code = code_in(name))
            machines[*code].sources.push_back(look_at(source, std::move(name), address_of));
    }
}

void add_destinations(Machines& machines, const AddressOf& address_of) {
    const ItemCount count = MIDIGetNumberOfDestinations();
    for (ItemCount i = 0; i < count; ++i) {
        const MIDIEndpointRef destination = MIDIGetDestination(i);
        std::string name = text_of(destination, kMIDIPropertyName);
        if (const auto code = code_in(name))
            machines[*code].destinations.push_back(
                look_at(destination, std::move(name), address_of));
    }
}

/// Those whose names begin with a code.
std::vector<std::pair<std::uint32_t, Device>> coded_devices() {
    std::vector<std::pair<std::uint32_t, Device>> devices;
    const ItemCount count = MIDIGetNumberOfDevices();
    for (ItemCount i = 0; i < count; ++i) {
        const MIDIDeviceRef device = MIDIGetDevice(i);
        std::string name = text_of(device, kMIDIPropertyName);
        if (const auto code = code_in(name))
            devices.emplace_back(*code, Device{.name = std::move(name),
                                               .model = text_of(device, kMIDIPropertyModel)});
    }
    return devices;
}

/// All endpoints, those that can be written first. Nothing is asked behind the last count, so no
/// news of a later change is used up.
std::vector<MIDIEndpointRef> count_endpoints() {
    std::vector<MIDIEndpointRef> endpoints;
    const ItemCount destinations = MIDIGetNumberOfDestinations();
    for (ItemCount i = 0; i < destinations; ++i)
        endpoints.push_back(MIDIGetDestination(i));
    endpoints.push_back(0); // an end that nothing is mistaken across
    const ItemCount sources = MIDIGetNumberOfSources();
    for (ItemCount i = 0; i < sources; ++i)
        endpoints.push_back(MIDIGetSource(i));
    return endpoints;
}

/// The source that belongs to the port at `address`: the one there, else the only one of its
/// client.
std::optional<Endpoint> source_beside(const PortAddress& address, const AddressOf& address_of) {
    std::vector<MIDIEndpointRef> of_client;
    const ItemCount count = MIDIGetNumberOfSources();
    for (ItemCount i = 0; i < count; ++i) {
        const MIDIEndpointRef source = MIDIGetSource(i);
        const auto there = address_of(source);
        if (there == address)
            return look_at(source, text_of(source, kMIDIPropertyName), address_of);
        if (there && there->client == address.client)
            of_client.push_back(source);
    }
    if (of_client.size() != 1)
        return std::nullopt;
    return look_at(of_client[0], text_of(of_client[0], kMIDIPropertyName), address_of);
}

Choice choice_of(const Machine& machine) {
    Choice choice{.obstacle = machine.obstacle(), .target = {}, .candidates = {machine}};
    if (choice.obstacle == Obstacle::none)
        choice.target = {.code = machine.code,
                         .source = machine.sources[0],
                         .destination = machine.destinations[0]};
    return choice;
}

} // namespace

std::string address_text(const PortAddress& address) {
    return std::to_string(address.client) + ":" + std::to_string(address.port);
}

std::optional<PortAddress> parse_address(std::string_view text) {
    PortAddress address;
    const auto number = [&text](int& value) {
        const bool is_digit = !text.empty() && text[0] >= '0' && text[0] <= '9';
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        if (!is_digit || error != std::errc{})
            return false;
        text.remove_prefix(static_cast<std::size_t>(end - text.data()));
        return true;
    };
    if (!number(address.client) || !text.starts_with(':'))
        return std::nullopt;
    text.remove_prefix(1);
    if (!number(address.port) || !text.empty())
        return std::nullopt;
    return address;
}

bool Machine::is_in_family() const {
    return protocol::family_number(code).has_value();
}

bool Machine::has_agreeing_device() const {
    return std::ranges::any_of(devices, [this](const Device& device) {
        return protocol::carries(device.name, code) && protocol::carries(device.model, code);
    });
}

Obstacle Machine::obstacle() const {
    if (sources.empty() && destinations.empty())
        return Obstacle::no_machine;
    if (destinations.empty())
        return Obstacle::no_destination;
    if (sources.empty())
        return Obstacle::no_source;
    if (destinations.size() > 1)
        return Obstacle::several_destinations;
    if (sources.size() > 1)
        return Obstacle::several_sources;
    return sources[0].is_online && destinations[0].is_online ? Obstacle::none : Obstacle::offline;
}

std::vector<Machine> list_machines(const AddressOf& address_of) {
    // Each count takes the announcements of all three lists. The sources come last, so that whoever
    // waits for a machine to be heard is told of one that has come since.
    Machines machines;
    auto devices = coded_devices();
    add_destinations(machines, address_of);
    add_sources(machines, address_of);
    for (auto& [code, device] : devices) {
        if (const auto machine = machines.find(code); machine != machines.end())
            machine->second.devices.push_back(std::move(device));
    }
    std::vector<Machine> list;
    list.reserve(machines.size());
    for (auto& [code, machine] : machines) {
        machine.code = code;
        list.push_back(std::move(machine));
    }
    return list;
}

void look_until_settled(const std::function<void()>& look) {
    std::vector<MIDIEndpointRef> before;
    std::vector<MIDIEndpointRef> after = count_endpoints();
    do {
        before = std::move(after);
        look();
        after = count_endpoints();
    } while (before != after);
}

std::vector<Machine> list_settled_machines(const AddressOf& address_of) {
    std::vector<Machine> machines;
    look_until_settled([&] { machines = list_machines(address_of); });
    return machines;
}

Choice choose_only(const std::vector<Machine>& machines) {
    Choice several{.obstacle = Obstacle::several_machines, .target = {}, .candidates = {}};
    std::ranges::copy_if(machines, std::back_inserter(several.candidates), &Machine::is_in_family);
    if (several.candidates.empty())
        return {};
    return several.candidates.size() == 1 ? choice_of(several.candidates[0]) : several;
}

Choice choose_code(const std::vector<Machine>& machines, std::uint32_t code) {
    const auto machine = std::ranges::find(machines, code, &Machine::code);
    return machine == machines.end() ? Choice{} : choice_of(*machine);
}

Choice choose_port(std::uint32_t code, const PortAddress& address, const AddressOf& address_of) {
    Choice choice{.obstacle = Obstacle::no_such_port, .target = {.code = code}, .candidates = {}};
    const ItemCount count = MIDIGetNumberOfDestinations();
    for (ItemCount i = 0; i < count; ++i) {
        const MIDIEndpointRef destination = MIDIGetDestination(i);
        if (address_of(destination) != address)
            continue;
        choice.target.destination =
            look_at(destination, text_of(destination, kMIDIPropertyName), address_of);
        choice.obstacle = Obstacle::nothing_to_hear;
    }
    if (choice.obstacle == Obstacle::no_such_port)
        return choice;
    if (auto source = source_beside(address, address_of)) {
        choice.target.source = std::move(*source);
        const bool online = choice.target.source.is_online && choice.target.destination.is_online;
        choice.obstacle = online ? Obstacle::none : Obstacle::offline;
    }
    return choice;
}

} // namespace setup
