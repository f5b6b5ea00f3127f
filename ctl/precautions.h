// SPDX-License-Identifier: MIT
#pragma once

#include "ctl/argument_values.h"
#include "ctl/commands.h"
#include "ctl/port_lock.h"
#include "setup/machine_list.h"

#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

// What a command does before it sends anything.

/// What came of trying to lock a machine's port, so that no second keyloftctl sends to it.
struct LockTry {
    /// To be kept while sending; null where there is nothing to keep. With a refusal it is not
    /// held, and can be tried again.
    std::unique_ptr<PortLock> lock{};
    std::string refusal{}; ///< who has it, as a sentence; empty: nobody else
    std::string risk{};    ///< why there can be no lock, as a sentence; no hindrance
};

/// Tries for the lock of a port such as "24:0", without waiting. Simulated machines need none.
[[nodiscard]] LockTry try_lock(const MidiSystem& system, const std::string& address);

/// Names on standard error who else is there, since results do not show it: the window, and
/// programs that hear the machines' echoes.
void name_others(const std::vector<setup::Target>& targets, Workplace& place);

/// A machine to send to, and its lock.
struct ReservedMachine {
    setup::Target target;
    std::unique_ptr<PortLock> lock; ///< may be null: see LockTry
};

/// Finds the one machine that a command is for, locks it and names who else is there. What keeps it
/// from that is said, and is the status to end with.
[[nodiscard]] std::variant<ReservedMachine, ExitStatus>
reserve_machine(const std::optional<MachineChoice>& wanted, Workplace& place);
