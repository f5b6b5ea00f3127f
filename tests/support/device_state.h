// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

/// Puts every variable of the device layer back to zero, as at the start of a process.
void reset_device_state();

/// Makes these bytes the device name and clears the rest of it. The halves of the code stay.
void set_current_name(std::string_view bytes);
