// SPDX-License-Identifier: MIT
#pragma once

#include "simulation/firmware.h"

#include <chrono>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>

/// Why a machine cannot be where it should be: a sentence that says what to do about it.
struct MachineError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class ConnectedMachine;

/// Sees what becomes of a machine. Called on the thread of the machine's loop.
class MachineWatcher {
public:
    virtual ~MachineWatcher() = default;
    virtual void happened(const ConnectedMachine& machine, const MachineEvent& event) = 0;
    /// Bytes as they came and went: one call for each run that was read or written.
    virtual void received(const ConnectedMachine&, std::span<const std::uint8_t>) {}
    virtual void sent(const ConnectedMachine&, std::span<const std::uint8_t>) {}
    /// The machine's connection was taken away, by nothing that the machine did.
    virtual void lost(const ConnectedMachine&) {}
};

/// A simulated machine on a connection of the operating system's: what a poll loop needs to know of
/// it, and what is the same on every connection. One thread.
class ConnectedMachine {
public:
    using Clock = std::chrono::steady_clock;

    virtual ~ConnectedMachine() = default;
    ConnectedMachine(const ConnectedMachine&) = delete;
    ConnectedMachine& operator=(const ConnectedMachine&) = delete;

    [[nodiscard]] const std::string& name() const { return name_; }
    [[nodiscard]] const Firmware& firmware() const { return firmware_; }

    /// Where the machine is to be found, in words.
    [[nodiscard]] virtual std::string place() const = 0;
    /// What to poll for input; -1 while the machine is gone.
    [[nodiscard]] virtual int descriptor() const = 0;
    /// Reads what is there, without waiting. MachineError: the connection does not work any more.
    virtual void read() = 0;

    /// When the next message is to be sent, if there is one.
    [[nodiscard]] std::optional<Clock::time_point> next_due() const;
    /// Sends what is due by then.
    void send_due(Clock::time_point now);

    /// Switches the machine off and on: it leaves, loses what was not saved, and is there again,
    /// also when it was gone before. MachineError: it cannot come back.
    void power_cycle();

protected:
    /// `gap`: least time between two messages that the machine sends.
    ConnectedMachine(std::uint32_t code, MachineFaults faults, MachineWatcher& watcher,
                     std::chrono::milliseconds gap);

    /// Joins the system; MachineError. Leaves it; nothing happens when the machine is gone already.
    virtual void plug() = 0;
    virtual void pull() = 0;
    virtual void write(std::span<const std::uint8_t> message) = 0;

    /// Lets the machine have bytes. It may be gone after that.
    void take(std::span<const std::uint8_t> bytes);
    /// The connection is not there any more; pull() was called for what is left of it.
    void lose();

private:
    const std::string name_;
    Firmware firmware_;
    MachineWatcher& watcher_;
    const std::chrono::milliseconds gap_;
    std::multimap<Clock::time_point, MachineReply> pending_{}; ///< by when it is due
    Clock::time_point free_{}; ///< not before this the next message may be sent
};
