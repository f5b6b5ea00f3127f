// SPDX-License-Identifier: MIT
#pragma once

#include "simulation/connected_machine.h"

#include <string>

/// What happened to a machine, such as "part 5: Control Change, channel 1, controller 7".
[[nodiscard]] std::string event_text(const ConnectedMachine& machine, const MachineEvent& event);

/// What a machine holds, as one JSON object: its name under "machine", and under "table" and
/// "saved" an array of mappings each, in ascending order of the parts.
[[nodiscard]] std::string tables_json(const ConnectedMachine& machine);
