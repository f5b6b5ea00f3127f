// SPDX-License-Identifier: MIT
#pragma once

#include "tests/device_layer/device_layer_test.h"
#include "tests/support/sequence.h"

#include <cstring>

// What the tests of the confirmed send and of the commands above it have in common.

/// What a lookup prints, when "4ACCF4C4…" is the only destination, and what the three of a send do.
inline const std::string lookup = "MIDIGetNumberOfDestinations 1 \r\nCCCCC: 4ACCF4C4 is online\r\n";
inline const std::string three_lookups = lookup + lookup + lookup + "midi_get_destination 0 \r\n";

/// What a search through one device prints before it says what it found.
inline const std::string scan_of_one = "send_midi_out_data\r\n MIDIGetNumberOfDevices  1\r\n";

inline void append(Lines& to, const Lines& lines) {
    to.insert(to.end(), lines.begin(), lines.end());
}

/// All calls and all output of a send to the only destination, up to the question whether it is
/// offline.
inline Lines up_to_the_offline_query() {
    const Lines lookup_calls = {
        "MIDIGetNumberOfDestinations",
        "> MIDIGetNumberOfDestinations 1 \r\n",
        "MIDIGetDestination 0",
        "MIDIObjectGetStringProperty destination0, name, into pname",
        "CFStringGetCString destination0.name, into jname, 64, encoding 0",
        "CFRelease destination0.name",
        "MIDIGetDestination 1",
        "MIDIObjectGetStringProperty nothing, name, into pname",
        "MIDIObjectGetIntegerProperty nothing, offline",
        "> CCCCC: 4ACCF4C4 is online\r\n",
    };
    Lines lines = {"MIDIPacketListInit"};
    append(lines, lookup_calls);
    lines.emplace_back("MIDIGetDestination 0");
    append(lines, lookup_calls);
    append(lines, lookup_calls);
    lines.back() += "midi_get_destination 0 \r\n";
    lines.emplace_back("MIDIObjectGetIntegerProperty destination0, offline");
    return lines;
}

/// One event as the recording service writes it down.
inline std::string written_down(const Bytes& event) {
    return "time 1000:" + hexadecimal(event);
}

/// The sends of one sequence to the only destination.
inline Lines sequence_sends(std::uint8_t status, std::uint8_t data1, std::uint8_t data2) {
    Lines sends;
    for (const Bytes& event : sequence_events(status, data1, data2))
        sends.push_back("MIDISend out, destination0, " + written_down(event));
    return sends;
}

inline Lines twice(Lines lines) {
    append(lines, Lines(lines));
    return lines;
}

/// Lets one message arrive as the receive thread would.
inline void arrive(std::initializer_list<std::uint8_t> bytes) {
    MIDIPacketList list{};
    list.numPackets = 1;
    list.packet[0].length = static_cast<std::uint16_t>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), list.packet[0].data);
    MyReadProc(&list, nullptr, nullptr);
}

/// Machine 4ACCF4C4 with its device and its destination.
class ConfirmedSequence : public DeviceLayerTest {
protected:
    ConfirmedSequence() {
        set_current_name("4ACCF4C4");
        device_ = recording.add_device(
            {.name = "4ACCF4C4", .manufacturer = "maker", .model = "4ACCF4C4 controller"});
        destination_ = recording.add_destination({.name = "4ACCF4C4 MIDI 1"});
    }

    static void echo_in_the_long_pause(std::initializer_list<std::uint8_t> bytes) {
        recording.before_call = [echo = std::vector<std::uint8_t>(bytes)](std::string_view call) {
            if (call == "usleep 300000")
                arrive({echo[0], echo[1], echo[2]});
        };
    }

    MIDIObjectRef device_;
    MIDIObjectRef destination_;
};
