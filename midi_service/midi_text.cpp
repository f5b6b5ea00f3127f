// SPDX-License-Identifier: MIT
#include "midi_service/midi_text.h"

#include "midi_service/midi_service.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <iconv.h>
#include <optional>
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

    /// Puts the character's counterpart in its place, until the next call; "?" and false when it
    /// has none.
    bool convert(std::string_view& character) {
        char* in = const_cast<char*>(character.data()); // iconv takes it so and does not write
        char* out = &converted_;
        std::size_t in_left = character.size();
        std::size_t out_left = 1;
        if (usable())
            iconv(descriptor_, nullptr, nullptr, nullptr, nullptr);
        const bool has_one = usable() && iconv(descriptor_, &in, &in_left, &out, &out_left) == 0 &&
                             in_left == 0 && out_left == 0;
        if (!has_one)
            converted_ = '?';
        character = {&converted_, 1};
        return has_one;
    }

private:
    bool usable() const { return descriptor_ != reinterpret_cast<iconv_t>(-1); }
    iconv_t descriptor_;
    char converted_ = '\0';
};

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
    const auto room = static_cast<std::size_t>(size - 1);
    std::string_view rest = view_text(text);
    // Most names are plain ASCII, the same in both encodings, and are done here.
    std::size_t length = std::min(is_constant(text) ? ascii_length(rest) : text->ascii, room);
    std::memcpy(buffer, rest.data(), length);
    rest.remove_prefix(length);
    std::optional<MacRomanConverter> converter;
    if (encoding == mac_roman && !rest.empty())
        converter.emplace();
    bool whole = true;
    while (!rest.empty()) {
        std::string_view character = rest.substr(0, character_length(rest));
        const std::size_t taken = character.size();
        if (converter)
            whole = converter->convert(character) && whole;
        if (length + character.size() > room)
            break;
        std::memcpy(buffer + length, character.data(), character.size());
        length += character.size();
        rest.remove_prefix(taken);
    }
    buffer[length] = '\0';
    return whole && rest.empty() ? 1 : 0;
}
