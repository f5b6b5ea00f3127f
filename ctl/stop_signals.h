// SPDX-License-Identifier: MIT
#pragma once

#include <optional>

#include <csignal>

/// Holds SIGINT and SIGTERM back, so that what is running can be finished first. To be made before
/// any thread is started: threads inherit what is held back. A signal that the parent told this
/// program to ignore stays ignored.
class StopSignals {
public:
    /// std::system_error.
    StopSignals();
    ~StopSignals();
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;

    /// Readable when a signal has come; -1 when all of them are ignored.
    [[nodiscard]] int descriptor() const { return descriptor_; }

    /// Takes a signal that has come, without waiting.
    [[nodiscard]] std::optional<int> take();

    /// Ends the program by a signal, as if it had never been held back.
    [[noreturn]] static void end_by(int signal);

private:
    sigset_t before_{};
    int descriptor_ = -1;
};
