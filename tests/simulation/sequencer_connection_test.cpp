// SPDX-License-Identifier: MIT
#include "simulation/sequencer_connection.h"

#include "tests/simulation/socket_machine.h"

#include <cerrno>

#include <gmock/gmock.h>

namespace {
int open_result = 0;
}

// In place of the library's: the sequencer cannot be opened, for whatever reason a test wants.
int snd_seq_open(snd_seq_t**, const char*, int, int) {
    return open_result;
}

namespace {

/// What the program says when the sequencer gives an error.
std::string advice(int error) {
    open_result = -error;
    WatcherRecord record;
    try {
        const SequencerMachine machine(0x4AC5F4C4, {}, record);
    } catch (const MachineError& mistake) {
        return mistake.what();
    }
    return "none";
}

TEST(SequencerMachine, SaysWhatToDoWhenThereIsNoSequencer) {
    EXPECT_EQ(advice(ENOENT),
              "This computer has no ALSA sequencer (there is no /dev/snd/seq): load "
              "it with \"sudo modprobe snd-seq\".");
    for (const int error : {ENXIO, ENODEV})
        EXPECT_EQ(advice(error), "The driver of the ALSA sequencer is not loaded (/dev/snd/seq "
                                 "leads nowhere): load it with \"sudo modprobe snd-seq\".");
}

TEST(SequencerMachine, NamesTheGroupToJoin) {
    for (const int error : {EACCES, EPERM})
        EXPECT_THAT(advice(error),
                    testing::MatchesRegex("This user may not open the ALSA sequencer: join the "
                                          "group \"[a-z_-]+\", which owns /dev/snd/seq, and log in "
                                          "again\\."));
}

TEST(SequencerMachine, SaysWhatElseIsWrong) {
    EXPECT_EQ(advice(ENOMEM),
              "The ALSA sequencer has no client left: end a program that uses MIDI.");
    EXPECT_EQ(advice(EIO), "The ALSA sequencer does not work: Input/output error. See "
                           "\"journalctl -k\" for what the kernel says about it.");
}

} // namespace
