// SPDX-License-Identifier: MIT
#pragma once

#include "simulation/firmware.h"

#include <chrono>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>

/// Why a machine cannot join its system or go on, as a sentence for the user.
struct MachineError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class ConnectedMachine;

/// Is told what happens to machines, on the thread of their loop.
class MachineWatcher {
public:
    virtual ~MachineWatcher() = default;
    virtual void happened(const ConnectedMachine& machine, const MachineEvent& event) = 0;
    /// Bytes that were read or written, one call for each read or write.
    virtual void received(const ConnectedMachine&, std::span<const std::uint8_t>) {}
    virtual void sent(const ConnectedMachine&, std::span<const std::uint8_t>) {}
    /// The connection broke. (A machine that vanishes or is switched off is not lost.)
    virtual void lost(const ConnectedMachine&) {}
};

/// A simulated machine on one connection of the operating system: a sequencer client, a raw MIDI
/// port. Gives a poll loop its descriptor and its next deadline. One thread.
class ConnectedMachine {
public:
    using Clock = std::chrono::steady_clock;

    virtual ~ConnectedMachine() = default;
    ConnectedMachine(const ConnectedMachine&) = delete;
    ConnectedMachine& operator=(const ConnectedMachine&) = delete;

    [[nodiscard]] const std::string& name() const { return name_; }
    [[nodiscard]] const Firmware& firmware() const { return firmware_; }

    /// Where users find the machine, in words.
    [[nodiscard]] virtual std::string place() const = 0;
    /// To poll for input; -1 while the machine is gone.
    [[nodiscard]] virtual int descriptor() const = 0;
    /// Reads what has arrived, without waiting. MachineError: the connection does not work any
    /// more.
    virtual void read() = 0;

    /// When the next message is due, if there is one to send.
    [[nodiscard]] std::optional<Clock::time_point> next_due() const;
    /// Sends what is due at `now`.
    void send_due(Clock::time_point now);

    /// Moves a part as its owner would: what that sends is due at once. A part without a mapping
    /// sends nothing.
    void play(int part, int value);

    /// Switches the machine off and on: it leaves, forgets what was not saved, and joins again. One
    /// that was gone comes back. MachineError: it cannot.
    void power_cycle();

protected:
    /// `gap`: least time between two messages that the machine sends.
    ConnectedMachine(std::uint32_t code, MachineFaults faults, MachineWatcher& watcher,
                     std::chrono::milliseconds gap);

    /// Joins the system; MachineError. Leaves it, unless the machine is gone already.
    virtual void plug() = 0;
    virtual void pull() = 0;
    virtual void write(std::span<const std::uint8_t> message) = 0;

    /// Hands received bytes to the machine. It may have vanished when this returns.
    void take(std::span<const std::uint8_t> bytes);
    /// To be called when the connection broke, after closing what is left of it.
    void lose();

private:
    const std::string name_;
    Firmware firmware_;
    MachineWatcher& watcher_;
    const std::chrono::milliseconds gap_;
    std::multimap<Clock::time_point, MachineReply> pending_{}; ///< by due time
    Clock::time_point free_{}; ///< when the gap behind the last message ends
};

/// The event as a line, such as "part 5: Control Change, channel 1, controller 7".
[[nodiscard]] std::string event_text(const ConnectedMachine& machine, const MachineEvent& event);

/// What a machine holds, as one line of JSON: its name under "machine", and under "table" and
/// "saved" an array of mappings, in ascending order of the parts.
[[nodiscard]] std::string tables_json(const ConnectedMachine& machine);
