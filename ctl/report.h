// SPDX-License-Identifier: MIT
#pragma once

#include "ctl/job_sum.h"
#include "ctl/message_text.h"
#include "ctl/output.h"
#include "protocol/mapping.h"
#include "setup/exchange.h"
#include "setup/layout.h"
#include "setup/machine_list.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// What the commands have to say on standard output: one line for each of these, as text for people
// or as JSON for programs.

/// A machine that is there.
struct MachineReport {
    std::uint32_t code = 0;
    std::string name{};                 ///< of the first of its ports
    std::vector<std::string> sources{}; ///< addresses, such as "24:0"
    std::vector<std::string> destinations{};
    setup::Obstacle obstacle = setup::Obstacle::none;
};

/// What became of a mapping or of the save command.
struct ResultReport {
    std::uint32_t code = 0;
    std::string port{}; ///< address that it was sent to
    protocol::Message message{};
    std::optional<protocol::KeyMapping> mapping{}; ///< nothing: it was the save command
    setup::Outcome outcome{};
};

/// What became of all that a layout says about a machine.
struct SumReport {
    std::uint32_t code = 0;
    std::string port{}; ///< empty: the machine was left out
    JobSum sum{};
    bool saves = false; ///< the mappings were to be saved, too
    /// Why the machine was left out: what stands in the way, or another keyloftctl.
    setup::Obstacle obstacle = setup::Obstacle::none;
    bool is_in_use = false;
};

using WallTime = std::chrono::system_clock::time_point;

/// A message that a machine sent.
struct MessageReport {
    WallTime at{};
    std::uint32_t code = 0;
    std::string port{};
    MessageReading reading{};
    std::vector<std::uint8_t> bytes{};
};

/// A machine is there, or has gone.
struct PresenceReport {
    WallTime at{};
    std::uint32_t code = 0;
    std::string port{};
    bool is_present = true;
};

/// A part was pressed or turned, and not the same one as before.
struct PartReport {
    WallTime at{};
    std::uint32_t code = 0;
    std::string port{};
    int part = 0;
    std::vector<std::uint8_t> bytes{};         ///< that told it
    std::string layout{};                      ///< file with the layout to compare; empty: none
    std::optional<setup::LayoutEntry> entry{}; ///< what this layout has for the part
};

/// Something that doctor found.
struct Finding {
    enum class Level : std::uint8_t { ok, note, problem };
    Level level = Level::ok;
    std::string subject; ///< such as "sequencer", or a machine's code
    std::string text;
    std::string remedy{}; ///< what to do about it; empty: nothing has to be done
    bool operator==(const Finding&) const = default;
};

class Report {
public:
    Report() = default;
    Report(const Report&) = delete;
    Report& operator=(const Report&) = delete;
    virtual ~Report() = default;
    virtual void machine(const MachineReport& report) = 0;
    virtual void result(const ResultReport& report) = 0;
    /// What a layout says about a machine.
    virtual void layout(const setup::MachineLayout& layout) = 0;
    virtual void sum(const SumReport& report) = 0;
    virtual void message(const MessageReport& report) = 0;
    virtual void presence(const PresenceReport& report) = 0;
    virtual void part(const PartReport& report) = 0;
    virtual void finding(const Finding& finding) = 0;
};

/// For people. Times are local.
[[nodiscard]] std::unique_ptr<Report> text_report(Output& output, bool colour);
/// For programs: one object a line. The keys are described in docs/keyloftctl.schema.json.
[[nodiscard]] std::unique_ptr<Report> json_report(Output& output);
