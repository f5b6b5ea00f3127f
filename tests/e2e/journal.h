// SPDX-License-Identifier: MIT
#pragma once

#include "simulation/connected_machine.h"

#include <cstdio>
#include <memory>
#include <string>

/// Writes what machines receive, send and do as lines of JSON:
///
///     {"ns":1234567890,"machine":"4AC5F4C4","received":"F8F8"}
///     {"ns":1234567890,"machine":"4AC5F4C4","sent":"B00705"}
///     {"ns":1234567890,"machine":"4AC5F4C4","event":"part 5: Control Change, ..."}
///
/// The time is CLOCK_MONOTONIC in nanoseconds at the moment of writing. Each line is flushed.
class Journal final : public MachineWatcher {
public:
    /// Appends to a file, or writes to standard output when `path` is empty. MachineError.
    explicit Journal(const std::string& path);

    void happened(const ConnectedMachine& machine, const MachineEvent& event) override;
    void received(const ConnectedMachine& machine, std::span<const std::uint8_t> bytes) override;
    void sent(const ConnectedMachine& machine, std::span<const std::uint8_t> bytes) override;
    void lost(const ConnectedMachine& machine) override;

private:
    void write(const ConnectedMachine& machine, const char* key, const std::string& value);

    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    std::unique_ptr<std::FILE, Close> file_; ///< null: standard output
};
