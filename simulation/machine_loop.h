// SPDX-License-Identifier: MIT
#pragma once

#include "simulation/connected_machine.h"

#include <csignal>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include <termios.h>

/// Serves machines on the calling thread. SIGINT, SIGTERM and the key q end it; SIGUSR1 and the key
/// p switch all machines off and on; SIGUSR2 asks for a report. As long as the object lives these
/// signals are blocked and only run() takes them.
class MachineLoop {
public:
    using Machines = std::span<const std::unique_ptr<ConnectedMachine>>;

    /// `keys`: reads single keys from this descriptor, without Enter and without echo, if it is a
    /// terminal; it may also be -1. MachineError.
    explicit MachineLoop(int keys);
    ~MachineLoop(); ///< restores the terminal's settings
    MachineLoop(const MachineLoop&) = delete;
    MachineLoop& operator=(const MachineLoop&) = delete;

    /// Whether keys are read.
    [[nodiscard]] bool has_keys() const { return has_keys_; }

    /// Serves the machines until a key or a signal ends it. MachineError: one of them failed.
    void run(Machines machines, const std::function<void()>& report);

private:
    void look_at_keyboard();
    [[nodiscard]] bool take_signal(Machines machines, const std::function<void()>& report);
    [[nodiscard]] bool take_key(Machines machines);

    sigset_t before_{}; ///< the signal mask to go back to
    int signals_ = -1;
    const int keys_;
    bool has_keys_ = false;
    std::optional<termios> terminal_{}; ///< settings to go back to
};
