// SPDX-License-Identifier: MIT
#include "tests/support/virtual_pauses.h"

#include <unistd.h>

std::vector<unsigned> recorded_pauses;
EmbeddedBackend* paused_backend = nullptr;
std::function<void(unsigned microseconds)> before_pause;

extern "C" int usleep(useconds_t microseconds) {
    if (before_pause)
        before_pause(microseconds);
    recorded_pauses.push_back(microseconds);
    if (paused_backend)
        paused_backend->advance(std::chrono::microseconds{microseconds});
    return 0;
}
