// SPDX-License-Identifier: MIT
#pragma once

#include "setup/layout.h"

#include <cstddef>
#include <optional>
#include <string_view>

// What is looked at before a layout is read as TOML. Part of setup/layout.h.

namespace setup {

/// How many bytes the UTF-8 character has that a text begins with; 0 if it is none. The text is not
/// empty.
[[nodiscard]] std::size_t character_length(std::string_view text);

/// Why the TOML library is not asked to read this file: it is empty; it is not UTF-8; a character
/// that is not ASCII stands outside of comments, where the library gets some of them wrong; or a
/// line has so many dots that its tables, one inside the other, could overflow the stack. Nothing
/// if the library can try.
[[nodiscard]] std::optional<LayoutMistake> unreadable(const LayoutFile& file);

} // namespace setup
