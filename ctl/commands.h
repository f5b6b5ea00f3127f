// SPDX-License-Identifier: MIT
#pragma once

#include "ctl/arguments.h"
#include "ctl/midi_system.h"
#include "ctl/output.h"
#include "ctl/report.h"
#include "ctl/stop_signals.h"
#include "setup/layout.h"
#include "setup/machine_line.h"

#include <optional>
#include <string>
#include <unistd.h>

/// What the program ends with.
enum class ExitStatus : std::uint8_t {
    done = 0,
    unconfirmed = 1, ///< something was not confirmed, not sent, or not printed
    arguments = 2,   ///< or a layout, is wrong
    no_machine = 3,  ///< or several, or it is in use
    no_sequencer = 4
};

/// What ended a wait.
struct Woken {
    bool by_changes = false; ///< machines may have come or gone
    bool is_over = false;    ///< a signal has come, or the reader of the report has gone
};

/// What every command works with.
struct Workplace {
    MidiSystem& system;
    Report& report;
    Output& output;       ///< that the report goes to
    Output& errors;       ///< standard error
    StopSignals* signals; ///< held back while a command finishes what it does; null for the others
    setup::Layout layout{};          ///< what the files of the request say; without files empty
    setup::Layout then{};            ///< what the file of --then says
    int input = STDIN_FILENO;        ///< where answers come from
    std::optional<int> stopped_by{}; ///< a signal that has come

    /// Says something on standard error, with the program's name in front.
    void tell(const std::string& sentence);
    /// Whether a signal has come.
    [[nodiscard]] bool is_stopped();

    /// For a command that shows what machines send: waits until one of these has something to do,
    /// or something is in the inbox, or for `until`.
    [[nodiscard]] Woken wait(const setup::Inbox& inbox, std::optional<setup::Time> until);
};

/// When a message arrived, by the time of day.
[[nodiscard]] WallTime wall_time(setup::Time at);

// The commands. The system's backend is installed.

[[nodiscard]] ExitStatus run_list(const Request& request, Workplace& place);
[[nodiscard]] ExitStatus run_set_or_save(const Request& request, Workplace& place);
[[nodiscard]] ExitStatus run_check(const Request& request, Workplace& place);
[[nodiscard]] ExitStatus run_apply(const Request& request, Workplace& place);
[[nodiscard]] ExitStatus run_keep(const Request& request, Workplace& place);
[[nodiscard]] ExitStatus run_watch(const Request& request, Workplace& place);
[[nodiscard]] ExitStatus run_identify(const Request& request, Workplace& place);
[[nodiscard]] ExitStatus run_doctor(const Request& request, Workplace& place);
