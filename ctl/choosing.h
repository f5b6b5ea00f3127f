// SPDX-License-Identifier: MIT
#pragma once

#include "ctl/argument_values.h"
#include "ctl/midi_system.h"
#include "setup/machine_list.h"

#include <optional>
#include <string>
#include <vector>

/// All machines that are there.
[[nodiscard]] std::vector<setup::Machine> machines_of(const MidiSystem& system);

/// The same for a program that then waits for changes: see look_until_settled().
[[nodiscard]] std::vector<setup::Machine> settled_machines_of(const MidiSystem& system);

/// The machine that a command is for; without `wanted` the only one of the family.
[[nodiscard]] setup::Choice choose(const MidiSystem& system,
                                   const std::vector<setup::Machine>& machines,
                                   const std::optional<MachineChoice>& wanted);

/// Why there is no such machine to be set up, as a sentence that names what is there instead.
/// `choice` has an obstacle.
[[nodiscard]] std::string refusal_text(const setup::Choice& choice,
                                       const std::optional<MachineChoice>& wanted);
