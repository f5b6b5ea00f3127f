// SPDX-License-Identifier: MIT
#include "keyloft/fatal_stop.h"
#include "tests/screen/controller_fixture.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sys/mman.h>
#include <unistd.h>

#include <gmock/gmock.h>

namespace {

constexpr const char* nil_message = "Unexpectedly found nil while unwrapping an Optional value";

/// Stops that end a child process, whose standard output is fully buffered.
class FatalStopDeath : public ScreenActions {
protected:
    FatalStopDeath() { GTEST_FLAG_SET(death_test_style, "fast"); }
    ~FatalStopDeath() override {
        close(file_);
        close(pipe_[0]);
        close(pipe_[1]);
    }

    /// In the child: presses with standard output on `descriptor`.
    void press(int descriptor) {
        std::setvbuf(stdout, nullptr, _IOFBF, BUFSIZ);
        if (dup2(descriptor, STDOUT_FILENO) < 0)
            std::exit(3);
        std::printf("written before\n");
        apply_action(screen_);
        std::printf("came back\n");
        std::exit(4);
    }

    void expect_death(const std::string& output) {
        EXPECT_EXIT(press(file_), testing::KilledBySignal(SIGABRT),
                    testing::HasSubstr(nil_message));
        EXPECT_EQ(file_text(), output);
    }

    std::string file_text() const {
        std::string text(100'000, '\0');
        const ssize_t got = pread(file_, text.data(), text.size(), 0);
        text.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
        return text;
    }

    int file_ = memfd_create("output of a child", MFD_CLOEXEC);
    std::array<int, 2> pipe_{-1, -1};
};

} // namespace

TEST_F(FatalStopDeath, ControllerThatIsNoNumberAbortsBeforeADeviceIsTouched) {
    screen_.message_controller_number_code_string = "seven";
    expect_death("written before\n");
}

TEST_F(FatalStopDeath, ChannelWithATrailingSpaceAbortsBeforeADeviceIsTouched) {
    screen_.message_channel_menu_string = "1 ";
    expect_death("written before\n");
}

TEST_F(FatalStopDeath, PartWithALeadingSpaceAbortsBeforeADeviceIsTouched) {
    screen_.message_type_menu_string = NOTE_ON;
    screen_.hardware_part_number_code_string = " 1";
    expect_death("written before\nNOTE_ON\n");
}

TEST_F(FatalStopDeath, EmptyFieldAborts) {
    screen_.message_controller_number_code_string = "";
    expect_death("written before\n");
}

TEST_F(FatalStopDeath, Controller256AbortsAfterTheProbe) {
    screen_.message_controller_number_code_string = "256";
    fake_device.answers[5] = 1;
    expect_death("written before\n" + up_to_the_choice() + automatic_choice('5'));
}

TEST_F(FatalStopDeath, ControllerMinusOneAbortsAfterTheProbe) {
    screen_.message_controller_number_code_string = "-1";
    expect_death("written before\n" + up_to_the_choice() + manual_choice("4AC0F4C4", '0'));
}

TEST_F(FatalStopDeath, Part256AbortsAfterTheProbeAndNoCommandGoesOut) {
    screen_.hardware_part_number_code_string = "256";
    screen_.machine_type_menu_string = "";
    expect_death("written before\n" + up_to_the_choice() + invalid_machine);
}

TEST_F(FatalStopDeath, Channel17AbortsAfterTheProbe) {
    screen_.message_channel_menu_string = "17";
    screen_.machine_type_menu_string = "4ACF4C4";
    expect_death("written before\n" + up_to_the_choice() + invalid_middle);
}

TEST_F(FatalStopDeath, OutputWrittenBeforeIsNotLostInAPipe) {
    ASSERT_EQ(pipe(pipe_.data()), 0);
    screen_.message_controller_number_code_string = "256";
    fake_device.answers[5] = 1;
    EXPECT_EXIT(press(pipe_[1]), testing::KilledBySignal(SIGABRT), testing::HasSubstr(nil_message));
    close(pipe_[1]);
    pipe_[1] = -1;
    std::string text;
    std::array<char, 512> piece{};
    for (ssize_t got = 0; (got = read(pipe_[0], piece.data(), piece.size())) > 0;)
        text.append(piece.data(), static_cast<std::size_t>(got));
    EXPECT_EQ(text, "written before\n" + up_to_the_choice() + automatic_choice('5'));
}

TEST_F(FatalStopDeath, SumOfAnswersAbove255AbortsAfterTheProbe) {
    fake_device.answers[0] = 255;
    fake_device.answers[1] = 255;
    EXPECT_EXIT(press(file_), testing::KilledBySignal(SIGABRT), "");
    EXPECT_EQ(file_text(), "written before\n" + up_to_the_choice());
}

TEST_F(FatalStopDeath, StopWithAMessageOfItsOwnPrintsIt) {
    EXPECT_EXIT(fatal_stop("no such luck", FatalReason::no_entry), testing::KilledBySignal(SIGABRT),
                testing::HasSubstr("no such luck"));
}

TEST_F(FatalStopDeath, MessageGoesToStandardErrorAlone) {
    screen_.message_controller_number_code_string = "x";
    EXPECT_EXIT(press(file_), testing::KilledBySignal(SIGABRT),
                testing::Not(testing::HasSubstr("written before")));
    EXPECT_EQ(file_text().find("Unexpectedly"), std::string::npos);
}
