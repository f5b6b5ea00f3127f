// SPDX-License-Identifier: MIT
#pragma once

#include "simulation/connected_machine.h"
#include "simulation/keyboard.h"

#include <csignal>
#include <functional>
#include <memory>
#include <span>
#include <vector>

/// Serves machines on the calling thread. SIGINT, SIGTERM and the key q end it; SIGUSR1 and the key
/// p switch all machines off and on; SIGUSR2 asks for a report. As long as the object lives these
/// signals are blocked and only run() takes them.
class MachineLoop {
public:
    /// `keys`: reads keys from this descriptor if it is a terminal. MachineError.
    explicit MachineLoop(int keys);
    ~MachineLoop();
    MachineLoop(const MachineLoop&) = delete;
    MachineLoop& operator=(const MachineLoop&) = delete;

    /// Whether keys are read.
    [[nodiscard]] bool has_keys() const { return keyboard_.descriptor() >= 0; }

    /// Serves the machines until a key or a signal ends it. MachineError: one of them failed.
    void run(std::span<const std::unique_ptr<ConnectedMachine>> machines,
             const std::function<void()>& report);

private:
    [[nodiscard]] bool take_signal(std::span<const std::unique_ptr<ConnectedMachine>> machines,
                                   const std::function<void()>& report);
    [[nodiscard]] bool take_key(std::span<const std::unique_ptr<ConnectedMachine>> machines);

    sigset_t before_{}; ///< the signal mask to go back to
    int signals_ = -1;
    Keyboard keyboard_;
};
