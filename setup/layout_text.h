// SPDX-License-Identifier: MIT
#pragma once

#include "setup/layout.h"

#include <cstdint>
#include <string>
#include <string_view>

// The sentences about layouts. Part of setup/layout.h.

namespace setup {

/// Other people's words in a sentence: without control characters, with quotation marks around
/// them, and cut short where they are long.
[[nodiscard]] std::string quoted(std::string_view words);

// Names of machines and parts.
[[nodiscard]] std::string outside_text(std::string_view name);
[[nodiscard]] std::string no_code_text(std::string_view name);
[[nodiscard]] std::string no_part_text(std::string_view name);

// Machines. `code` is as it stands in the file, `found` a value as a sentence names it.
[[nodiscard]] std::string no_table_text(std::string_view code, std::string_view found);
[[nodiscard]] std::string no_parts_text(std::string_view code);
[[nodiscard]] std::string same_machine_text(std::string_view code, std::string_view other,
                                            const Place& place_of_other);
[[nodiscard]] std::string second_machine_text(std::uint32_t code, const MachineLayout& first);

// Parts. `part` is as part_name() has it.
[[nodiscard]] std::string part_name(int part);
[[nodiscard]] std::string part_name(std::string_view key);
[[nodiscard]] std::string no_mapping_text(std::string_view part, std::string_view found);
[[nodiscard]] std::string unknown_key_text(std::string_view part, std::string_view key);
[[nodiscard]] std::string missing_key_text(std::string_view part, std::string_view key);
[[nodiscard]] std::string same_part_text(std::uint32_t code, int part, const Place& place_of_other);
[[nodiscard]] std::string same_message_text(std::uint32_t code, const LayoutEntry& entry,
                                            const LayoutEntry& other);

/// "channel of part 12"
[[nodiscard]] std::string value_name(std::string_view key, std::string_view part);
[[nodiscard]] std::string wrong_type_text(std::string_view name, std::string_view found);
[[nodiscard]] std::string wrong_number_text(std::string_view name, std::string_view found,
                                            int least, int most);

} // namespace setup
