// SPDX-License-Identifier: MIT
#pragma once

#include "simulation/connected_machine.h"
#include "simulation/keyboard.h"

#include <csignal>
#include <functional>
#include <memory>
#include <span>
#include <vector>

/// Serves machines from one thread. SIGINT, SIGTERM and the key q end it; SIGUSR1 and the key p
/// switch all machines off and on; SIGUSR2 asks for a report. These signals are held back from the
/// construction to the destruction, so that none is lost and none interrupts anything.
class MachineLoop {
public:
    /// `keys`: the descriptor that keys come from, if it is a terminal. MachineError.
    explicit MachineLoop(int keys);
    ~MachineLoop();
    MachineLoop(const MachineLoop&) = delete;
    MachineLoop& operator=(const MachineLoop&) = delete;

    /// Whether there are keys to press.
    [[nodiscard]] bool has_keys() const { return keyboard_.descriptor() >= 0; }

    /// Serves the machines until the end is asked for. MachineError: one does not work any more.
    void run(std::span<const std::unique_ptr<ConnectedMachine>> machines,
             const std::function<void()>& report);

private:
    [[nodiscard]] bool take_signal(std::span<const std::unique_ptr<ConnectedMachine>> machines,
                                   const std::function<void()>& report);
    [[nodiscard]] bool take_key(std::span<const std::unique_ptr<ConnectedMachine>> machines);

    sigset_t before_{}; ///< the signals that were held back already
    int signals_ = -1;
    Keyboard keyboard_;
};
