// SPDX-License-Identifier: MIT
#include "ctl/report.h"
#include "ctl/wording.h"
#include "protocol/device_code.h"

#include <nlohmann/json.hpp>

#include <array>
#include <cerrno>
#include <ctime>

namespace {

using Json = nlohmann::ordered_json;

std::string_view obstacle_key(setup::Obstacle obstacle) {
    constexpr std::array<std::string_view, 10> keys = {
        "none",           "no_machine",           "no_destination",
        "no_source",      "several_destinations", "several_sources",
        "offline",        "several_machines",     "no_such_port",
        "nothing_to_hear"};
    return keys.at(static_cast<std::size_t>(obstacle));
}

Json text_or_null(std::string_view text) {
    return text.empty() ? Json(nullptr) : Json(text);
}

/// Milliseconds with the microseconds behind the point.
double exact_milliseconds(setup::Duration duration) {
    return static_cast<double>(std::chrono::round<std::chrono::microseconds>(duration).count()) /
           1000.0;
}

/// Why a result is not what was wanted, as a word for programs.
std::string_view reason_key(const ResultReport& report) {
    const setup::Outcome& outcome = report.outcome;
    if (outcome.result == setup::Result::confirmed)
        return {};
    if (outcome.result == setup::Result::not_sent) {
        if (outcome.status == -ENODEV)
            return "gone";
        return outcome.status == -ECANCELED ? "stopped" : "failed";
    }
    if (outcome.everything_came_back)
        return "everything_came_back";
    if (outcome.instead)
        return outcome.instead == report.message ? "late_echo" : "other_echo";
    return "no_echo";
}

Json echo_of(const ResultReport& report) {
    if (report.outcome.result == setup::Result::confirmed)
        return hex_text(report.message);
    if (report.outcome.instead)
        return hex_text(*report.outcome.instead);
    return nullptr;
}

Json echo_time_of(const setup::Outcome& outcome) {
    if (outcome.result == setup::Result::confirmed || outcome.instead)
        return exact_milliseconds(outcome.echo_after);
    return nullptr;
}

void add_mapping(Json& json, const protocol::KeyMapping& mapping) {
    json["part"] = mapping.part;
    json["type"] = protocol::type_name(mapping.type);
    json["channel"] = mapping.channel;
    json["controller"] = mapping.controller;
}

/// In UTC: "2026-11-22T14:03:22.123Z"
std::string time_text(WallTime at) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(at);
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    std::array<char, 32> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S.", &utc);
    const auto fraction = std::chrono::duration_cast<std::chrono::milliseconds>(
        at - std::chrono::system_clock::from_time_t(seconds));
    return std::string(text.data(), length) + std::to_string(1000 + fraction.count()).substr(1) +
           "Z";
}

class JsonReport final : public Report {
public:
    explicit JsonReport(Output& output) : output_(output) {}

    void machine(const MachineReport& report) override {
        Json json{{"kind", "machine"},
                  {"machine", protocol::code_text(report.code)},
                  {"name", report.name},
                  {"sources", report.sources},
                  {"destinations", report.destinations},
                  {"obstacle", nullptr}};
        if (report.obstacle != setup::Obstacle::none)
            json["obstacle"] = obstacle_key(report.obstacle);
        line(json);
    }

    void result(const ResultReport& report) override {
        constexpr std::array<std::string_view, 3> results = {"confirmed", "unconfirmed",
                                                             "not_sent"};
        Json json{{"kind", report.mapping ? "mapping" : "save"},
                  {"machine", protocol::code_text(report.code)},
                  {"port", report.port}};
        if (report.mapping)
            add_mapping(json, *report.mapping);
        json["result"] = results.at(static_cast<std::size_t>(report.outcome.result));
        json["reason"] = text_or_null(reason_key(report));
        json["error"] = -report.outcome.status;
        json["attempts"] = report.outcome.attempts;
        json["milliseconds"] = exact_milliseconds(report.outcome.took);
        json["message"] = hex_text(report.message);
        json["echo"] = echo_of(report);
        json["echo_milliseconds"] = echo_time_of(report.outcome);
        line(json);
    }

    void layout(const setup::MachineLayout& layout) override {
        Json mappings = Json::array();
        for (const setup::LayoutEntry& entry : layout.entries)
            add_mapping(mappings.emplace_back(Json::object()), entry.mapping);
        line({{"kind", "layout"},
              {"machine", protocol::code_text(layout.code)},
              {"least_milliseconds",
               exact_milliseconds(layout.entries.size() * setup::least_duration)},
              {"mappings", std::move(mappings)}});
    }

    void sum(const SumReport& report) override {
        Json json{{"kind", "sum"},
                  {"machine", protocol::code_text(report.code)},
                  {"port", text_or_null(report.port)},
                  {"mappings", report.sum.mappings},
                  {"confirmed", report.sum.confirmed},
                  {"unconfirmed", report.sum.unconfirmed},
                  {"not_sent", report.sum.not_sent},
                  {"saved", nullptr},
                  {"milliseconds", exact_milliseconds(report.sum.took)},
                  {"left_out", nullptr}};
        if (report.is_in_use)
            json["left_out"] = "in_use";
        else if (report.obstacle != setup::Obstacle::none)
            json["left_out"] = obstacle_key(report.obstacle);
        if (report.saves)
            json["saved"] = report.sum.save == setup::Result::confirmed;
        line(json);
    }

    void message(const MessageReport& report) override {
        Json json{{"kind", "message"},
                  {"time", time_text(report.at)},
                  {"machine", protocol::code_text(report.code)},
                  {"port", report.port},
                  {"message", report.reading.name},
                  {"bytes", hex_text(report.bytes)}};
        for (const auto& [name, number] : report.reading.numbers)
            json[std::string(name)] = number;
        line(json);
    }

    void presence(const PresenceReport& report) override {
        line({{"kind", "presence"},
              {"time", time_text(report.at)},
              {"machine", protocol::code_text(report.code)},
              {"port", report.port},
              {"present", report.is_present}});
    }

    void part(const PartReport& report) override {
        Json json{{"kind", "part"},
                  {"time", time_text(report.at)},
                  {"machine", protocol::code_text(report.code)},
                  {"port", report.port},
                  {"part", report.part},
                  {"bytes", hex_text(report.bytes)},
                  {"layout", nullptr}};
        if (report.entry) {
            const protocol::KeyMapping& mapping = report.entry->mapping;
            json["layout"] = {{"type", protocol::type_name(mapping.type)},
                              {"channel", mapping.channel},
                              {"controller", mapping.controller},
                              {"place", setup::place_text(report.entry->place)}};
        }
        line(json);
    }

    void finding(const Finding& finding) override {
        constexpr std::array<std::string_view, 3> levels = {"ok", "note", "problem"};
        line({{"kind", "finding"},
              {"level", levels.at(static_cast<std::size_t>(finding.level))},
              {"subject", finding.subject},
              {"text", finding.text},
              {"remedy", text_or_null(finding.remedy)}});
    }

private:
    /// Names of ports are other programs' bytes; what is no UTF-8 in them is replaced.
    void line(const Json& json) {
        output_.line(json.dump(-1, ' ', false, Json::error_handler_t::replace));
    }

    Output& output_;
};

} // namespace

std::unique_ptr<Report> json_report(Output& output) {
    return std::make_unique<JsonReport>(output);
}
