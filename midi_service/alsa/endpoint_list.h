// SPDX-License-Identifier: MIT
#pragma once

#include "midi_service/alsa/object_table.h"

#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// What a device says of itself.
struct DeviceTexts {
    std::string name;
    std::string model;
    std::string manufacturer; ///< empty: it has none
};

/// In which directions a port's capabilities let it be used. A port that is closed to other
/// programs, inactive, or the whole of a device whose groups have ports of their own is no
/// endpoint.
[[nodiscard]] bool is_source_port(unsigned capabilities);
[[nodiscard]] bool is_destination_port(unsigned capabilities);

/// The endpoints and devices as far as they are known, and the lists of them as they were counted
/// last. Screen thread.
class EndpointList {
public:
    /// Starts with the device that is always there: the sequencer itself.
    EndpointList();

    /// A port is there and looks like this: it comes in, changes or goes. One that is known keeps
    /// its reference.
    void put(const PortInfo& info);
    /// A port is gone, and with a client's last one the client's device.
    void remove(Address address);
    /// These are all the ports there are, in order, and what is known of others may be out of date:
    /// a port that has another name now is taken for another one.
    void replace_all(std::span<const PortInfo> ports);

    /// The clients that own an endpoint, in order.
    [[nodiscard]] std::vector<std::uint8_t> clients() const;
    /// The device of a client; null when it is not known yet.
    [[nodiscard]] Object* device(std::uint8_t client) const;
    /// What the device of a client that owns an endpoint says of itself now.
    void put_device(std::uint8_t client, const DeviceTexts& texts);

    /// The endpoint at an address, or null.
    [[nodiscard]] Object* find(Address address) const;
    [[nodiscard]] const ObjectTable& objects() const { return objects_; }
    [[nodiscard]] std::vector<Address> addresses() const;

    /// Lists anew what has changed since the last call for this list.
    [[nodiscard]] std::span<const MIDIObjectRef> publish(ObjectList list);

private:
    struct Published {
        std::vector<MIDIObjectRef> references{};
        bool is_current = false;
    };

    void changed();
    void set_text(Object& object, TextProperty property, std::string_view text);

    ObjectTable objects_;
    std::map<Address, Object*> endpoints_;
    std::map<std::uint8_t, Object*> devices_;
    MIDIObjectRef sequencer_device_;
    std::array<Published, 3> published_;
};
