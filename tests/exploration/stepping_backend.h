// SPDX-License-Identifier: MIT
#pragma once

#include "midi_service/embedded/embedded_backend.h"
#include "tests/support/sequence.h"

#include <chrono>
#include <functional>
#include <optional>
#include <string>

/// Where in a press a step is.
enum class Stage : std::uint8_t { probe, choice, scan, lookup, sequence, repetition };

/// What a step does: counts a list, asks for a property, connects, sends or pauses.
enum class StepKind : std::uint8_t {
    sources,
    destinations,
    devices,
    name,
    manufacturer,
    model,
    offline,
    connect,
    disconnect,
    clock,
    note_on,
    note_off,
    message,
    closing_clock,
    pause_1, // the six pauses of a sequence
    pause_2,
    pause_3,
    pause_4,
    pause_5,
    pause_6,
    wait, // for the echo
};

struct Step {
    Stage stage;
    StepKind kind;
    bool operator==(const Step&) const = default;
};

[[nodiscard]] std::string to_string(const Step& step);

/// A line of the journal: a step with its answer, or something that happened during the previous
/// step.
struct Event {
    enum class Kind : std::uint8_t { step, emission, gone };
    Kind kind = Kind::step;
    Step step{};
    bool is_in_connection = false;        ///< the service was connecting a source
    MIDIObjectRef object = 0;             ///< asked, connected, sent to, emitting or gone
    OSStatus status = 0;                  ///< the answer
    std::vector<MIDIObjectRef> objects{}; ///< of a count
    std::string text{};                   ///< of a text query that succeeded
    std::int32_t value = 0;               ///< of an offline query that succeeded
    Bytes bytes{};                        ///< that were sent
    std::vector<Bytes> heard{};           ///< whole messages of an emission
    std::chrono::microseconds time{0};    ///< length of a pause, delay of an emission
};

/// The embedded service with a journal. Every call except opening and closing is a step, and so is
/// every pause. Screen thread.
class SteppingBackend final : public MidiBackend {
public:
    explicit SteppingBackend(EmbeddedBackend& service) : service_(service) {}

    /// Called in each step, before the service answers.
    std::function<void(const Step&)> in_step{};
    std::vector<Event> journal{};

    /// If not 0, what the next query, connection or send returns instead of the service's answer.
    OSStatus refuse_query = 0;
    OSStatus refuse_connection = 0;
    OSStatus refuse_send = 0;

    /// A press begins: forgets the journal and the stage.
    void begin_press();
    /// For `before_pause`.
    void pause(unsigned microseconds);

    int open = 0; ///< clients and ports

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
    [[nodiscard]] int changes() const override { return service_.changes(); }

private:
    std::size_t begin(StepKind kind, MIDIObjectRef object);
    [[nodiscard]] Step locate(StepKind kind);

    EmbeddedBackend& service_;
    Stage stage_ = Stage::probe;
    unsigned probes_ = 0;
    unsigned sends_ = 0;  ///< of the sequence
    unsigned pauses_ = 0; ///< of the sequence
};
