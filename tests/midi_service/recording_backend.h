// SPDX-License-Identifier: MIT
#pragma once

#include "midi_service/midi_backend.h"
#include "tests/support/service_use.h"

#include <map>
#include <string>
#include <vector>

/// A backend that writes every call down, its arguments included, and answers as it is told.
class RecordingBackend final : public MidiBackend {
public:
    std::vector<std::string> journal{};
    std::map<std::string, OSStatus> statuses{}; ///< by the call's first word; else 0
    std::vector<MIDIObjectRef> list{};          ///< what every list holds
    std::string given_text = "4AC5F4C4";
    std::int32_t given_offline = 0;
    Bytes sent{};

    OSStatus open_client(MIDIClientRef client, std::string_view name) override;
    void close_client(MIDIClientRef client) override;
    OSStatus open_port(MIDIPortRef port, MIDIClientRef client, std::string_view name,
                       bool is_input) override;
    void close_port(MIDIPortRef port) override;
    OSStatus connect(MIDIPortRef port, MIDIEndpointRef source) override;
    OSStatus disconnect(MIDIPortRef port, MIDIEndpointRef source) override;
    std::span<const MIDIObjectRef> update(ObjectList which) override;
    OSStatus text(MIDIObjectRef object, TextProperty property, CFStringRef& value) override;
    OSStatus offline(MIDIObjectRef object, std::int32_t& value) override;
    OSStatus send(MIDIPortRef port, MIDIEndpointRef destination,
                  std::span<const std::uint8_t> messages) override;
    int changes() const override { return -1; }

    /// The journal since the last call, less the queries: how often the service asks is its own
    /// affair.
    [[nodiscard]] std::vector<std::string> take();
    /// The queries since the last call.
    [[nodiscard]] std::vector<std::string> take_queries();

private:
    OSStatus note(const std::string& call);
    std::vector<std::string> queries_{};
};

/// A service over a recording backend.
class Service : public testing::Test {
protected:
    Service() { install_midi_backend(&backend_); }
    ~Service() override { install_midi_backend(nullptr); }

    [[nodiscard]] MIDIClientRef client();
    [[nodiscard]] MIDIPortRef output(MIDIClientRef client);
    [[nodiscard]] MIDIPortRef input(MIDIClientRef client, MIDIReadProc read, void* context);

    RecordingBackend backend_;
    MIDIEndpointRef peer_ = new_reference(); ///< an endpoint of the backend's
    MIDIEndpointRef other_peer_ = new_reference();
};
