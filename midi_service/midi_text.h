// SPDX-License-Identifier: MIT
#pragma once

#include "midi_service/midi_types.h"

#include <memory>
#include <string_view>

/// A new text with one user, who gives it back with CFRelease. Any bytes, read as UTF-8; a zero
/// byte ends it.
[[nodiscard]] CFStringRef make_text(std::string_view utf8);

/// The same text with one more user. Any thread.
[[nodiscard]] CFStringRef share_text(CFStringRef text);

/// The text itself; valid as long as the caller holds it.
[[nodiscard]] std::string_view view_text(CFStringRef text);

/// Owns one use of a text, or none (null).
struct TextRelease {
    void operator()(CFStringRef text) const;
};
using TextHandle = std::unique_ptr<const CFString, TextRelease>;
