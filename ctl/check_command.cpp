// SPDX-License-Identifier: MIT
#include "ctl/commands.h"

#include "ctl/layout_mistakes.h"

ExitStatus run_check(const Request& request, Workplace& place) {
    const auto layout = accepted_layout(request, place);
    if (!layout)
        return ExitStatus::arguments;
    for (const setup::MachineLayout& machine : layout->machines)
        place.report.layout(machine);
    return ExitStatus::done;
}
