// SPDX-License-Identifier: MIT
// A thousand presses on this computer's sequencer, with the program keyloft-machine at its other
// end: nothing grows, and the last press is like the first.

#include "keyloft/screen_controller.h"
#include "midi_service/alsa/alsa_backend.h"
#include "tests/support/captured_output.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

// Behind the others: it declares globals that they name parameters after.
#include "Include/usb_midi.h"

/// The one pause that waits for something is over when that has come; the others take no time.
extern "C" int usleep(useconds_t microseconds) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::microseconds{microseconds};
    while (microseconds == 300'000 && set_up_ok_flag != 185 &&
           std::chrono::steady_clock::now() < end)
        std::this_thread::yield();
    return 0;
}

namespace {

std::string text_of(const std::string& path) {
    std::ifstream file(path);
    return (std::ostringstream{} << file.rdbuf()).str();
}

/// The lines of a text that begin with one of these, one after the other.
std::string lines_with(const std::string& text, std::initializer_list<std::string_view> begins) {
    std::istringstream lines(text);
    std::string found;
    for (std::string line; std::getline(lines, line);) {
        for (const std::string_view begin : begins) {
            if (std::string_view(line).starts_with(begin))
                found += line + '\n';
        }
    }
    return found;
}

std::size_t count(const std::string& text, std::string_view part) {
    std::size_t times = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++times;
    return times;
}

/// Clients, ports and subscriptions of the whole sequencer.
std::string sequencer() {
    return lines_with(text_of("/proc/asound/seq/clients"),
                      {"Client", "  Port", "    Connecting", "    Connected"});
}

/// Threads and open files of this process.
std::string holdings() {
    std::string text = lines_with(text_of("/proc/self/status"), {"Threads"});
    for (int file = 0; file < 100; ++file)
        text += fcntl(file, F_GETFD) >= 0 ? std::to_string(file) + ' ' : "";
    return text;
}

long anonymous_kilobytes() {
    const std::string line = lines_with(text_of("/proc/self/status"), {"RssAnon:"});
    return std::stol(line.substr(line.find(':') + 1));
}

class Presses : public testing::Test {
protected:
    Presses() {
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, shown_.c_str(),
                                         O_WRONLY | O_CREAT | O_TRUNC, 0600);
        std::string program = KEYLOFT_MACHINE;
        char* const arguments[] = {program.data(), nullptr};
        EXPECT_EQ(posix_spawn(&machine_, program.c_str(), &actions, nullptr, arguments, environ),
                  0);
        posix_spawn_file_actions_destroy(&actions);
        while (text_of(shown_).find("client") == std::string::npos &&
               waitpid(machine_, nullptr, WNOHANG) == 0)
            std::this_thread::yield();
        install_midi_backend(&*backend_);
    }

    ~Presses() override { install_midi_backend(nullptr); }

    /// Ends the machine; its exit status.
    int stop_machine() const {
        int status = -1;
        kill(machine_, SIGTERM);
        waitpid(machine_, &status, 0);
        return status;
    }

    /// Presses, and gives what was printed.
    std::string press() {
        CapturedOutput output;
        apply_action(screen_);
        screen_.showAlert = false;
        return output.take();
    }

    /// Presses so often; how many of the presses printed what they should.
    int press(int times, const std::string& printed) {
        int same = 0;
        for (int i = 0; i < times; ++i)
            same += press() == printed ? 1 : 0;
        return same;
    }

    const std::string shown_ = testing::TempDir() + "keyloft-machine-shows";
    pid_t machine_ = -1;
    std::unique_ptr<AlsaBackend> backend_ = AlsaBackend::create();
    ScreenState screen_;
};

TEST_F(Presses, AThousandLeaveNothingBehind) {
    const std::string before_all = sequencer();
    appear_hook();
    const std::string first = press();
    ASSERT_NE(first.find("设置成功了"), std::string::npos) << first;
    EXPECT_EQ(press(99, first), 99);
    const std::string on_sequencer = sequencer();
    const std::string held = holdings();
    const long anonymous = anonymous_kilobytes();

    const std::size_t heap = mallinfo2().uordblks;
    EXPECT_EQ(press(900, first), 900);
    // A press that leaves something behind leaves a block of 24 bytes or more each time. Once, some
    // presses after the start, the heap may take a block for good.
    EXPECT_LT(mallinfo2().uordblks, heap + 900);

    EXPECT_EQ(screen_.showmessage_title, "设置成功!");
    EXPECT_EQ(sequencer(), on_sequencer);
    EXPECT_EQ(holdings(), held);
    EXPECT_LT(anonymous_kilobytes(), anonymous + 256);
    disappear_hook();
    install_midi_backend(nullptr);
    backend_.reset();
    EXPECT_EQ(sequencer(), before_all);
    EXPECT_EQ(stop_machine(), 0);
    EXPECT_EQ(count(text_of(shown_), "Control Change"), 1000U) << text_of(shown_);
}

} // namespace
