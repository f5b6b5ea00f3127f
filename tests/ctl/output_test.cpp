// SPDX-License-Identifier: MIT
#include "ctl/output.h"
#include "ctl/report.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <fcntl.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

class OutputTest : public testing::Test {
protected:
    OutputTest() {
        EXPECT_EQ(pipe2(ends_.data(), O_CLOEXEC), 0);
        (void)signal(SIGPIPE, SIG_IGN);
    }
    ~OutputTest() override {
        close_end(0);
        close_end(1);
    }
    void close_end(std::size_t end) {
        if (ends_[end] >= 0)
            close(ends_[end]);
        ends_[end] = -1;
    }
    std::string read_some() {
        std::array<char, 256> room{};
        const ssize_t length = read(ends_[0], room.data(), room.size());
        return {room.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0))};
    }
    std::array<int, 2> ends_{};
};

TEST_F(OutputTest, WritesEachLineAtOnce) {
    Output output(ends_[1]);
    output.line("one");
    EXPECT_EQ(read_some(), "one\n");
    output.line("");
    output.line("three");
    EXPECT_EQ(read_some(), "\nthree\n");
    EXPECT_EQ(output.error(), 0);
}

TEST_F(OutputTest, IsColouredWhereThatIsWanted) {
    Output output(ends_[1]);
    text_report(output, true)
        ->finding({Finding::Level::problem, "lock", "there is none", "make one"});
    EXPECT_EQ(read_some(), "\x1b[1;31mproblem\x1b[0m  lock: there is none\n"
                           "         What to do: make one\n");
    text_report(output, true)
        ->sum({.code = 0x4AC5F4C4, .port = "24:0", .sum = {.mappings = 2, .confirmed = 2}});
    EXPECT_EQ(read_some(),
              "\x1b[1;36m4AC5F4C4\x1b[0m  2 mappings  \x1b[32mconfirmed\x1b[0m (0.00 s)\n");
    text_report(output, true)
        ->sum({.code = 0x4AC5F4C4,
               .port = "24:0",
               .sum = {.mappings = 1, .confirmed = 1},
               .saves = true});
    EXPECT_EQ(
        read_some(),
        "\x1b[1;36m4AC5F4C4\x1b[0m  1 mapping  \x1b[1;31mconfirmed; not saved\x1b[0m (0.00 s)\n");
    text_report(output, false)->finding({Finding::Level::ok, "lock", "it is there"});
    EXPECT_EQ(read_some(), "ok       lock: it is there\n");
}

TEST_F(OutputTest, RemembersThatTheReaderHasGone) {
    close_end(0);
    Output output(ends_[1]);
    output.line("one");
    EXPECT_EQ(output.error(), EPIPE);
}

TEST_F(OutputTest, WritesNothingBehindAFailure) {
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    ASSERT_GE(full, 0);
    Output output(full);
    output.line("one");
    EXPECT_EQ(output.error(), ENOSPC);
    ASSERT_EQ(dup2(ends_[1], full), full);
    output.line("two");
    close(full);
    close_end(1);
    EXPECT_EQ(read_some(), "");
    EXPECT_EQ(output.error(), ENOSPC);
}

TEST_F(OutputTest, WaitsForRoomInANonBlockingPipe) {
    ASSERT_EQ(fcntl(ends_[1], F_SETFL, O_NONBLOCK), 0);
    const std::string wide(300'000, 'x');
    std::string read_back;
    std::thread reader([&] {
        for (std::string some = read_some(); !some.empty(); some = read_some())
            read_back += some;
    });
    Output output(ends_[1]);
    output.line(wide);
    close_end(1);
    reader.join();
    EXPECT_EQ(output.error(), 0);
    EXPECT_TRUE(read_back == wide + "\n");
}

TEST_F(OutputTest, KeepsForASlowReaderWhatDoesNotFitIntoThePipe) {
    Output output(ends_[1]);
    output.keep_for_slow_reader();
    std::string all;
    for (int i = 0; i < 3'000; ++i) {
        const std::string line = std::to_string(i) + std::string(60, '.');
        output.line(line);
        all += line + "\n";
    }
    EXPECT_TRUE(output.has_kept());
    std::string read_back;
    while (output.has_kept()) {
        read_back += read_some();
        output.write_kept();
    }
    close_end(1);
    for (std::string some = read_some(); !some.empty(); some = read_some())
        read_back += some;
    EXPECT_TRUE(read_back == all);
    EXPECT_EQ(output.error(), 0);
}

TEST_F(OutputTest, WritesAtOnceToAReaderThatIsNotSlow) {
    Output output(ends_[1]);
    output.keep_for_slow_reader();
    output.line("one");
    EXPECT_FALSE(output.has_kept());
    EXPECT_EQ(read_some(), "one\n");
}

TEST_F(OutputTest, CutsNoLineForASlowReader) {
    Output output(ends_[1]);
    output.keep_for_slow_reader();
    const std::string line(999, 'x');
    while (!output.has_kept())
        output.line(line);
    for (int i = 0; i < 40; ++i)
        output.line(line);
    std::array<char, PIPE_BUF> room{};
    while (output.has_kept()) {
        // Whatever was written until now ends a line.
        int length = 0;
        ASSERT_EQ(ioctl(ends_[0], FIONREAD, &length), 0);
        EXPECT_EQ(length % 1000, 0);
        ASSERT_EQ(read(ends_[0], room.data(), 4000), 4000);
        output.write_kept();
    }
}

TEST_F(OutputTest, KeepsNothingForAReaderThatHasGone) {
    Output output(ends_[1]);
    output.keep_for_slow_reader();
    while (!output.has_kept())
        output.line(std::string(1000, 'x'));
    close_end(0);
    output.write_kept();
    EXPECT_FALSE(output.has_kept());
    EXPECT_EQ(output.error(), EPIPE);
    output.line("more");
    EXPECT_FALSE(output.has_kept());
}

TEST(Colour, IsNotForPipesAndFiles) {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    EXPECT_FALSE(wants_colour(ends[1]));
    close(ends[0]);
    close(ends[1]);
}

/// A terminal, and the environment that its programs have.
class TerminalColour : public testing::Test {
protected:
    TerminalColour() : terminal_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
        setenv("TERM", "xterm", 1);
        unsetenv("NO_COLOR");
    }
    ~TerminalColour() override { close(terminal_); }
    int terminal_;
};

TEST_F(TerminalColour, IsForTerminals) {
    EXPECT_TRUE(wants_colour(terminal_));
}

TEST_F(TerminalColour, CanBeRefused) {
    setenv("NO_COLOR", "1", 1);
    EXPECT_FALSE(wants_colour(terminal_));
    setenv("NO_COLOR", "", 1);
    EXPECT_TRUE(wants_colour(terminal_));
}

TEST_F(TerminalColour, IsNotForATerminalThatHasNone) {
    setenv("TERM", "dumb", 1);
    EXPECT_FALSE(wants_colour(terminal_));
    unsetenv("TERM");
    EXPECT_FALSE(wants_colour(terminal_));
}

} // namespace
