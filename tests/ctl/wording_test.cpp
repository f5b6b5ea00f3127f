// SPDX-License-Identifier: MIT
#include "ctl/wording.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace {

using setup::Outcome;
using setup::Result;
using std::chrono::microseconds;

constexpr protocol::Message message = {0xE0, 0x07, 0x0C};

TEST(Wording, RoundsToWholeMilliseconds) {
    EXPECT_EQ(milliseconds(microseconds(12'400)), 12);
    EXPECT_EQ(milliseconds(microseconds(12'600)), 13);
    EXPECT_EQ(outcome_text(message, Outcome{.result = Result::confirmed,
                                            .attempts = 1,
                                            .took = microseconds(12'600)}),
              "confirmed (13 ms)");
}

TEST(Wording, TellsALateEchoFromAnother) {
    Outcome outcome{.result = Result::unconfirmed, .attempts = 2, .instead = message};
    EXPECT_EQ(outcome_text(message, outcome),
              "unconfirmed: sent twice, and its echo came too late");
    outcome.instead = protocol::Message{0xE0, 0x08, 0x0C};
    EXPECT_EQ(outcome_text(message, outcome),
              "unconfirmed: sent twice, and E0 08 0C came back instead of E0 07 0C");
}

TEST(Wording, SaysWhyNothingWasSent) {
    const auto text = [](std::int32_t status) {
        return outcome_text(message, Outcome{.result = Result::not_sent, .status = status});
    };
    EXPECT_EQ(text(-ENODEV), "not sent: the machine is gone");
    EXPECT_EQ(text(-ECANCELED), "not sent: stopped before");
    EXPECT_EQ(text(-ENOMEM), "not sent: Cannot allocate memory");
}

TEST(Wording, HasASentenceForEachObstacle) {
    using setup::Obstacle;
    EXPECT_EQ(obstacle_text(Obstacle::none), "");
    for (const Obstacle obstacle :
         {Obstacle::no_machine, Obstacle::no_destination, Obstacle::no_source,
          Obstacle::several_destinations, Obstacle::several_sources, Obstacle::offline,
          Obstacle::several_machines, Obstacle::no_such_port, Obstacle::nothing_to_hear})
        EXPECT_NE(obstacle_text(obstacle), "") << static_cast<int>(obstacle);
}

TEST(Wording, KeepsControlCharactersFromTheTerminal) {
    EXPECT_EQ(printable("a\x1b[31m\x7f\xc2\x80\xc2\x9f\xc2\xa0z"), "a?[31m???\xc2\xa0z");
    EXPECT_EQ(printable("\xc2"), "\xc2");
}

} // namespace
