// SPDX-License-Identifier: MIT
#pragma once

#include "tests/device_layer/device_layer_test.h"
#include "tests/support/sequence.h"

#include <cstring>

// What the tests of the confirmed send and of the commands above it have in common.

/// What the three lookups of a send print, when "4ACCF4C4…" is the only destination.
inline const std::string three_lookups = "MIDIGetNumberOfDestinations 1 \r\n"
                                         "CCCCC: 4ACCF4C4 is online\r\n"
                                         "MIDIGetNumberOfDestinations 1 \r\n"
                                         "CCCCC: 4ACCF4C4 is online\r\n"
                                         "MIDIGetNumberOfDestinations 1 \r\n"
                                         "CCCCC: 4ACCF4C4 is online\r\n"
                                         "midi_get_destination 0 \r\n";

/// One event as the recording service writes it down.
inline std::string written_down(const Bytes& event) {
    std::string text = "time 1000:";
    for (const std::uint8_t byte : event) {
        char digits[4];
        std::snprintf(digits, sizeof digits, " %02X", unsigned{byte});
        text += digits;
    }
    return text;
}

/// The sends of one sequence to the only destination.
inline Lines sequence_sends(std::uint8_t status, std::uint8_t data1, std::uint8_t data2) {
    Lines sends;
    for (const Bytes& event : sequence_events(status, data1, data2))
        sends.push_back("MIDISend out, destination0, " + written_down(event));
    return sends;
}

inline Lines twice(Lines lines) {
    const Lines once = lines;
    lines.insert(lines.end(), once.begin(), once.end());
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
