// SPDX-License-Identifier: MIT
#pragma once

#include "midi_service/midi_backend.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

/// An object to attach to the embedded service. It has the same reference in each of its lists.
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

/// A MIDI service inside the process, without hardware. Objects are attached and detached at any
/// time, from any thread. It has its own receive thread, and no device but those attached.
class EmbeddedBackend final : public MidiBackend {
public:
    /// real: time passes by itself. manual: it passes in advance() only.
    enum class Time : std::uint8_t { real, manual };

    /// Gets the messages of one packet that is sent to an object, on the calling thread. It may
    /// emit, update and detach.
    using Receiver = std::function<void(std::span<const std::uint8_t> messages)>;

    explicit EmbeddedBackend(Time time = Time::real);
    ~EmbeddedBackend() override; ///< not while it is installed

    /// Adds an object at the end of its lists.
    [[nodiscard]] MIDIObjectRef attach(EmbeddedObject object, Receiver receiver = {});
    /// Changes an object. Does nothing when it is gone.
    void update_object(MIDIObjectRef object, EmbeddedObject changed);
    /// Removes an object; what it emitted and is not delivered yet is lost. Once this returns, its
    /// receiver is not running and will not run (unless the receiver itself made this call).
    void detach(MIDIObjectRef object);

    /// Makes an object send bytes after a time. The receive thread then delivers each whole message
    /// to the ports that are connected at that moment; bytes due together keep the order of the
    /// calls.
    void emit(MIDIObjectRef object, std::span<const std::uint8_t> bytes,
              std::chrono::microseconds after);

    /// Time since the start.
    [[nodiscard]] std::chrono::microseconds now() const;
    /// With manual time: lets time pass, and returns when everything due by then is delivered.
    void advance(std::chrono::microseconds by);

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
