// SPDX-License-Identifier: MIT
#pragma once

#include "simulation/connected_machine.h"

#include <string>

/// The event as a line, such as "part 5: Control Change, channel 1, controller 7".
[[nodiscard]] std::string event_text(const ConnectedMachine& machine, const MachineEvent& event);

/// What a machine holds, as one line of JSON: its name under "machine", and under "table" and
/// "saved" an array of mappings, in ascending order of the parts.
[[nodiscard]] std::string tables_json(const ConnectedMachine& machine);
