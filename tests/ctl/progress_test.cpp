// SPDX-License-Identifier: MIT
#include "ctl/progress.h"

#include "tests/ctl/terminal.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

const Progress quarter{.machines = 16,
                       .machines_over = 1,
                       .mappings = 2048,
                       .mappings_over = 512,
                       .failures = 1,
                       .left = milliseconds(61'200)};

TEST(ProgressText, SaysAsMuchAsThereIsRoomFor) {
    EXPECT_EQ(progress_text(quarter, 100),
              "[##########..............................] 512/2048 mappings, 1 failure, 1:02 left, "
              "1/16 machines");
    EXPECT_EQ(progress_text(quarter, 79), "[#####.................] 512/2048 mappings, 1 failure, "
                                          "1:02 left, 1/16 machines");
    EXPECT_EQ(progress_text(quarter, 60), "[####..............] 512/2048 mappings, 1 failure, "
                                          "1:02 left");
    EXPECT_EQ(progress_text(quarter, 30), "[##........] 512/2048 mappings");
    EXPECT_EQ(progress_text(quarter, 29), "[######.....................]");
    EXPECT_EQ(progress_text(quarter, 20), "[####..............]");
    EXPECT_EQ(progress_text(quarter, 12), "[##........]");
    EXPECT_EQ(progress_text(quarter, 11), "");
    EXPECT_EQ(progress_text(quarter, 0), "");
}

TEST(ProgressText, IsNeverTooWide) {
    for (std::size_t width = 0; width < 300; ++width)
        EXPECT_LE(progress_text(quarter, width).size(), width);
}

TEST(ProgressText, FillsTheBarAtTheEndOnly) {
    Progress progress{.machines = 1, .mappings = 128, .mappings_over = 127};
    EXPECT_EQ(progress_text(progress, 14), "[###########.]");
    progress.mappings_over = 128;
    EXPECT_EQ(progress_text(progress, 14), "[############]");
}

TEST(ProgressText, RoundsTheTimeThatIsLeftUp) {
    Progress progress{.machines = 1, .mappings = 128};
    for (const auto& [left, text] : {std::pair{milliseconds(0), "0:00"},
                                     {milliseconds(1), "0:01"},
                                     {milliseconds(59'000), "0:59"},
                                     {milliseconds(59'001), "1:00"},
                                     {milliseconds(600'000), "10:00"}}) {
        progress.left = left;
        const std::string line = progress_text(progress, 100);
        EXPECT_NE(line.find(", " + std::string(text) + " left"), std::string::npos) << line;
    }
}

class ProgressLineTest : public testing::Test {
protected:
    ProgressLineTest() {
        set_columns(40);
        setenv("TERM", "xterm", 1);
    }

    void set_columns(unsigned columns) const {
        const winsize size{.ws_row = 24,
                           .ws_col = static_cast<unsigned short>(columns),
                           .ws_xpixel = 0,
                           .ws_ypixel = 0};
        ASSERT_EQ(ioctl(terminal_.program_end(), TIOCSWINSZ, &size), 0);
    }

    /// What was written since the last call, up to a mark behind it.
    [[nodiscard]] std::string shown() {
        output_.text("!");
        std::string text = terminal_.shown(1);
        while (!text.ends_with('!'))
            text += terminal_.shown(1);
        text.pop_back();
        return text;
    }

    Terminal terminal_;
    Output output_{terminal_.program_end()};
    setup::Time start_{seconds(100)};
};

TEST_F(ProgressLineTest, IsDrawnInItsPlaceAndClearedInTheEnd) {
    {
        ProgressLine line(output_, start_);
        line.draw(quarter, start_);
        EXPECT_EQ(shown(), "\r" + progress_text(quarter, 39) + "\x1b[K");
        line.clear();
        EXPECT_EQ(shown(), "\r\x1b[K");
        line.clear();
        EXPECT_EQ(shown(), "");
        line.draw(quarter, start_);
        (void)shown();
    }
    EXPECT_EQ(shown(), "\r\x1b[K");
}

TEST_F(ProgressLineTest, FollowsTheWidthOfTheTerminal) {
    ProgressLine line(output_, start_);
    for (const unsigned columns : {100U, 61U, 13U, 5U}) {
        set_columns(columns);
        line.draw(quarter, start_);
        EXPECT_EQ(shown(), "\r" + progress_text(quarter, columns - 1) + "\x1b[K");
    }
    set_columns(0); // not known
    line.draw(quarter, start_);
    EXPECT_EQ(shown(), "\r" + progress_text(quarter, 79) + "\x1b[K");
}

TEST_F(ProgressLineTest, IsDrawnTenTimesASecondAtTheMostAndNotAtTheStart) {
    ProgressLine line(output_, start_);
    EXPECT_FALSE(line.is_due(start_ + milliseconds(99)));
    EXPECT_TRUE(line.is_due(start_ + milliseconds(100)));
    line.draw(quarter, start_ + milliseconds(150));
    EXPECT_FALSE(line.is_due(start_ + milliseconds(249)));
    EXPECT_TRUE(line.is_due(start_ + milliseconds(250)));
}

TEST_F(ProgressLineTest, DoesNotWaitForATerminalThatIsStopped) {
    ProgressLine line(output_, start_);
    ASSERT_EQ(tcflow(terminal_.program_end(), TCOOFF), 0);
    line.draw(quarter, start_);
    EXPECT_FALSE(line.is_due(start_ + milliseconds(99)));
    ASSERT_EQ(tcflow(terminal_.program_end(), TCOON), 0);
    EXPECT_EQ(shown(), "");
    line.clear(); // nothing is drawn
    EXPECT_EQ(shown(), "");
    line.draw(quarter, start_);
    EXPECT_NE(shown(), "");
}

TEST_F(ProgressLineTest, IsNotForADumbTerminalOrAPipe) {
    setenv("TERM", "dumb", 1);
    EXPECT_FALSE(ProgressLine(output_, start_).is_due(start_ + seconds(1)));
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    setenv("TERM", "xterm", 1);
    Output pipe(ends[1]);
    EXPECT_FALSE(ProgressLine(pipe, start_).is_due(start_ + seconds(1)));
    close(ends[0]);
    close(ends[1]);
}

TEST_F(ProgressLineTest, HasNoColour) {
    setenv("NO_COLOR", "1", 1);
    ProgressLine line(output_, start_);
    EXPECT_TRUE(line.is_due(start_ + seconds(1)));
    line.draw(quarter, start_);
    EXPECT_EQ(shown().find("\x1b[K"), progress_text(quarter, 39).size() + 1);
    unsetenv("NO_COLOR");
}

} // namespace
