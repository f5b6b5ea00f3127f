// SPDX-License-Identifier: MIT
#pragma once

#include "simulation/firmware.h"

#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

/// What is wrong with a text as a device code, as a sentence; empty when nothing is.
[[nodiscard]] std::string mistake_in_code(const std::string& text);

/// Which machines there are to be, as command line arguments.
class CodeArguments {
public:
    /// Adds the arguments to a program's. This object has to outlive the reading of them.
    explicit CodeArguments(CLI::App& app);

    /// The device codes that were asked for, at least one, once the arguments were read.
    [[nodiscard]] std::vector<std::uint32_t> codes() const;

private:
    std::vector<std::string> names_{};
    bool all_ = false;
};

/// The faults of machines as command line arguments.
class FaultArguments {
public:
    /// Adds the arguments to a program's. This object has to outlive the reading of them.
    explicit FaultArguments(CLI::App& app);

    /// The faults that were asked for, once the arguments were read.
    [[nodiscard]] MachineFaults faults() const;

private:
    bool silent_ = false;
    bool wrong_ = false;
    bool chatter_ = false;
    unsigned delay_ms_ = 0;
    unsigned wrong_byte_ = 2;
    unsigned vanish_after_ = 0;
    unsigned times_ = MachineFaults::always;
};

/// Reads the arguments. Gives the exit code when the program is to end with that: 0 after --help or
/// --version, which print to standard output, 2 after a mistake, which is told on standard error.
[[nodiscard]] std::optional<int> read_arguments(CLI::App& app, int count,
                                                const char* const* arguments);
