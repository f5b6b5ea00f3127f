// SPDX-License-Identifier: MIT
#include "ctl/report.h"
#include "ctl/wording.h"
#include "protocol/device_code.h"

#include <array>
#include <ctime>

namespace {

/// What a terminal gets around a text to colour it.
namespace colour {
constexpr std::string_view machine = "\x1b[1;36m";
constexpr std::string_view good = "\x1b[32m";
constexpr std::string_view doubtful = "\x1b[33m";
constexpr std::string_view bad = "\x1b[1;31m";
constexpr std::string_view off = "\x1b[0m";
} // namespace colour

/// "14:03:22.123"
std::string time_text(WallTime at) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(at);
    std::tm local{};
    localtime_r(&seconds, &local);
    std::array<char, 16> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), "%H:%M:%S.", &local);
    const auto fraction = std::chrono::duration_cast<std::chrono::milliseconds>(
        at - std::chrono::system_clock::from_time_t(seconds));
    const std::string digits = std::to_string(1000 + fraction.count());
    return std::string(text.data(), length) + digits.substr(1);
}

class TextReport final : public Report {
public:
    TextReport(Output& output, bool has_colour) : output_(output), has_colour_(has_colour) {}

    void machine(const MachineReport& report) override {
        std::vector<std::string> ports = report.destinations;
        for (const std::string& source : report.sources) {
            if (std::find(ports.begin(), ports.end(), source) == ports.end())
                ports.push_back(source);
        }
        std::string text = name(report.code) + "  " + joined(ports) + "  " + printable(report.name);
        if (report.obstacle != setup::Obstacle::none)
            text +=
                "  " + coloured("cannot be set up: ", colour::bad) + obstacle_text(report.obstacle);
        output_.line(text);
    }

    void result(const ResultReport& report) override {
        const std::string what =
            report.mapping ? protocol::mapping_text(*report.mapping) : std::string("save");
        const std::string became = outcome_text(report.message, report.outcome);
        const bool good = report.outcome.result == setup::Result::confirmed;
        const std::size_t end = std::min(became.find_first_of("(:"), became.size());
        output_.line(name(report.code) + "  " + what + "  " +
                     coloured(became.substr(0, end), good ? colour::good : colour::bad) +
                     became.substr(end));
    }

    void layout(const setup::MachineLayout& layout) override {
        const setup::Duration least = layout.entries.size() * setup::least_duration;
        output_.line(name(layout.code) + "  " + count_text(layout.entries.size(), "mapping") +
                     "  " + parts_text(layout.entries) + " (" + seconds_text(least) +
                     " at the least)");
    }

    void sum(const SumReport& report) override {
        if (report.port.empty())
            return; // why it was left out has been said
        const std::string text = sum_text(report.sum, report.saves);
        const std::size_t start = text.find("  ") + 2;
        const std::size_t end = text.rfind(" (");
        const bool good = report.sum.all_confirmed() &&
                          (!report.saves || report.sum.save == setup::Result::confirmed);
        output_.line(name(report.code) + "  " + text.substr(0, start) +
                     coloured(text.substr(start, end - start), good ? colour::good : colour::bad) +
                     text.substr(end));
    }

    void message(const MessageReport& report) override {
        output_.line(time_text(report.at) + "  " + name(report.code) + "  " +
                     report.reading.text());
    }

    void presence(const PresenceReport& report) override {
        output_.line(time_text(report.at) + "  " + name(report.code) + "  " +
                     (report.is_present ? "is there, " : "has gone, ") + report.port);
    }

    void part(const PartReport& report) override {
        std::string text = "part " + std::to_string(report.part);
        if (report.entry)
            text = protocol::mapping_text(report.entry->mapping) + "  " +
                   setup::place_text(report.entry->place);
        else if (!report.layout.empty())
            text += "  not in " + setup::place_text({.file = report.layout});
        output_.line(name(report.code) + "  " + text);
    }

    void finding(const Finding& finding) override {
        constexpr std::array<std::string_view, 3> levels = {"ok     ", "note   ", "problem"};
        constexpr std::array<std::string_view, 3> colours = {colour::good, colour::doubtful,
                                                             colour::bad};
        const auto level = static_cast<std::size_t>(finding.level);
        output_.line(coloured(levels[level], colours[level]) + "  " + finding.subject + ": " +
                     printable(finding.text));
        if (!finding.remedy.empty())
            output_.line("         What to do: " + printable(finding.remedy));
    }

private:
    [[nodiscard]] std::string coloured(std::string_view text, std::string_view colour) const {
        if (!has_colour_)
            return std::string(text);
        return std::string(colour) + std::string(text) + std::string(colour::off);
    }
    [[nodiscard]] std::string name(std::uint32_t code) const {
        return coloured(protocol::code_text(code), colour::machine);
    }

    Output& output_;
    const bool has_colour_;
};

} // namespace

std::unique_ptr<Report> text_report(Output& output, bool colour) {
    return std::make_unique<TextReport>(output, colour);
}
