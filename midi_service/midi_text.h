// SPDX-License-Identifier: MIT
#pragma once

#include "midi_service/midi_service.h"

#include <memory>
#include <string_view>

/// A new text with one user, for CFRelease to give back. Any bytes, read as UTF-8; a zero byte ends
/// it.
[[nodiscard]] CFStringRef make_text(std::string_view utf8);

/// The same text with one more user. Any thread.
[[nodiscard]] CFStringRef share_text(CFStringRef text);

/// What the text holds, for as long as the caller uses the text.
[[nodiscard]] std::string_view view_text(CFStringRef text);

/// Holds one use of a text, or none (null).
struct TextRelease {
    void operator()(CFStringRef text) const { CFRelease(text); }
};
using TextHandle = std::unique_ptr<const CFString, TextRelease>;
