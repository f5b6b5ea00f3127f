// SPDX-License-Identifier: MIT
#include "ctl/question.h"

#include "tests/ctl/terminal.h"
#include "tests/support/watchdog.h"

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace {

class Question : public testing::Test {
protected:
    Answer ask_about_it() { return ask("go on?", terminal_.program_end(), questions_, &signals_); }

    void expect_shown(const std::string& text) const {
        EXPECT_EQ(terminal_.shown(text.size()), text);
    }

    StopSignals signals_; // before any thread
    Watchdog watchdog_{std::chrono::seconds(60)};
    Terminal terminal_;
    Output questions_{terminal_.program_end()};
};

TEST_F(Question, TakesAYesOrANo) {
    for (const char* const word : {"y", "Y", "yes", "Yes", "YES"}) {
        terminal_.type(std::string(word) + "\n");
        EXPECT_EQ(ask_about_it(), Answer::yes) << word;
        expect_shown("go on? [y/n] ");
    }
    for (const char* const word : {"n", "N", "no", "No", "NO"}) {
        terminal_.type(std::string(word) + "\n");
        EXPECT_EQ(ask_about_it(), Answer::no) << word;
        expect_shown("go on? [y/n] ");
    }
}

TEST_F(Question, IsAskedAgainUntilTheAnswerIsOneOfThem) {
    terminal_.type("\n y\nyes!\nyesno\ny\nn\n");
    EXPECT_EQ(ask_about_it(), Answer::yes);
    expect_shown("go on? [y/n] go on? [y/n] go on? [y/n] go on? [y/n] go on? [y/n] ");
    EXPECT_EQ(ask_about_it(), Answer::no) << "the next line is the next answer";
}

TEST_F(Question, NobodyThereMeansNo) {
    terminal_.type(Terminal::end_of_input);
    EXPECT_EQ(ask_about_it(), Answer::no);
    expect_shown("go on? [y/n] \n");
    terminal_.type("y" + (Terminal::end_of_input + Terminal::end_of_input));
    EXPECT_EQ(ask_about_it(), Answer::no) << "the line was never ended";
    terminal_.hang_up();
    EXPECT_EQ(ask_about_it(), Answer::no);
}

TEST_F(Question, EndsWithASignalThatIsStillToBeTaken) {
    kill(getpid(), SIGINT);
    EXPECT_EQ(ask_about_it(), Answer::stopped);
    expect_shown("go on? [y/n] \n");
    EXPECT_EQ(signals_.take(), SIGINT);
}

TEST_F(Question, NeedsATerminalAtBothEnds) {
    EXPECT_TRUE(can_ask(terminal_.program_end(), questions_));
    const int file = open("/dev/null", O_RDWR | O_CLOEXEC);
    EXPECT_FALSE(can_ask(file, questions_));
    EXPECT_FALSE(can_ask(terminal_.program_end(), Output(file)));
    close(file);
}

} // namespace
