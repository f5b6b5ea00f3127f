// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

#include <sys/types.h>

/// Keeps two programs of this kind from sending to one port at the same time: a file in a folder of
/// the user's that carries a lock of the kernel's for as long as the object lives. The kernel frees
/// it when the program ends, however it ends; the empty file stays.
class PortLock {
public:
    /// Tries to take the lock for an address such as "24:0", without waiting.
    PortLock(const std::string& folder, const std::string& address);
    ~PortLock();
    PortLock(const PortLock&) = delete;
    PortLock& operator=(const PortLock&) = delete;

    /// Tries once more if another program had it. Who waits keeps the object: trying with a new one
    /// would look to others who wait as if somebody had given the lock up.
    void try_again();

    /// Whether it was taken.
    [[nodiscard]] bool is_held() const { return held_; }
    /// Who has it when it was not taken: 0 for a program that this one cannot see, in another
    /// container; nothing when there can be no lock here.
    [[nodiscard]] std::optional<pid_t> holder() const { return holder_; }
    /// Why there can be no lock here, an errno; else 0.
    [[nodiscard]] int error() const { return error_; }

private:
    void take();

    int descriptor_ = -1;
    bool held_ = false;
    std::optional<pid_t> holder_{};
    int error_ = 0;
};

/// The file for an address: it is closed when a program gives the lock up.
[[nodiscard]] std::string lock_path(const std::string& folder, const std::string& address);

/// The folder for such files, $XDG_RUNTIME_DIR; nothing when it is not set or no absolute path.
[[nodiscard]] std::optional<std::string> lock_folder();
