// SPDX-License-Identifier: MIT
#include "midi_service/midi_text.h"

#include "midi_service/midi_service.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <iconv.h>
#include <string>

struct CFString {
    char mark = '#'; // not a constant's; has to be the first member: a constant has its mark there
    mutable std::atomic<std::uint32_t> users{1};
    std::string utf8;
    std::size_t ascii; // length of the ASCII part in front, found once: names are read often
};

namespace {
constexpr char constant_mark = '='; // as CFSTR puts it in front
constexpr std::uint32_t mac_roman = 0;
constexpr std::uint32_t utf_8 = 0x08000100;

/// Length of the ASCII part in front, which is the same in Mac Roman.
std::size_t ascii_length(std::string_view text) {
    std::size_t length = 0;
    while (length < text.size() && static_cast<unsigned char>(text[length]) < 0x80)
        ++length;
    return length;
}

bool is_constant(CFStringRef text) {
    return *reinterpret_cast<const char*>(text) == constant_mark;
}

/// Bytes of the UTF-8 character that starts with `lead`, if it is one that is whole.
std::size_t character_length(std::string_view text) {
    const auto lead = static_cast<unsigned char>(text.front());
    const std::size_t length = lead < 0xC0 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    for (std::size_t i = 1; i < length; ++i) {
        if (i == text.size() || (static_cast<unsigned char>(text[i]) & 0xC0) != 0x80)
            return i;
    }
    return length;
}

/// The longest part of the text with whole characters and up to `room` bytes.
std::size_t whole_characters(std::string_view utf8, std::size_t room) {
    std::size_t length = 0;
    while (length < utf8.size()) {
        const std::size_t next = character_length(utf8.substr(length));
        if (length + next > room)
            break;
        length += next;
    }
    return length;
}

/// Converts one character at a time, so that one without a counterpart costs only itself.
class MacRomanConverter {
public:
    MacRomanConverter() : descriptor_(iconv_open("MACINTOSH", "UTF-8")) {}
    ~MacRomanConverter() {
        if (usable())
            iconv_close(descriptor_);
    }
    MacRomanConverter(const MacRomanConverter&) = delete;
    MacRomanConverter& operator=(const MacRomanConverter&) = delete;

    /// Null when the character has no counterpart.
    char convert(std::string_view character) {
        char converted = '\0';
        char* in = const_cast<char*>(character.data()); // iconv takes it so and does not write
        char* out = &converted;
        std::size_t in_left = character.size();
        std::size_t out_left = 1;
        if (!usable())
            return '\0';
        iconv(descriptor_, nullptr, nullptr, nullptr, nullptr);
        const std::size_t result = iconv(descriptor_, &in, &in_left, &out, &out_left);
        return result == 0 && in_left == 0 && out_left == 0 ? converted : '\0';
    }

private:
    bool usable() const { return descriptor_ != reinterpret_cast<iconv_t>(-1); }
    iconv_t descriptor_;
};

/// Writes characters up to `room` bytes; the result is how many bytes were written. `whole` tells
/// whether every character was there and had a counterpart.
std::size_t to_mac_roman(std::string_view utf8, char* out, std::size_t room, bool& whole) {
    MacRomanConverter converter;
    std::size_t written = 0;
    while (!utf8.empty() && written < room) {
        const std::size_t length = character_length(utf8);
        const char converted = converter.convert(utf8.substr(0, length));
        whole = whole && converted != '\0';
        out[written++] = converted != '\0' ? converted : '?';
        utf8.remove_prefix(length);
    }
    whole = whole && utf8.empty();
    return written;
}

} // namespace

CFStringRef make_text(std::string_view utf8) {
    // Whoever reads the text as a C string stops at the first zero byte.
    utf8 = utf8.substr(0, utf8.find('\0'));
    return new CFString{.utf8 = std::string(utf8), .ascii = ascii_length(utf8)};
}

CFStringRef share_text(CFStringRef text) {
    if (!is_constant(text))
        text->users.fetch_add(1, std::memory_order_relaxed);
    return text;
}

std::string_view view_text(CFStringRef text) {
    if (is_constant(text))
        return reinterpret_cast<const char*>(text) + 1;
    return text->utf8;
}

void TextRelease::operator()(CFStringRef text) const {
    CFRelease(text);
}

void CFRelease(CFTypeRef object) {
    const auto* text = static_cast<CFStringRef>(object);
    if (is_constant(text))
        return;
    if (text->users.fetch_sub(1, std::memory_order_acq_rel) == 1)
        delete text;
}

std::uint8_t CFStringGetCString(CFStringRef text, char* buffer, std::int64_t size,
                                std::uint32_t encoding) {
    if (size < 1)
        return 0;
    buffer[0] = '\0';
    if (encoding != mac_roman && encoding != utf_8)
        return 0;
    const std::string_view utf8 = view_text(text);
    const auto room = static_cast<std::size_t>(size - 1);
    if (encoding == utf_8) {
        const std::size_t length = whole_characters(utf8, room);
        std::memcpy(buffer, utf8.data(), length);
        buffer[length] = '\0';
        return length == utf8.size() ? 1 : 0;
    }
    // Most names are plain ASCII and are done here.
    std::size_t length = std::min(is_constant(text) ? ascii_length(utf8) : text->ascii, room);
    std::memcpy(buffer, utf8.data(), length);
    bool whole = true;
    if (length < utf8.size())
        length += to_mac_roman(utf8.substr(length), buffer + length, room - length, whole);
    buffer[length] = '\0';
    return whole ? 1 : 0;
}
