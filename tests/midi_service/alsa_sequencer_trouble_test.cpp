// SPDX-License-Identifier: MIT
#include "midi_service/alsa/sequencer_trouble.h"

#include <cerrno>
#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace {

std::size_t group_entry_size = 0;

} // namespace

// In place of the library's: a group whose entry is as large as a test wants.
extern "C" int getgrgid_r(gid_t, group* entry, char* room, std::size_t size, group** found) {
    static char name[] = "crowd";
    if (size < group_entry_size)
        return ERANGE;
    *room = '\0';
    *entry = {};
    entry->gr_name = name;
    *found = entry;
    return 0;
}

namespace {

const NodeAccess usual{.owner = "root", .group = "audio", .group_number = 29, .mode = 0660};

std::string line(int error, const std::optional<NodeAccess>& node = usual) {
    return sequencer_trouble(error, node).line();
}

TEST(AlsaSequencerTrouble, EachReasonHasItsSentenceAndItsRemedy) {
    EXPECT_EQ(line(ENOENT), "there is no ALSA sequencer: /dev/snd/seq does not exist; load it with "
                            "\"sudo modprobe snd-seq\"");
    for (const int error : {ENXIO, ENODEV})
        EXPECT_EQ(line(error), "the ALSA sequencer has no driver: /dev/snd/seq exists, but nothing "
                               "is behind it; load the driver with \"sudo modprobe snd-seq\"");
    for (const int error : {EACCES, EPERM})
        EXPECT_EQ(line(error), "no permission for the ALSA sequencer: /dev/snd/seq belongs to the "
                               "group \"audio\"; join it with \"sudo usermod -aG audio $USER\" "
                               "and log in again");
    EXPECT_EQ(line(ENOMEM), "the ALSA sequencer has no client left: too many MIDI programs are "
                            "open; close one of them");
    EXPECT_EQ(line(EIO), "the ALSA sequencer cannot be used: Input/output error; see \"journalctl "
                         "-k\" for what the kernel says about it");
}

TEST(AlsaSequencerTrouble, ErrorIsKept) {
    for (const int error : {ENOENT, ENXIO, ENODEV, EACCES, EPERM, ENOMEM, EIO})
        EXPECT_EQ(sequencer_trouble(error).error, error);
}

TEST(AlsaSequencerTrouble, NoGroupIsAdvisedThatDoesNotOpenTheNodeOrIsRoots) {
    NodeAccess node = usual;
    for (const mode_t mode : {0600U, 0640U, 0620U, 0U}) {
        node.mode = mode;
        EXPECT_EQ(line(EACCES, node).find("usermod"), std::string::npos) << std::oct << mode;
    }
    node = {.owner = "root", .group = "root", .group_number = 0, .mode = 0660};
    EXPECT_EQ(line(EACCES, node),
              "no permission for the ALSA sequencer: /dev/snd/seq belongs to \"root\" and has the "
              "mode 0660; whoever sits at this computer gets access by logging in there");
    node = {.owner = "1234", .group = {}, .group_number = 29, .mode = 0660};
    EXPECT_EQ(line(EACCES, node),
              "no permission for the ALSA sequencer: /dev/snd/seq belongs to \"1234\" and has the "
              "mode 0660; whoever sits at this computer gets access by logging in there")
        << "a group without a name cannot be joined";
}

TEST(AlsaSequencerTrouble, NodeThatCannotBeLookedAtIsNotDescribed) {
    EXPECT_EQ(line(EACCES, std::nullopt), "no permission for the ALSA sequencer; whoever sits at "
                                          "this computer gets access by logging in there");
}

TEST(AlsaSequencerTrouble, NodeIsReadAsItIs) {
    char path[] = "node.XXXXXX";
    const int file = mkstemp(path);
    ASSERT_GE(file, 0);
    ASSERT_EQ(fchmod(file, 0640), 0);
    const auto node = node_access(path);
    ASSERT_TRUE(node);
    EXPECT_EQ(node->mode, 0640U);
    EXPECT_EQ(node->group_number, getegid());
    EXPECT_EQ(node->group, "crowd");
    EXPECT_FALSE(node->owner.empty());
    close(file);
    ASSERT_EQ(unlink(path), 0);
    EXPECT_FALSE(node_access(path)) << "it is gone";
}

TEST(AlsaSequencerTrouble, GroupOfAnySizeIsFound) {
    for (const auto size : {std::size_t{1000}, std::size_t{5000}, std::size_t{1'000'000}}) {
        group_entry_size = size;
        EXPECT_EQ(node_access("/dev/null")->group, "crowd") << size;
    }
}

} // namespace
