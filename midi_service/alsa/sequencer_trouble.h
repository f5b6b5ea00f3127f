// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <sys/types.h>

/// Why the sequencer cannot be used, and what helps. The texts start in lower case and have no full
/// stop: a program puts its own name in front.
struct SequencerTrouble {
    int error; ///< a positive errno
    std::string sentence;
    std::string remedy;

    /// Both, in one line.
    [[nodiscard]] std::string line() const { return sentence + "; " + remedy; }
};

/// Whom the sequencer's device node belongs to.
struct NodeAccess {
    std::string owner;                ///< a name, or a number that has none
    std::optional<std::string> group; ///< a name; nothing when the number has none
    gid_t group_number;
    mode_t mode; ///< permission bits
};

/// The trouble behind a positive errno that opening the sequencer gave. `node`: nothing when the
/// node cannot be looked at. Joining a group is advised only where that opens the node and gives
/// nobody the rights of root.
[[nodiscard]] SequencerTrouble sequencer_trouble(int error, const std::optional<NodeAccess>& node);

/// The same, for this computer's node as it is now.
[[nodiscard]] SequencerTrouble sequencer_trouble(int error);

/// Nothing when there is no such file.
[[nodiscard]] std::optional<NodeAccess> node_access(const char* path);
