// SPDX-License-Identifier: MIT
#include "tests/support/watchdog.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/prctl.h>
#include <unistd.h>

namespace {

/// Another program reads the stacks, since a signal may not reach a thread that waits for a lock.
void show_stacks() {
    prctl(PR_SET_PTRACER, PR_SET_PTRACER_ANY);
    setenv("DEBUGINFOD_URLS", "", 1); // or it asks a server for symbols
    const std::string command = "eu-stack -p " + std::to_string(getpid()) + " >&2";
    const int status = std::system(command.c_str());
    if (status != 0)
        std::fprintf(stderr, "eu-stack (package elfutils) ended with %d\n", status);
}

} // namespace

Watchdog::Watchdog(std::chrono::milliseconds patience)
    : thread_([this, patience] { watch(patience); }) {}

Watchdog::~Watchdog() {
    {
        const std::lock_guard lock(mutex_);
        over_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

void Watchdog::watch(std::chrono::milliseconds patience) {
    std::unique_lock lock(mutex_);
    if (changed_.wait_for(lock, patience, [this] { return over_; }))
        return;
    std::fprintf(stderr, "still running after %lld ms; the threads are at\n",
                 static_cast<long long>(patience.count()));
    show_stacks();
    std::abort();
}
