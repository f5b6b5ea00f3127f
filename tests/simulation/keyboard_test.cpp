// SPDX-License-Identifier: MIT
#include "simulation/machine_loop.h"

#include "tests/simulation/socket_machine.h"

#include <gtest/gtest.h>

#include <csignal>
#include <utility>

#include <poll.h>
#include <pty.h>
#include <sys/wait.h>

namespace {

constexpr int patience_ms = 10000;

/// A program in a terminal of its own. The test is its user.
class Terminal {
public:
    explicit Terminal(int (*program)()) : child_(forkpty(&user_, nullptr, nullptr, nullptr)) {
        if (child_ == 0)
            _exit(program());
    }
    ~Terminal() {
        if (child_ > 0)
            kill(child_, SIGKILL);
        if (user_ >= 0)
            close(user_);
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    /// Takes the terminal away from the program.
    void hang_up() { close(std::exchange(user_, -1)); }

    void type(const std::string& keys) const {
        EXPECT_EQ(write(user_, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
    }

    /// What the program prints next, up to and including a text.
    [[nodiscard]] std::string screen_until(const std::string& text) const {
        std::string shown;
        pollfd polled{user_, POLLIN, 0};
        while (shown.find(text) == std::string::npos && poll(&polled, 1, patience_ms) == 1) {
            char letter = 0;
            if (read(user_, &letter, 1) != 1)
                break;
            shown += letter;
        }
        return shown;
    }

    /// Waits for the program's end. -1: a signal ended it.
    [[nodiscard]] int exit_code() {
        int status = -1;
        waitpid(std::exchange(child_, -1), &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    int user_ = -1;
    pid_t child_;
};

class Show final : public MachineWatcher {
public:
    void happened(const ConnectedMachine& machine, const MachineEvent& event) override {
        dprintf(STDOUT_FILENO, "[%s]", event_text(machine, event).c_str());
    }
};

int serve_in_terminal() {
    termios before{};
    termios after{};
    tcgetattr(STDIN_FILENO, &before);
    {
        MachineLoop loop(STDIN_FILENO);
        Show show;
        std::vector<std::unique_ptr<ConnectedMachine>> machines;
        machines.push_back(std::make_unique<SocketMachine>(MachineFaults{}, show));
        dprintf(STDOUT_FILENO, loop.has_keys() ? "[ready]" : "[no keys]");
        loop.run(machines, [] {});
    }
    tcgetattr(STDIN_FILENO, &after);
    return before.c_lflag == after.c_lflag ? 0 : 3;
}

TEST(Keyboard, SwitchesOffAndOnWithPAndEndsWithQ) {
    Terminal terminal(serve_in_terminal);
    EXPECT_EQ(terminal.screen_until("[ready]"), "[ready]");
    // No Enter is needed, keys are not echoed, and x does nothing.
    terminal.type("xp");
    EXPECT_EQ(terminal.screen_until("]"), "[power cycle: back to 0 mappings]");
    terminal.type("pq");
    EXPECT_EQ(terminal.screen_until("]"), "[power cycle: back to 0 mappings]");
    EXPECT_EQ(terminal.exit_code(), 0) << "3: the terminal was not given back as it was";
}

TEST(Keyboard, LeavesControlCToTheTerminal) {
    Terminal terminal(serve_in_terminal);
    EXPECT_EQ(terminal.screen_until("[ready]"), "[ready]");
    terminal.type("\x03");
    EXPECT_EQ(terminal.exit_code(), 0);
}

TEST(Keyboard, HasNoKeysWhereThereIsNoTerminal) {
    int ends[2] = {-1, -1};
    ASSERT_EQ(pipe(ends), 0);
    EXPECT_FALSE(MachineLoop(ends[0]).has_keys());
    EXPECT_FALSE(MachineLoop(-1).has_keys());
    close(ends[0]);
    close(ends[1]);
}

TEST(Keyboard, HasNoKeysInATerminalThatIsNotItsOwn) {
    int user = -1;
    int terminal = -1;
    ASSERT_EQ(openpty(&user, &terminal, nullptr, nullptr, nullptr), 0);
    EXPECT_FALSE(MachineLoop(terminal).has_keys());
    close(user);
    close(terminal);
}

int read_until_the_terminal_is_gone() {
    signal(SIGHUP, SIG_IGN);
    MachineLoop loop(STDIN_FILENO);
    dprintf(STDOUT_FILENO, loop.has_keys() ? "[ready]" : "[no keys]");
    // One report after the other, until there are no keys.
    raise(SIGUSR2);
    loop.run({}, [&loop] { raise(loop.has_keys() ? SIGUSR2 : SIGTERM); });
    return 0;
}

TEST(Keyboard, HasNoKeysAnyMoreWhenTheTerminalIsGone) {
    Terminal terminal(read_until_the_terminal_is_gone);
    EXPECT_EQ(terminal.screen_until("[ready]"), "[ready]");
    terminal.hang_up();
    EXPECT_EQ(terminal.exit_code(), 0);
}

int serve_in_background() {
    signal(SIGTTOU, SIG_IGN);
    // Another process group gets the terminal, as when a shell runs a program with "&".
    const pid_t other = fork();
    if (other == 0) {
        pause();
        _exit(0);
    }
    setpgid(other, other);
    tcsetpgrp(STDIN_FILENO, other);
    signal(SIGTTOU, SIG_DFL);
    MachineLoop loop(STDIN_FILENO);
    const bool in_background = !loop.has_keys();
    signal(SIGTTOU, SIG_IGN);
    tcsetpgrp(STDIN_FILENO, getpgrp());
    raise(SIGCONT);
    loop.run({}, [] {}); // until it reads a key, in the foreground
    kill(other, SIGKILL);
    return in_background ? 0 : 4;
}

TEST(Keyboard, LeavesTheTerminalAloneInTheBackground) {
    Terminal terminal(serve_in_background);
    terminal.type("q");
    EXPECT_EQ(terminal.exit_code(), 0);
}

} // namespace
