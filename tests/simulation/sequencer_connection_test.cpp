// SPDX-License-Identifier: MIT
#include "simulation/sequencer_connection.h"

#include "tests/simulation/socket_machine.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace {
int open_error = 0;
}

// Replaces alsa-lib's: the sequencer cannot be opened, for the reason that the test sets.
int snd_seq_open_lconf(snd_seq_t**, const char*, int, int, snd_config_t*) {
    return -open_error;
}

namespace {

std::string mistake_with(int error) {
    open_error = error;
    WatcherRecord record;
    try {
        const SequencerMachine machine(0x4AC5F4C4, {}, record);
    } catch (const MachineError& mistake) {
        return mistake.what();
    }
    return "none";
}

TEST(SequencerMachine, SaysWhyTheSequencerCannotBeJoinedAndWhatHelps) {
    EXPECT_EQ(mistake_with(ENOENT), "there is no ALSA sequencer: /dev/snd/seq does not exist; load "
                                    "it with \"sudo modprobe snd-seq\"");
    EXPECT_EQ(mistake_with(ENOMEM), "the ALSA sequencer has no client left: too many MIDI programs "
                                    "are open; close one of them");
}

} // namespace
