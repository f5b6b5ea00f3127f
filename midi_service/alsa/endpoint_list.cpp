// SPDX-License-Identifier: MIT
#include "midi_service/alsa/endpoint_list.h"

#include <algorithm>
#include <alsa/asoundlib.h>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <utility>

namespace {

// Linux 6.5 and later set these two; older versions of alsa-lib have no names for them.
constexpr unsigned inactive = 1U << 8;
constexpr unsigned whole_of_groups = 1U << 9;

constexpr unsigned hidden = SND_SEQ_PORT_CAP_NO_EXPORT | inactive | whole_of_groups;
constexpr std::uint8_t system_client = SND_SEQ_CLIENT_SYSTEM;

/// The file's first line, or `otherwise` when there is none.
std::string first_line(const std::filesystem::path& file, const std::string& otherwise) {
    std::ifstream stream(file);
    std::string line;
    std::getline(stream, line);
    return line.empty() ? otherwise : line;
}

std::string card_name(int card, const std::string& otherwise) {
    char* raw = nullptr;
    if (snd_card_get_name(card, &raw) < 0)
        return otherwise;
    const std::unique_ptr<char, decltype(&std::free)> name(raw, &std::free);
    return name.get();
}

bool can(unsigned capabilities, unsigned wanted) {
    return (capabilities & (wanted | hidden)) == wanted;
}

} // namespace

bool is_source_port(unsigned capabilities) {
    return can(capabilities, SND_SEQ_PORT_CAP_READ | SND_SEQ_PORT_CAP_SUBS_READ);
}

bool is_destination_port(unsigned capabilities) {
    return can(capabilities, SND_SEQ_PORT_CAP_WRITE | SND_SEQ_PORT_CAP_SUBS_WRITE);
}

DeviceTexts card_texts(const std::string& client_name, const std::string& card_name,
                       const std::filesystem::path& folder) {
    // "device" links to the folder of a USB interface; the USB device is the folder above.
    const auto usb_device = folder / "device" / "..";
    return {.name = client_name,
            .model = first_line(usb_device / "product", card_name),
            .manufacturer = first_line(usb_device / "manufacturer", card_name)};
}

DeviceTexts device_texts(const ClientInfo& client) {
    if (client.card < 0)
        return {.name = client.name, .model = client.name, .manufacturer = {}};
    return card_texts(client.name, card_name(client.card, client.name),
                      "/sys/class/sound/card" + std::to_string(client.card));
}

EndpointList::EndpointList() {
    put_device(system_client, {"ALSA Sequencer", "ALSA Sequencer", {}});
}

void EndpointList::put(const PortInfo& info) {
    const bool is_source = is_source_port(info.capabilities);
    const bool is_destination = is_destination_port(info.capabilities);
    if (info.address.client == system_client || (!is_source && !is_destination))
        return remove(info.address);
    Object* known = find(info.address);
    Object& endpoint = known ? *known : add(info.address);
    set_lists(endpoint, {is_source, is_destination, false});
    set_text(endpoint, TextProperty::name, info.name);
}

void EndpointList::remove(Address address) {
    const auto going = by_address_.find(address);
    if (going == by_address_.end())
        return;
    set_lists(*going->second, {});
    objects_[going->second->reference].reset();
    const auto next = by_address_.erase(going);
    // In front of every client's endpoints there is something: the sequencer's device at least.
    const Address device{address.client, whole_client};
    if (next != by_address_.end() && next->first == device &&
        std::prev(next)->first.client != address.client)
        remove(device);
}

void EndpointList::replace_all(std::span<const PortInfo> ports) {
    for (const Address address : addresses()) {
        const auto now = std::ranges::lower_bound(ports, address, std::less{}, &PortInfo::address);
        if (now == ports.end() || now->address != address || now->name != find(address)->name())
            remove(address);
    }
    for (const PortInfo& port : ports)
        put(port);
}

void EndpointList::put_device(std::uint8_t client, const DeviceTexts& texts) {
    const Address address{client, whole_client};
    Object* known = find(address);
    Object& device = known ? *known : add(address);
    set_lists(device, {false, false, true});
    set_text(device, TextProperty::name, texts.name);
    set_text(device, TextProperty::model, texts.model);
    if (!texts.manufacturer.empty())
        set_text(device, TextProperty::manufacturer, texts.manufacturer);
}

Object* EndpointList::find(Address address) const {
    const auto object = by_address_.find(address);
    return object == by_address_.end() ? nullptr : object->second;
}

std::vector<Address> EndpointList::addresses() const {
    std::vector<Address> addresses;
    for (const auto& [address, object] : by_address_) {
        if (object->is_endpoint())
            addresses.push_back(address);
    }
    return addresses;
}

std::span<const MIDIObjectRef> EndpointList::publish(ObjectList list) {
    const auto index = static_cast<std::size_t>(list);
    auto& references = published_[index];
    if (!std::exchange(stale_[index], false))
        return references;
    references.clear();
    for (const auto& [address, object] : by_address_) {
        if (object->is_in(list))
            references.push_back(object->reference);
    }
    return references;
}

/// Under a new reference. The object stays where it is until it is removed.
Object& EndpointList::add(Address address) {
    const MIDIObjectRef reference = new_reference();
    objects_.resize(reference + std::size_t{1});
    objects_.back() = std::make_unique<Object>(Object{.reference = reference, .address = address});
    by_address_.emplace(address, objects_.back().get());
    return *objects_.back();
}

void EndpointList::set_lists(Object& object, std::array<bool, 3> lists) {
    if (object.lists == lists)
        return;
    object.lists = lists;
    stale_.fill(true);
}

void EndpointList::set_text(Object& object, TextProperty property, std::string_view text) {
    TextHandle& known = object.text(property);
    // The old text lives on with those it was given to.
    if (!known || view_text(known.get()) != text)
        known.reset(make_text(text));
}
