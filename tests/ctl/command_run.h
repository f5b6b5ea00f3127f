// SPDX-License-Identifier: MIT
#pragma once

#include "tests/ctl/workplace.h"
#include "tests/exploration/explored_world.h"

#include <chrono>
#include <optional>
#include <vector>

/// A fault and the step in which it happens, counted from 0.
struct FaultInStep {
    Fault fault;
    std::size_t step;
};

/// The explored world as a computer's MIDI system: the address of an object is its reference.
class ExploredSystem final : public MidiSystem {
public:
    explicit ExploredSystem(MidiBackend& backend) : backend_(backend) {}
    [[nodiscard]] MidiBackend& backend() override { return backend_; }
    [[nodiscard]] bool is_demo() const override { return false; }
    [[nodiscard]] std::optional<SystemTrouble> trouble() const override { return std::nullopt; }
    [[nodiscard]] std::optional<setup::PortAddress>
    address(MIDIEndpointRef endpoint) const override {
        return setup::PortAddress{static_cast<int>(endpoint), 0};
    }
    [[nodiscard]] Connections connections(MIDIEndpointRef) const override { return {}; }
    [[nodiscard]] std::vector<OtherClient> other_clients() const override { return {}; }
    [[nodiscard]] std::optional<int> places_left() const override { return std::nullopt; }
    [[nodiscard]] std::optional<setup::Time> play(setup::Time) override { return std::nullopt; }

private:
    MidiBackend& backend_;
};

/// One command in the explored world. Every call of the service and every wait is a step.
class CommandRun {
public:
    /// `stray`: what comes unasked.
    CommandRun(Echo echo, StopSignals& signals, const Bytes& stray = {0xB2, 0x07, 0x05});
    ~CommandRun();
    CommandRun(const CommandRun&) = delete;
    CommandRun& operator=(const CommandRun&) = delete;

    /// Runs a command. An idle watch first sees the machine send a message, and is then told to
    /// end.
    [[nodiscard]] CommandResult run(const Request& request, std::optional<FaultInStep> fault);
    /// Replaces all machines by a healthy one and sets it up.
    [[nodiscard]] CommandResult run_on_healthy_machine(const Request& request, Bytes& received);

    /// The journal of the backend, and when each line of it was written.
    [[nodiscard]] const std::vector<Event>& journal() const { return backend_.journal; }
    [[nodiscard]] const std::vector<std::chrono::microseconds>& times() const { return times_; }
    [[nodiscard]] const ExploredWorld& world() const { return world_; }
    [[nodiscard]] std::size_t steps() const { return steps_; }
    /// Clients and ports that are open.
    [[nodiscard]] int open() const { return backend_.open; }

private:
    void in_step(const Step& step);
    void idle();
    void stamp();

    StopSignals& signals_;
    EmbeddedBackend service_{EmbeddedBackend::Time::manual};
    SteppingBackend backend_{service_};
    ExploredWorld world_;
    ExploredSystem system_{backend_};
    std::optional<FaultInStep> fault_{};
    std::vector<std::chrono::microseconds> times_{};
    std::size_t steps_ = 0;
    unsigned idle_waits_ = 0;
};

/// What the explored apply sets: explored_mapping, and another one.
inline constexpr const char* explored_layout = R"([4AC5F4C4]
5 = { type = "Control Change", channel = 3, controller = 7 }
6 = { type = "Control Change", channel = 3, controller = 8 }
)";

/// What the explored commands set.
inline constexpr protocol::KeyMapping explored_mapping{
    .part = 5, .type = protocol::MessageType::control_change, .channel = 3, .controller = 7};
