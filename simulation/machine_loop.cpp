// SPDX-License-Identifier: MIT
#include "simulation/machine_loop.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <system_error>

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

using namespace std::chrono_literals;

namespace {

using Machines = MachineLoop::Machines;
using Clock = ConnectedMachine::Clock;

[[noreturn]] void fail(const char* what) {
    throw MachineError(std::string(what) +
                       " does not work: " + std::generic_category().message(errno) + ".");
}

/// Waits for input or until a machine has something to send.
void wait(std::vector<pollfd>& polled, Machines machines) {
    std::optional<Clock::time_point> due;
    for (const auto& machine : machines) {
        const auto next = machine->next_due();
        if (next && (!due || *next < *due))
            due = next;
    }
    timespec timeout{};
    if (due) {
        const auto left = std::max<std::chrono::nanoseconds>(*due - Clock::now(), 0ns);
        timeout = {.tv_sec = left / 1s, .tv_nsec = (left % 1s).count()};
    }
    if (ppoll(polled.data(), polled.size(), due ? &timeout : nullptr, nullptr) >= 0)
        return;
    if (errno != EINTR)
        fail("Waiting for input");
    for (pollfd& each : polled)
        each.revents = 0;
}

void power_cycle_all(Machines machines) {
    for (const auto& machine : machines)
        machine->power_cycle();
}

} // namespace

MachineLoop::MachineLoop(int keys) : keys_(keys) {
    sigset_t taken;
    sigemptyset(&taken);
    for (const int signal : {SIGINT, SIGTERM, SIGUSR1, SIGUSR2, SIGCONT})
        sigaddset(&taken, signal);
    signals_ = signalfd(-1, &taken, SFD_CLOEXEC | SFD_NONBLOCK);
    if (signals_ < 0)
        fail("signalfd");
    pthread_sigmask(SIG_BLOCK, &taken, &before_);
    look_at_keyboard();
}

MachineLoop::~MachineLoop() {
    if (has_keys_ && terminal_)
        tcsetattr(keys_, TCSANOW, &*terminal_);
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    close(signals_);
}

void MachineLoop::run(Machines machines, const std::function<void()>& report) {
    while (true) {
        std::vector<pollfd> polled = {{signals_, POLLIN, 0}, {has_keys_ ? keys_ : -1, POLLIN, 0}};
        for (const auto& machine : machines)
            polled.push_back({machine->descriptor(), POLLIN, 0});
        wait(polled, machines);
        for (std::size_t i = 0; i < machines.size(); ++i) {
            if (polled[i + 2].revents != 0)
                machines[i]->read();
            machines[i]->send_due(Clock::now());
        }
        if (polled[0].revents != 0 && !take_signal(machines, report))
            return;
        if (polled[1].revents != 0 && !take_key(machines))
            return;
    }
}

/// False when the signal ends the loop.
bool MachineLoop::take_signal(Machines machines, const std::function<void()>& report) {
    signalfd_siginfo info{};
    if (read(signals_, &info, sizeof info) != sizeof info)
        return true;
    switch (info.ssi_signo) {
    case SIGUSR1:
        power_cycle_all(machines);
        return true;
    case SIGUSR2:
        report();
        return true;
    case SIGCONT:
        look_at_keyboard();
        return true;
    default:
        return false;
    }
}

/// In the background a program must leave its terminal alone: the kernel stops one that reads or
/// changes it.
void MachineLoop::look_at_keyboard() {
    termios settings{};
    has_keys_ =
        isatty(keys_) != 0 && tcgetpgrp(keys_) == getpgrp() && tcgetattr(keys_, &settings) == 0;
    if (!has_keys_)
        return;
    if (!terminal_)
        terminal_ = settings;
    settings.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    tcsetattr(keys_, TCSANOW, &settings);
}

/// False when the key ends the loop.
bool MachineLoop::take_key(Machines machines) {
    char key = 0;
    has_keys_ = read(keys_, &key, 1) == 1; // otherwise the terminal has gone
    if (key == 'p')
        power_cycle_all(machines);
    return key != 'q';
}
