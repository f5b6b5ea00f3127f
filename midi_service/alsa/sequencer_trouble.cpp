// SPDX-License-Identifier: MIT
#include "midi_service/alsa/sequencer_trouble.h"

#include <cerrno>
#include <cstdio>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <system_error>
#include <vector>

namespace {

/// The name of a user or a group. An entry with many members needs a large buffer.
template<typename Entry, typename Id>
std::optional<std::string> name_of(int (*look_up)(Id, Entry*, char*, std::size_t, Entry**), Id id,
                                   char* Entry::*name) {
    std::vector<char> room(1024);
    Entry entry{};
    Entry* found = nullptr;
    while (look_up(id, &entry, room.data(), room.size(), &found) == ERANGE)
        room.resize(2 * room.size());
    return found ? std::optional<std::string>(found->*name) : std::nullopt;
}

SequencerTrouble no_permission(int error, const std::optional<NodeAccess>& node) {
    const std::string sentence = "no permission for the ALSA sequencer";
    constexpr const char* at_the_desk =
        "whoever sits at this computer gets access by logging in there";
    if (!node)
        return {error, sentence, at_the_desk};
    constexpr mode_t group_uses_it = S_IRGRP | S_IWGRP;
    if (node->group && node->group_number != 0 && (node->mode & group_uses_it) == group_uses_it)
        return {error, sentence + ": /dev/snd/seq belongs to the group \"" + *node->group + "\"",
                "join it with \"sudo usermod -aG " + *node->group + " $USER\" and log in again"};
    char mode[16];
    std::snprintf(mode, sizeof mode, "%04o", static_cast<unsigned>(node->mode));
    return {error,
            sentence + ": /dev/snd/seq belongs to \"" + node->owner + "\" and has the mode " + mode,
            at_the_desk};
}

} // namespace

SequencerTrouble sequencer_trouble(int error, const std::optional<NodeAccess>& node) {
    switch (error) {
    case ENOENT:
        return {error, "there is no ALSA sequencer: /dev/snd/seq does not exist",
                "load it with \"sudo modprobe snd-seq\""};
    case ENXIO:
    case ENODEV:
        return {error,
                "the ALSA sequencer has no driver: /dev/snd/seq exists, but nothing is behind it",
                "load the driver with \"sudo modprobe snd-seq\""};
    case EACCES:
    case EPERM:
        return no_permission(error, node);
    case ENOMEM:
        return {error, "the ALSA sequencer has no client left: too many MIDI programs are open",
                "close one of them"};
    default:
        return {error,
                "the ALSA sequencer cannot be used: " + std::generic_category().message(error),
                "see \"journalctl -k\" for what the kernel says about it"};
    }
}

SequencerTrouble sequencer_trouble(int error) {
    return sequencer_trouble(error, node_access("/dev/snd/seq"));
}

std::optional<NodeAccess> node_access(const char* path) {
    struct stat status {};
    if (stat(path, &status) != 0)
        return std::nullopt;
    return NodeAccess{
        .owner = name_of(&getpwuid_r, status.st_uid, &passwd::pw_name)
                     .value_or(std::to_string(status.st_uid)),
        .group = name_of(&getgrgid_r, status.st_gid, &group::gr_name),
        .group_number = status.st_gid,
        .mode = status.st_mode & 07777,
    };
}
