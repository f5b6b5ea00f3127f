// SPDX-License-Identifier: MIT
#pragma once

#include "ctl/argument_values.h"
#include "ctl/midi_system.h"
#include "ctl/report.h"

#include <optional>
#include <vector>

/// What there is between this program and the machines, from the sequencer's node up.
struct Diagnosis {
    std::vector<Finding> findings{};
    bool has_sequencer = true;
    bool can_set_up = false; ///< a machine, or the wanted one
};

/// Looks at everything. The system's backend is installed. `wanted`: the machine that it is about;
/// nothing: all of them.
[[nodiscard]] Diagnosis diagnose(const MidiSystem& system,
                                 const std::optional<MachineChoice>& wanted);
