// SPDX-License-Identifier: MIT
#include "midi_service/alsa/endpoint_list.h"

#include <algorithm>
#include <alsa/asoundlib.h>
#include <functional>
#include <utility>

namespace {

// Linux 6.5 and later set these two; older versions of alsa-lib have no names for them.
constexpr unsigned inactive = 1U << 8;
constexpr unsigned whole_of_groups = 1U << 9;

constexpr unsigned hidden = SND_SEQ_PORT_CAP_NO_EXPORT | inactive | whole_of_groups;
constexpr std::uint8_t system_client = SND_SEQ_CLIENT_SYSTEM;

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

EndpointList::EndpointList() {
    Object& device = add({});
    set_text(device, TextProperty::name, "ALSA Sequencer");
    set_text(device, TextProperty::model, "ALSA Sequencer");
    sequencer_device_ = device.reference;
}

void EndpointList::put(const PortInfo& info) {
    const bool is_source = is_source_port(info.capabilities);
    const bool is_destination = is_destination_port(info.capabilities);
    if (info.address.client == system_client || (!is_source && !is_destination))
        return remove(info.address);
    Object* endpoint = find(info.address);
    if (!endpoint) {
        endpoint = &add(info.address);
        endpoints_.emplace(info.address, endpoint);
    }
    if (endpoint->is_source != is_source || endpoint->is_destination != is_destination) {
        endpoint->is_source = is_source;
        endpoint->is_destination = is_destination;
        changed();
    }
    set_text(*endpoint, TextProperty::name, info.name);
}

void EndpointList::remove(Address address) {
    const auto endpoint = endpoints_.find(address);
    if (endpoint == endpoints_.end())
        return;
    objects_[endpoint->second->reference].reset();
    const auto next = endpoints_.erase(endpoint);
    changed();
    const auto is_of_client = [&](auto other) { return other->first.client == address.client; };
    if ((next != endpoints_.end() && is_of_client(next)) ||
        (next != endpoints_.begin() && is_of_client(std::prev(next))))
        return;
    if (const auto device = devices_.find(address.client); device != devices_.end()) {
        objects_[device->second->reference].reset();
        devices_.erase(device);
    }
}

void EndpointList::replace_all(std::span<const PortInfo> ports) {
    std::vector<Address> gone;
    for (const auto& [address, endpoint] : endpoints_) {
        const auto now = std::ranges::lower_bound(ports, address, std::less{}, &PortInfo::address);
        if (now == ports.end() || now->address != address ||
            now->name != view_text(endpoint->text(TextProperty::name).get()))
            gone.push_back(address);
    }
    for (const Address address : gone)
        remove(address);
    for (const PortInfo& port : ports)
        put(port);
}

std::vector<std::uint8_t> EndpointList::clients() const {
    std::vector<std::uint8_t> clients;
    for (const auto& [address, endpoint] : endpoints_) {
        if (clients.empty() || clients.back() != address.client)
            clients.push_back(address.client);
    }
    return clients;
}

Object* EndpointList::device(std::uint8_t client) const {
    const auto device = devices_.find(client);
    return device == devices_.end() ? nullptr : device->second;
}

void EndpointList::put_device(std::uint8_t client, const DeviceTexts& texts) {
    Object* known = device(client);
    if (!known) {
        known = &add({.client = client});
        devices_.emplace(client, known);
        changed();
    }
    set_text(*known, TextProperty::name, texts.name);
    set_text(*known, TextProperty::model, texts.model);
    if (!texts.manufacturer.empty())
        set_text(*known, TextProperty::manufacturer, texts.manufacturer);
}

std::vector<Address> EndpointList::addresses() const {
    std::vector<Address> addresses;
    for (const auto& [address, endpoint] : endpoints_)
        addresses.push_back(address);
    return addresses;
}

Object* EndpointList::find(Address address) const {
    const auto endpoint = endpoints_.find(address);
    return endpoint == endpoints_.end() ? nullptr : endpoint->second;
}

std::span<const MIDIObjectRef> EndpointList::publish(ObjectList list) {
    auto& [references, is_current] = published_[static_cast<std::size_t>(list)];
    if (is_current)
        return references;
    references.clear();
    if (list == ObjectList::devices) {
        references.push_back(sequencer_device_);
        for (const auto& [client, device] : devices_)
            references.push_back(device->reference);
    } else {
        for (const auto& [address, endpoint] : endpoints_) {
            if (list == ObjectList::sources ? endpoint->is_source : endpoint->is_destination)
                references.push_back(endpoint->reference);
        }
    }
    is_current = true;
    return references;
}

/// Under a new reference. The object stays where it is until it is removed.
Object& EndpointList::add(Address address) {
    const MIDIObjectRef reference = new_reference();
    objects_.resize(reference + std::size_t{1});
    objects_.back() = std::make_unique<Object>(Object{.reference = reference, .address = address});
    return *objects_.back();
}

void EndpointList::changed() {
    for (Published& published : published_)
        published.is_current = false;
}

void EndpointList::set_text(Object& object, TextProperty property, std::string_view text) {
    TextHandle& known = object.text(property);
    // The old text lives on with those it was given to.
    if (!known || view_text(known.get()) != text)
        known.reset(make_text(text));
}
