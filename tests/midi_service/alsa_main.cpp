// SPDX-License-Identifier: MIT
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

// The main() of the tests that need this computer's sequencer. Where there is none, every case
// reports that it was skipped.
int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (!GTEST_FLAG_GET(list_tests)) {
        const int node = open("/dev/snd/seq", O_RDWR | O_CLOEXEC);
        if (node < 0) {
            std::printf("[  SKIPPED ] /dev/snd/seq: %s\n", std::strerror(errno));
            return 0;
        }
        close(node);
    }
    return RUN_ALL_TESTS();
}
