// SPDX-License-Identifier: MIT
#pragma once

#include "setup/layout.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// What the reader of layouts says, and what it looks at before it reads. Part of setup/layout.h.

namespace setup {

/// Other people's words in a sentence: without control characters, with quotation marks around
/// them, and cut short where they are long.
[[nodiscard]] std::string quoted(std::string_view words);

/// Why this cannot be read as TOML at all: it is empty, or no text in UTF-8, or has so many dots in
/// a line that reading it would take a stack of its own for each. Nothing if it can be tried.
[[nodiscard]] std::optional<LayoutMistake> unreadable(const LayoutFile& file);

[[nodiscard]] std::string no_code_text(std::string_view name);
[[nodiscard]] std::string no_part_text(std::string_view name);
[[nodiscard]] std::string outside_text(std::string_view name);

/// "controller of part 12"
[[nodiscard]] std::string value_name(std::string_view key, int part);
/// "channel of part 12 is 17: it has to be a whole number from 1 to 16"
[[nodiscard]] std::string wrong_number_text(std::string_view name, std::string_view found,
                                            int least, int most);
/// "type of part 12 is "CC": it has to be "Note On", ..."
[[nodiscard]] std::string wrong_type_text(std::string_view name, std::string_view found);
[[nodiscard]] std::string unknown_key_text(int part, std::string_view key);
[[nodiscard]] std::string wrong_machine_text(std::string_view code, std::string_view found);
[[nodiscard]] std::string wrong_part_text(int part, std::string_view found);

} // namespace setup
