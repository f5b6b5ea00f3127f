// SPDX-License-Identifier: MIT
#include "ctl/wording.h"

#include "ctl/message_text.h"

#include <cerrno>
#include <system_error>

namespace {

std::string failure_text(std::int32_t status) {
    switch (status) {
    case -ENODEV:
        return "the machine is gone";
    case -ECANCELED:
        return "stopped before";
    default:
        return std::generic_category().message(-status);
    }
}

std::string confirmed_text(const setup::Outcome& outcome) {
    const std::string took = std::to_string(milliseconds(outcome.took)) + " ms";
    return "confirmed (" + (outcome.attempts > 1 ? "second attempt, " + took : took) + ")";
}

std::string reason_text(const protocol::Message& message, const setup::Outcome& outcome) {
    if (outcome.everything_came_back)
        return "everything came back; something returns whatever it is sent, such as a loop-back "
               "cable or a through port";
    if (outcome.instead == message)
        return "its echo came too late";
    if (outcome.instead)
        return hex_text(*outcome.instead) + " came back instead of " + hex_text(message);
    return "no echo came";
}

std::string unconfirmed_text(const protocol::Message& message, const setup::Outcome& outcome) {
    std::string text = "unconfirmed: sent";
    if (outcome.stopped)
        text += " once because it was stopped";
    else if (outcome.sent > 1)
        text += " twice";
    text += ", and " + reason_text(message, outcome);
    if (outcome.status != 0)
        text += "; then " + failure_text(outcome.status);
    return text;
}

} // namespace

std::string outcome_text(const protocol::Message& message, const setup::Outcome& outcome) {
    switch (outcome.result) {
    case setup::Result::confirmed:
        return confirmed_text(outcome);
    case setup::Result::unconfirmed:
        return unconfirmed_text(message, outcome);
    case setup::Result::not_sent:
        break;
    }
    return "not sent: " + failure_text(outcome.status);
}

std::string obstacle_text(setup::Obstacle obstacle) {
    using setup::Obstacle;
    switch (obstacle) {
    case Obstacle::none:
        break;
    case Obstacle::no_machine:
        return "it is not there";
    case Obstacle::no_destination:
        return "it can be heard, but has no port to send to";
    case Obstacle::no_source:
        return "it has a port to send to, but none to hear its answer from";
    case Obstacle::several_destinations:
        return "several ports with its name can be sent to: two machines have one code";
    case Obstacle::several_sources:
        return "several ports with its name can be heard: two machines have one code";
    case Obstacle::offline:
        return "it is offline";
    case Obstacle::several_machines:
        return "several machines are there";
    case Obstacle::no_such_port:
        return "there is no such port that can be sent to";
    case Obstacle::nothing_to_hear:
        return "the port cannot be heard, and its client has no other port, or several, that can";
    }
    return {};
}

std::string address_or_mark(const setup::Endpoint& endpoint) {
    return endpoint.address ? setup::address_text(*endpoint.address) : "?";
}

std::vector<std::string> addresses(const std::vector<setup::Endpoint>& endpoints) {
    std::vector<std::string> texts;
    texts.reserve(endpoints.size());
    for (const setup::Endpoint& endpoint : endpoints)
        texts.push_back(address_or_mark(endpoint));
    return texts;
}

std::string joined(const std::vector<std::string>& texts) {
    std::string all;
    for (const std::string& text : texts)
        all += (all.empty() ? "" : ", ") + text;
    return all;
}

std::int64_t milliseconds(setup::Duration duration) {
    return std::chrono::round<std::chrono::milliseconds>(duration).count();
}

std::string count_text(std::size_t count, std::string_view what) {
    return std::to_string(count) + " " + std::string(what) + (count == 1 ? "" : "s");
}

std::string parts_text(const std::vector<setup::LayoutEntry>& entries) {
    std::vector<std::string> runs;
    for (auto first = entries.begin(); first != entries.end();) {
        auto last = first;
        while (last + 1 != entries.end() && last[1].mapping.part == last->mapping.part + 1)
            ++last;
        runs.push_back(std::to_string(first->mapping.part));
        if (last != first)
            runs.back().append("-").append(std::to_string(last->mapping.part));
        first = last + 1;
    }
    return (entries.size() == 1 ? "part " : "parts ") + joined(runs);
}

std::string sum_text(const JobSum& sum, bool saves) {
    std::vector<std::string> ends;
    const auto add = [&](std::size_t count, const char* what) {
        if (count == sum.mappings)
            ends.emplace_back(what);
        else if (count != 0)
            ends.push_back(std::to_string(count) + " " + what);
    };
    add(sum.confirmed, "confirmed");
    add(sum.unconfirmed, "unconfirmed");
    add(sum.not_sent, "not sent");
    const bool is_saved = sum.save == setup::Result::confirmed;
    return count_text(sum.mappings, "mapping") + "  " + joined(ends) +
           (is_saved ? " and saved"
            : saves  ? "; not saved"
                     : "") +
           " (" + seconds_text(sum.took) + ")";
}

std::string seconds_text(setup::Duration duration) {
    const auto hundredths = (milliseconds(duration) + 5) / 10;
    const std::string digits = std::to_string(100 + hundredths % 100);
    return std::to_string(hundredths / 100) + "." + digits.substr(1) + " s";
}
