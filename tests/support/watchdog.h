// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

/// Turns a deadlock into a failure that says where it is: if this object still lives after a time,
/// it writes the stacks of all threads to standard error and aborts.
class Watchdog {
public:
    explicit Watchdog(std::chrono::milliseconds patience);
    ~Watchdog();
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;

private:
    void watch(std::chrono::milliseconds patience);

    std::mutex mutex_{};
    std::condition_variable changed_{};
    bool over_ = false;
    std::thread thread_;
};
