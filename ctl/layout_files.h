// SPDX-License-Identifier: MIT
#pragma once

#include "setup/layout.h"

#include <cstddef>
#include <string>
#include <unistd.h>
#include <vector>

/// What a layout file may have at the most: sixteen machines with 128 parts have an eighth of it.
inline constexpr std::size_t most_layout_bytes = 1024UL * 1024;

/// Reads the layout in these files; "-" is standard input. A file that cannot be read is a mistake
/// of the layout, too; such mistakes come first. Waits for what comes through a pipe.
[[nodiscard]] setup::Layout read_layout_files(const std::vector<std::string>& names,
                                              int standard_input = STDIN_FILENO);
