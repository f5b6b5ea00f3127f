// SPDX-License-Identifier: MIT
#pragma once

#include "protocol/mapping.h"

#include <array>
#include <cstdint>
#include <optional>
#include <span>

namespace setup {

/// Parts that a machine can have.
inline constexpr int part_count = protocol::highest_number + 1;

/// The mapping that tells a part from all others, 0 to 127. Parts 0 to 119 get the controller of
/// their number on channel 16. As controllers, 120 to 127 would be mode messages (All Sound Off and
/// the like), so these eight parts get 112 to 119 on channel 15, which the MIDI standard leaves
/// undefined.
[[nodiscard]] protocol::KeyMapping identifying_mapping(int part);

/// The part that sent a message by its identifying mapping; nothing for any other message. Any
/// bytes will do.
[[nodiscard]] std::optional<int> identified_part(std::span<const std::uint8_t> bytes);

/// Says which part is moved, once all of them have their identifying mappings. One thread.
class MovedParts {
public:
    /// An echo of this part may still be on its way, because the part was not confirmed, or not at
    /// the first attempt. From now on a message with all three bytes of the echo is no movement.
    void expect_late_echo(int part);

    /// Takes a message that the machine sent. The part, if another one than the last was moved: a
    /// fader sends many messages, and a key one more when it is let go.
    [[nodiscard]] std::optional<int> heard(std::span<const std::uint8_t> bytes);

private:
    std::array<bool, part_count> echo_may_come_{};
    std::optional<int> last_{};
};

} // namespace setup
