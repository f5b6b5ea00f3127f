// SPDX-License-Identifier: MIT
#pragma once

#include "midi_service/midi_backend.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

/// What an object attached to the embedded service looks like. One reference stands for it in each
/// of the lists that it is in.
struct EmbeddedObject {
    std::optional<std::string> name{};         ///< any bytes; absent: the query gives null
    std::optional<std::string> manufacturer{}; ///< absent: the query gives null
    std::optional<std::string> model{};        ///< absent: the query gives null
    std::optional<std::int32_t> offline{0};    ///< absent: the query fails and writes nothing
    OSStatus send_status = 0; ///< what a send to it returns; if not 0, it receives nothing
    bool is_source = true;
    bool is_destination = true;
    bool is_device = true;
};

/// A MIDI service inside the process, without hardware or system: objects are attached to it and
/// detached from it at any time, from any thread. It has a receive thread of its own, and no device
/// of its own.
class EmbeddedBackend final : public MidiBackend {
public:
    /// Whether time passes by itself, or only in advance().
    enum class Time : std::uint8_t { real, manual };

    /// What an object does with the messages of one packet; called on the sending thread. It may
    /// emit, update and detach.
    using Receiver = std::function<void(std::span<const std::uint8_t> messages)>;

    explicit EmbeddedBackend(Time time = Time::real);
    ~EmbeddedBackend() override; ///< not while it is installed

    /// Adds an object at the end of its lists.
    [[nodiscard]] MIDIObjectRef attach(EmbeddedObject object, Receiver receiver = {});
    /// Changes how an object looks. Nothing happens when it is gone.
    void update_object(MIDIObjectRef object, EmbeddedObject changed);
    /// Takes an object away; what it emitted and was not delivered yet is lost. After the return
    /// its receiver is not called (except for the call that detached it).
    void detach(MIDIObjectRef object);

    /// Lets an object send bytes after a time; the receive thread hands each whole message to the
    /// ports that are connected to it then. Bytes that are due together come in the order of
    /// emit().
    void emit(MIDIObjectRef object, std::span<const std::uint8_t> bytes,
              std::chrono::microseconds after);

    /// Time since the start.
    [[nodiscard]] std::chrono::microseconds now() const;
    /// With manual time: lets time pass, and returns when all that was due by then is delivered.
    void advance(std::chrono::microseconds by);

    [[nodiscard]] OSStatus open_client(MIDIClientRef client, std::string_view name) override;
    void close_client(MIDIClientRef client) override;
    [[nodiscard]] OSStatus open_port(MIDIPortRef port, MIDIClientRef client, std::string_view name,
                                     bool is_input) override;
    void close_port(MIDIPortRef port) override;
    [[nodiscard]] OSStatus connect(MIDIPortRef port, MIDIEndpointRef source) override;
    [[nodiscard]] OSStatus disconnect(MIDIPortRef port, MIDIEndpointRef source) override;
    [[nodiscard]] std::span<const MIDIObjectRef> update(ObjectList list) override;
    [[nodiscard]] OSStatus text(MIDIObjectRef object, TextProperty property,
                                CFStringRef& value) override;
    [[nodiscard]] OSStatus offline(MIDIObjectRef object, std::int32_t& value) override;
    [[nodiscard]] OSStatus send(MIDIPortRef port, MIDIEndpointRef destination,
                                std::span<const std::uint8_t> messages) override;
    [[nodiscard]] int changes() const override;

private:
    struct State;
    std::unique_ptr<State> state_;
};
