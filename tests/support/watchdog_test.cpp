// SPDX-License-Identifier: MIT
#include "tests/support/watchdog.h"

#include <atomic>

#include <gtest/gtest.h>

using namespace std::chrono_literals;

// Has a name to look for in the stacks. Each thread holds the lock that the other waits for.
void embrace(std::timed_mutex& mine, std::timed_mutex& others, std::atomic<int>& holding) {
    const std::lock_guard first(mine);
    ++holding;
    while (holding != 2)
        std::this_thread::yield();
    // With a time limit, so that the thread sanitizer does not report the deadlock itself.
    static_cast<void>(others.try_lock_for(1h));
}

namespace {

void embrace_under_watch() {
    std::timed_mutex one, other;
    std::atomic<int> holding = 0;
    std::thread second([&] { embrace(other, one, holding); });
    while (holding == 0)
        std::this_thread::yield();
    const Watchdog watchdog(500ms);
    embrace(one, other, holding);
    second.join();
}

} // namespace

TEST(WatchdogTest, DeadlockEndsTheProcessAndEveryThreadSaysWhereItIs) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(embrace_under_watch(), testing::KilledBySignal(SIGABRT),
                "still running after 500 ms.*TID [0-9]+:.*embrace.*TID [0-9]+:.*embrace");
}

TEST(WatchdogTest, WorkThatIsDoneInTimeIsLeftAlone) {
    const Watchdog watchdog(10min);
}
