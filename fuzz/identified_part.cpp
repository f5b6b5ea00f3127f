// SPDX-License-Identifier: MIT
// What keyloftctl's identify makes of bytes from a machine. In the input a byte below 80 says how
// long the next message is, any other names a part whose echo may be late. Which part moved is
// computed a second time.
#include "setup/identified_part.h"
#include "fuzz/target.h"

#include <set>

namespace {

using Message = std::span<const std::uint8_t>;

/// The part of a message: on channel 16 the controllers below 120, on channel 15 the last eight of
/// those.
std::optional<int> part_of(Message message) {
    if (message.size() != 3 || (message[1] | message[2]) >= 0x80)
        return std::nullopt;
    const int number = message[0] << 8 | message[1];
    if (number >= 0xBF00 && number <= 0xBF77)
        return number - 0xBF00;
    if (number >= 0xBE70 && number <= 0xBE77)
        return number - 0xBE70 + 120;
    return std::nullopt;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    setup::MovedParts parts;
    std::set<int> late;
    std::optional<int> last;
    while (!input.empty()) {
        const std::uint8_t head = input.byte();
        if (head >= 0x80) {
            late.insert(head - 0x80);
            parts.expect_late_echo(head - 0x80);
            continue;
        }
        const Message message = input.bytes(head % 5);
        const auto part = part_of(message);
        require(setup::identified_part(message) == part, "the part is that of the message");
        auto told = part;
        if (part && (part == last || (late.contains(*part) && message[2] == *part)))
            told.reset();
        require(parts.heard(message) == told, "each change is told once, and no late echo");
        if (told)
            last = told;
    }
    return 0;
}
