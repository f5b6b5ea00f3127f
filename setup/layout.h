// SPDX-License-Identifier: MIT
#pragma once

#include "protocol/mapping.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

// Layouts: what the parts of some machines are to send, as people write it down in TOML. A machine
// is a table, a part is a key in it:
//
//     [4AC5F4C4]
//     12 = { type = "Control Change", channel = 1, controller = 7 }
//
// Types have the names that users see. Parts that are not named stay as they are.

namespace setup {

/// Where something stands in a file. Lines and columns count from 1; a column is a character,
/// whatever its width. Line 0: the file as a whole.
struct Place {
    std::string file{};
    unsigned line = 0;
    unsigned column = 0;
    bool operator==(const Place&) const = default;
};

/// "desk.toml:3:14", or "desk.toml" for the file as a whole; without control characters.
[[nodiscard]] std::string place_text(const Place& place);

/// One part and what it is to send.
struct LayoutEntry {
    protocol::KeyMapping mapping{}; ///< all numbers are in their ranges
    Place place{};                  ///< of the part's key
};

/// One machine, of the family or not, and its parts.
struct MachineLayout {
    std::uint32_t code = 0;
    Place place{};                      ///< where its code stands first
    std::vector<LayoutEntry> entries{}; ///< at least one, by ascending part
};

/// Something that is wrong in a file, or worth a look. The sentence starts in lower case, has no
/// full stop and no control character.
struct LayoutMistake {
    Place place{};
    std::string text{};
};

/// "desk.toml:3:14: channel of part 12 is 17: it has to be a whole number from 1 to 16"
[[nodiscard]] std::string mistake_line(const LayoutMistake& mistake);

/// What the files say: either machines, perhaps with warnings, or mistakes.
struct Layout {
    std::vector<MachineLayout> machines{}; ///< by ascending code
    std::vector<LayoutMistake> mistakes{}; ///< in the order of the files, then of the places
    std::vector<LayoutMistake> warnings{}; ///< by machine and part
};

struct LayoutFile {
    std::string name{};    ///< as it stands in places
    std::string content{}; ///< any bytes
};

/// Reads the files, which together are one layout. A file that is no TOML has one mistake, the
/// first; all other mistakes are found at once. Any thread.
[[nodiscard]] Layout read_layout(std::span<const LayoutFile> files);

/// The layout of one machine for another one: for a replacement, or a second unit. A layout of
/// several machines gets a mistake at each one behind the first.
[[nodiscard]] Layout moved_to(Layout layout, std::uint32_t code);

} // namespace setup
