// SPDX-License-Identifier: MIT
#pragma once

#include "midi_service/alsa/sequencer_types.h"
#include "midi_service/midi_backend.h"
#include "midi_service/midi_text.h"

#include <array>
#include <filesystem>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// In place of a port's number: the client as a whole, which is a device.
inline constexpr std::uint8_t whole_client = 255;

/// An endpoint or a device under its reference.
struct Object {
    MIDIObjectRef reference = 0;
    Address address{};
    std::array<bool, 3> lists{};       ///< by ObjectList: whether it is in them
    std::array<TextHandle, 3> texts{}; ///< by TextProperty; null: it has no such text

    [[nodiscard]] bool is_endpoint() const { return address.port != whole_client; }
    [[nodiscard]] bool is_in(ObjectList list) const {
        return lists[static_cast<std::size_t>(list)];
    }
    [[nodiscard]] TextHandle& text(TextProperty property) {
        return texts[static_cast<std::size_t>(property)];
    }
    [[nodiscard]] std::string_view name() const { return view_text(texts[0].get()); }
};

/// The texts of a device.
struct DeviceTexts {
    std::string name;
    std::string model;
    std::string manufacturer; ///< empty: it has none
};

/// The texts of a sound card's device: model and manufacturer from its USB descriptor, or the
/// card's name when there is none. `folder` is the card's in sysfs.
[[nodiscard]] DeviceTexts card_texts(const std::string& client_name, const std::string& card_name,
                                     const std::filesystem::path& folder);

/// The texts of a client's device. A program's model is its name, and it has no manufacturer.
[[nodiscard]] DeviceTexts device_texts(const ClientInfo& client);

/// Whether a port with these capabilities is a source or a destination. A port is neither when it
/// is closed to other programs, inactive, or stands for a whole device whose groups have their own
/// ports.
[[nodiscard]] bool is_source_port(unsigned capabilities);
[[nodiscard]] bool is_destination_port(unsigned capabilities);

/// The endpoints and devices that are known, and the lists of them as last counted. Calling thread.
class EndpointList {
public:
    /// Starts with one device, the sequencer itself.
    EndpointList();

    /// Adds or updates a port, or removes it when it is no longer an endpoint. A known port keeps
    /// its reference.
    void put(const PortInfo& info);
    /// Removes a port, and the client's device with the client's last port.
    void remove(Address address);
    /// Replaces all that is known. `ports` is sorted by address. A port with a new name counts as a
    /// new port.
    void replace_all(std::span<const PortInfo> ports);

    /// Adds or updates the device of a client that owns an endpoint.
    void put_device(std::uint8_t client, const DeviceTexts& texts);

    /// The endpoint or the device at an address, or null.
    [[nodiscard]] Object* find(Address address) const;
    /// Null when there is no such object, or when it is gone.
    [[nodiscard]] Object* find(MIDIObjectRef reference) const {
        return reference < objects_.size() ? objects_[reference].get() : nullptr;
    }
    /// Of the endpoints, in order.
    [[nodiscard]] std::vector<Address> addresses() const;

    /// Brings a list up to date and gives it; it stays as it is until the next call for it.
    [[nodiscard]] std::span<const MIDIObjectRef> publish(ObjectList list);

private:
    Object& add(Address address);
    void set_lists(Object& object, std::array<bool, 3> lists);
    void set_text(Object& object, TextProperty property, std::string_view text);

    std::vector<std::unique_ptr<Object>> objects_; ///< by reference; null: gone
    std::map<Address, Object*> by_address_;        ///< a device is behind its client's endpoints
    std::array<std::vector<MIDIObjectRef>, 3> published_;
    std::array<bool, 3> stale_{}; ///< lists that changed since they were published
};
