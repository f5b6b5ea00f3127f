// SPDX-License-Identifier: MIT
#pragma once

#include "ctl/file_watch.h"
#include "ctl/keeper.h"
#include "ctl/precautions.h"

#include <functional>
#include <optional>
#include <set>
#include <string>

/// Wakes up when another program gives a lock up, by watching the locks' files. One thread.
class LockWaits {
public:
    void add(const std::string& address);
    void remove(const std::string& address);

    /// Whether to try for the locks: one was given up, or may have been before it was watched.
    [[nodiscard]] bool take();
    /// Readable when take() has news; -1: there is nothing to wait for. It may change in take().
    [[nodiscard]] int descriptor() const { return watch_ ? watch_->descriptor() : -1; }

private:
    std::set<std::string> addresses_{};
    std::optional<FileWatch> watch_{};
    bool has_changed_ = false;
};

/// The lock of a port as a right to send there. Where there can be no lock, nobody else has it.
class PortRight final : public SendingRight {
public:
    /// What it says on the way, as a sentence.
    using Say = std::function<void(const std::string&)>;

    /// `waits` has to outlive it. It says once who has the lock, and each time why there can be
    /// none.
    PortRight(const MidiSystem& system, std::string address, LockWaits& waits, Say say_who,
              Say say_risk);
    ~PortRight() override;
    PortRight(const PortRight&) = delete;
    PortRight& operator=(const PortRight&) = delete;

    [[nodiscard]] bool take() override;

private:
    const MidiSystem& system_;
    const std::string address_;
    LockWaits& waits_;
    const Say say_who_;
    const Say say_risk_;
    LockTry attempt_{};
};
