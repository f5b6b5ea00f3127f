// SPDX-License-Identifier: MIT
#include "midi_service/alsa/sequencer_state.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <grp.h>
#include <sys/stat.h>
#include <system_error>

namespace {

constexpr const char* node = "/dev/snd/seq";

std::string owning_group() {
    struct stat status {};
    if (stat(node, &status) != 0)
        return "?";
    group entry{};
    group* found = nullptr;
    std::array<char, 4096> room{};
    if (getgrgid_r(status.st_gid, &entry, room.data(), room.size(), &found) == 0 && found)
        return found->gr_name;
    return std::to_string(status.st_gid);
}

} // namespace

std::string sequencer_advice(int error, const std::string& group) {
    switch (-error) {
    case ENOENT:
        return "keyloft: there is no ALSA sequencer: /dev/snd/seq does not exist; load it with "
               "\"sudo modprobe snd-seq\"";
    case ENXIO:
    case ENODEV:
        return "keyloft: the ALSA sequencer has no driver: /dev/snd/seq exists, but nothing is "
               "behind it; load the driver with \"sudo modprobe snd-seq\"";
    case EACCES:
    case EPERM:
        return "keyloft: no permission for the ALSA sequencer: /dev/snd/seq belongs to the group "
               "\"" +
               group + "\"; join it with \"sudo usermod -aG " + group + " $USER\" and log in again";
    case ENOMEM:
        return "keyloft: the ALSA sequencer has no client left: too many MIDI programs are open; "
               "close one of them";
    default:
        return "keyloft: the ALSA sequencer cannot be used: " +
               std::generic_category().message(-error);
    }
}

void SequencerState::report(int error) {
    if (error == known_)
        return;
    known_ = error;
    if (error != 0)
        std::fprintf(stderr, "%s\n", sequencer_advice(error, owning_group()).c_str());
}
