// SPDX-License-Identifier: MIT
#include "ctl/wording.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <vector>

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
    Outcome outcome{.result = Result::unconfirmed, .attempts = 2, .sent = 2, .instead = message};
    EXPECT_EQ(outcome_text(message, outcome),
              "unconfirmed: sent twice, and its echo came too late");
    outcome.instead = protocol::Message{0xE0, 0x08, 0x0C};
    EXPECT_EQ(outcome_text(message, outcome),
              "unconfirmed: sent twice, and E0 08 0C came back instead of E0 07 0C");
}

TEST(Wording, CountsHowOftenTheMessageWasSent) {
    // The closing clock of the first attempt fails, and the second goes unanswered.
    Outcome outcome{.result = Result::unconfirmed, .attempts = 2, .sent = 2, .status = -ENOMEM};
    EXPECT_EQ(outcome_text(message, outcome),
              "unconfirmed: sent twice, and no echo came; then Cannot allocate memory");
    // The machine goes before the message of the second attempt.
    outcome.sent = 1;
    outcome.status = -ENODEV;
    EXPECT_EQ(outcome_text(message, outcome),
              "unconfirmed: sent, and no echo came; then the machine is gone");
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

TEST(Wording, CountsInSingularAndPlural) {
    EXPECT_EQ(count_text(0, "mapping"), "0 mappings");
    EXPECT_EQ(count_text(1, "mapping"), "1 mapping");
    EXPECT_EQ(count_text(2, "machine"), "2 machines");
}

TEST(Wording, NamesPartsInRuns) {
    std::vector<setup::LayoutEntry> entries;
    const auto add = [&](int part) { entries.push_back({.mapping = {.part = part}}); };
    add(3);
    EXPECT_EQ(parts_text(entries), "part 3");
    add(4);
    EXPECT_EQ(parts_text(entries), "parts 3-4");
    for (const int part : {6, 100, 101, 102, 127})
        add(part);
    EXPECT_EQ(parts_text(entries), "parts 3-4, 6, 100-102, 127");
}

TEST(Wording, RoundsToHundredthsOfASecond) {
    EXPECT_EQ(seconds_text(microseconds(0)), "0.00 s");
    EXPECT_EQ(seconds_text(microseconds(44'400)), "0.04 s");
    EXPECT_EQ(seconds_text(microseconds(45'000)), "0.05 s");
    EXPECT_EQ(seconds_text(microseconds(1'407'600)), "1.41 s");
    EXPECT_EQ(seconds_text(microseconds(65'000'000)), "65.00 s");
}

TEST(Wording, SumsUp) {
    JobSum sum{.mappings = 3, .confirmed = 3, .took = microseconds(33'000)};
    EXPECT_EQ(sum_text(sum, false), "3 mappings  confirmed (0.03 s)");
    EXPECT_EQ(sum_text(sum, true), "3 mappings  confirmed; not saved (0.03 s)");
    sum.save = Result::unconfirmed;
    EXPECT_EQ(sum_text(sum, true), "3 mappings  confirmed; not saved (0.03 s)");
    sum.save = Result::confirmed;
    EXPECT_EQ(sum_text(sum, true), "3 mappings  confirmed and saved (0.03 s)");
    sum = {.mappings = 3, .confirmed = 1, .unconfirmed = 1, .not_sent = 1};
    EXPECT_EQ(sum_text(sum, true),
              "3 mappings  1 confirmed, 1 unconfirmed, 1 not sent; not saved (0.00 s)");
    sum = {.mappings = 1, .not_sent = 1};
    EXPECT_EQ(sum_text(sum, false), "1 mapping  not sent (0.00 s)");
}

TEST(Wording, KeepsControlCharactersFromTheTerminal) {
    EXPECT_EQ(printable("a\x1b[31m\x7f\xc2\x80\xc2\x9f\xc2\xa0z"), "a?[31m???\xc2\xa0z");
    EXPECT_EQ(printable("\xc2"), "\xc2");
}

} // namespace
