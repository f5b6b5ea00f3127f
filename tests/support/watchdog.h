// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

/// Ends the process when it is not gone after a time: writes the stack of every thread to standard
/// error, and aborts. So a deadlock is a failure that says where it is. One at a time.
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
