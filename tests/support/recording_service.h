// SPDX-License-Identifier: MIT
#pragma once

#include "midi_service/midi_service.h"
#include "tests/support/captured_output.h"

#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// Replaces the MIDI service and usleep() in a test program that links recording_service.cpp. The
// test describes the endpoints and devices, and gets a journal of every call. Does what
// midi_service.h promises and no more. One thread.

/// An endpoint or a device. A query for an absent text gives a null handle.
struct RecordedObject {
    std::optional<std::string> name{}; ///< as CFStringGetCString writes it; may hold zero bytes
    std::optional<std::string> manufacturer{};
    std::optional<std::string> model{};
    std::optional<std::int32_t> offline{0}; ///< absent: the query fails and writes nothing
    std::string label{};                    ///< what the journal calls it; set when it is added
};

/// The world and the journal.
///
/// A line of the journal is the operation and its arguments, the client, the ports and the globals
/// under short names ("client", "out", "in", "into jname"), objects as "source0", "destination1",
/// "device2" by the order in which they were added, or "nothing"; bytes are hexadecimal. A line
/// that starts with "> " is what was printed since the call before it.
class RecordingService {
public:
    static constexpr MIDIClientRef client_reference = 11;
    static constexpr MIDIPortRef output_port_reference = 12;
    static constexpr MIDIPortRef input_port_reference = 13;

    /// Add an object and put it at the end of the list.
    MIDIObjectRef add_source(RecordedObject object);
    MIDIObjectRef add_destination(RecordedObject object);
    MIDIObjectRef add_device(RecordedObject object);

    std::map<MIDIObjectRef, RecordedObject> objects{};
    std::vector<MIDIObjectRef> sources{};
    std::vector<MIDIObjectRef> destinations{};
    std::vector<MIDIObjectRef> devices{};
    /// What MIDIGetNumberOfDevices gives instead of the length of the list.
    std::optional<ItemCount> device_count{};

    OSStatus client_status = 0; ///< of each creation; if not 0, no handle is given
    OSStatus output_port_status = 0;
    OSStatus input_port_status = 0;
    std::map<MIDIObjectRef, OSStatus> dispose_status{}; ///< by handle; absent: 0
    OSStatus connection_status = 0;                     ///< of every connect and disconnect
    std::deque<OSStatus> send_statuses{};               ///< of the next sends; then 0
    bool conversions_fail = false; ///< CFStringGetCString gives 0 and writes nothing
    bool keeps_lists = false;      ///< MIDISend leaves the list as it is

    /// Called with each line of the journal before the call takes effect.
    std::function<void(std::string_view call)> before_call{};
    /// If set, the journal also has what is printed, between the calls.
    CapturedOutput* output = nullptr;
    /// If set, MIDISend overwrites the list's 1,024 bytes, and each pause checks whether they were
    /// cleared.
    bool watches_list = false;
    std::vector<bool> list_cleared{}; ///< at MIDIPacketListInit, then at each pause

    std::vector<std::string> journal{};
    /// Calls that break the service's rules: a text released twice, an object that never was, ...
    std::vector<std::string> violations{};

    /// The journal's lines that start with one of these words.
    [[nodiscard]] std::vector<std::string>
    calls(std::initializer_list<std::string_view> words) const;
    /// The arguments of the usleep() calls in order.
    [[nodiscard]] std::vector<unsigned> pauses() const;
    /// Texts given by queries and not released yet.
    [[nodiscard]] std::size_t texts_in_use() const;
    /// Writes the last printed lines into the journal.
    void note_output();

    struct Text {
        std::string label;
        std::string bytes;
        bool released;
    };
    std::deque<Text> texts{};             ///< every text that a query gave
    MIDIPacketList* list = nullptr;       ///< initialised last
    void record(const std::string& call); ///< a line for the journal
};

/// The one that the operations use.
extern RecordingService recording;

/// The bytes as the journal has them: " 90 40 7F".
[[nodiscard]] std::string hexadecimal(std::span<const std::uint8_t> bytes);

/// A new, empty world and an empty journal.
void reset_recording();
