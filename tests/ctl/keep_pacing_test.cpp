// SPDX-License-Identifier: MIT
#include "ctl/keep_pacing.h"

#include <gtest/gtest.h>

using setup::Time;
using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {
constexpr Time start{seconds(100)};
}

TEST(Settling, IsDueAMomentBehindTheLastChange) {
    Settling settling;
    EXPECT_FALSE(settling.due());
    EXPECT_FALSE(settling.take(start));
    settling.changed(start);
    EXPECT_EQ(settling.due(), start + milliseconds(200));
    settling.changed(start + milliseconds(150));
    EXPECT_EQ(settling.due(), start + milliseconds(350));
    EXPECT_FALSE(settling.take(start + milliseconds(349)));
    EXPECT_TRUE(settling.take(start + milliseconds(350)));
    EXPECT_FALSE(settling.due());
    EXPECT_FALSE(settling.take(start + milliseconds(400)));
}

TEST(Settling, DoesNotWaitForTheEndOfEndlessChanges) {
    Settling settling;
    for (int i = 0; i <= 19; ++i)
        settling.changed(start + milliseconds(100 * i));
    EXPECT_EQ(settling.due(), start + seconds(2));
    EXPECT_TRUE(settling.take(start + seconds(2)));
    settling.changed(start + seconds(3));
    EXPECT_EQ(settling.due(), start + milliseconds(3200));
}

TEST(SaidLately, SaysTheSameOnceAMinute) {
    SaidLately said;
    EXPECT_TRUE(said.is_news("one", start));
    EXPECT_TRUE(said.is_news("two", start + seconds(30)));
    for (int i = 0; i < 10; ++i)
        EXPECT_FALSE(said.is_news("one", start + seconds(6 * i)));
    EXPECT_TRUE(said.is_news("one", start + seconds(60)));
    EXPECT_FALSE(said.is_news("two", start + seconds(89)));
    EXPECT_FALSE(said.is_news("one", start + seconds(119)));
    EXPECT_TRUE(said.is_news("one", start + seconds(120)));
}
