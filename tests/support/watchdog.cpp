// SPDX-License-Identifier: MIT
#include "tests/support/watchdog.h"

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <execinfo.h>
#include <filesystem>
#include <semaphore.h>
#include <string>
#include <unistd.h>

// The C library's own name for sigaction(). The thread sanitizer does not know it; under the other
// one it keeps a signal back for as long as its thread waits for a lock.
extern "C" int __sigaction(int signal, const struct sigaction* action, struct sigaction* before);

namespace {

constexpr int show_stack = SIGUSR2;
sem_t shown;

/// Runs on the thread that is to be shown.
void write_stack(int) {
    std::array<void*, 64> frames{};
    const int count = backtrace(frames.data(), static_cast<int>(frames.size()));
    backtrace_symbols_fd(frames.data(), count, STDERR_FILENO);
    sem_post(&shown);
}

void prepare() {
    std::array<void*, 1> frame{};
    backtrace(frame.data(), 1); // loads what it needs now, not in the handler
    sem_init(&shown, 0, 0);
    struct sigaction action {};
    action.sa_handler = write_stack;
    action.sa_flags = SA_RESTART;
    __sigaction(show_stack, &action, nullptr);
}

void show(pid_t thread) {
    std::fprintf(stderr, "thread %d:\n", static_cast<int>(thread));
    timespec deadline{};
    clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_sec += 2;
    const bool asked = tgkill(getpid(), thread, show_stack) == 0;
    if (!asked || sem_timedwait(&shown, &deadline) != 0)
        std::fputs("  does not say\n", stderr);
}

} // namespace

Watchdog::Watchdog(std::chrono::milliseconds patience) {
    prepare();
    thread_ = std::thread([this, patience] { watch(patience); });
}

Watchdog::~Watchdog() {
    {
        const std::lock_guard lock(mutex_);
        over_ = true;
    }
    changed_.notify_all();
    thread_.join();
    std::signal(show_stack, SIG_DFL);
    sem_destroy(&shown);
}

void Watchdog::watch(std::chrono::milliseconds patience) {
    std::unique_lock lock(mutex_);
    if (changed_.wait_for(lock, patience, [this] { return over_; }))
        return;
    std::fprintf(stderr, "still running after %lld ms; the threads are at\n",
                 static_cast<long long>(patience.count()));
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
        const auto thread = static_cast<pid_t>(std::stol(entry.path().filename().string()));
        if (thread != gettid())
            show(thread);
    }
    std::abort();
}
