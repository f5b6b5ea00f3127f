// SPDX-License-Identifier: MIT
#include "tests/ctl/expected_command.h"

#include "ctl/message_text.h"

#include <algorithm>
#include <cerrno>

// identify, as ExpectedCommand expects it.

namespace {

const std::string code = "4AC5F4C4";

} // namespace

/// Follows the 128 mappings, of which only those are printed that are not confirmed.
void ExpectedCommand::set_parts() {
    for (int part = 0; part < 128; ++part) {
        const bool is_last_eight = part >= 120;
        const int controller = is_last_eight ? part - 8 : part;
        const std::string words = "part " + std::to_string(part) + ": Control Change, channel " +
                                  (is_last_eight ? "15" : "16") + ", controller " +
                                  std::to_string(controller);
        const Bytes message = {static_cast<std::uint8_t>(is_last_eight ? 0xBE : 0xBF),
                               static_cast<std::uint8_t>(controller),
                               static_cast<std::uint8_t>(part)};
        const std::string before = output;
        const bool is_confirmed = exchange(words, message);
        if (attempt_ != 1)
            late_.insert(part);
        const std::string line = output.substr(before.size());
        not_sent_ += line.find("  not sent: ") != std::string::npos ? 1U : 0U;
        if (is_confirmed || line.ends_with("  not sent: the machine is gone\n"))
            output = before;
        if (!is_confirmed)
            status = ExitStatus::unconfirmed;
    }
}

/// The next count of the sources, if there is one, and whether the machine's source is in it.
std::optional<bool> ExpectedCommand::next_count() {
    while (at_ < journal_.size() && !comes(StepKind::sources))
        ++at_;
    if (at_ >= journal_.size())
        return std::nullopt;
    return std::ranges::count(journal_[at_++].objects, source_) != 0;
}

void ExpectedCommand::hear(const Bytes& message) {
    const int number = message.size() == 3 ? message[0] << 8 | message[1] : 0;
    std::optional<int> part;
    if (number >= 0xBF00 && number < 0xBF78)
        part = number - 0xBF00;
    else if (number >= 0xBE70 && number < 0xBE78)
        part = number - 0xBE70 + 120;
    if (part && *part != last_ && (!late_.contains(*part) || message[2] != *part)) {
        last_ = part;
        output += code + "  part " + std::to_string(*part) + '\n';
    }
    const auto reading = read_message(message);
    const std::size_t telling = message.size() == 3 && message[0] < 0xE0 ? 2 : 1;
    if (!part && reading &&
        others_.insert({message.begin(), message.begin() + static_cast<long>(telling)}).second)
        errors += "keyloftctl: " + code + " sent " + reading->text() +
                  ", which none of the confirmed parts sends\n";
}

/// Follows what is heard from the first count of the sources on, until one lacks the machine's.
void ExpectedCommand::listen_to_parts() {
    errors += "keyloftctl: press or turn a part; Ctrl-C ends this\n";
    std::optional<bool> is_there = next_count();
    const std::size_t count = at_ - 1;
    while (is_there.value_or(false))
        is_there = next_count();
    is_away_ = is_there.has_value();
    for (const auto& [arrival, message, emission] : arrivals_) {
        if (arrival > times_[count] || (arrival == times_[count] && emission > count))
            hear(message);
    }
}

void ExpectedCommand::identify() {
    if (!choose())
        return;
    errors = "keyloftctl: this replaces the mappings of all 128 parts of " + code + " (" +
             std::to_string(destination_) + ":0" +
             "), and saves nothing\n"
             "keyloftctl: what was saved comes back when the machine is switched off and on; "
             "--then FILE applies a layout at the end\n";
    if (!connect()) {
        output = "the machine's source is not connected";
        return;
    }
    set_parts();
    is_away_ = gone_ == -ENODEV;
    if (!is_away_ && not_sent_ != 128) {
        listen_to_parts();
        status = ExitStatus::done;
    }
    if (not_sent_ != 0)
        errors += "keyloftctl: " + std::to_string(not_sent_) + " of 128 parts were not set\n";
    if (is_away_)
        status = ExitStatus::unconfirmed;
    if (is_away_)
        errors += "keyloftctl: " + code + " has gone; what was saved is there when it comes back\n";
    else if (not_sent_ != 128)
        errors +=
            "keyloftctl: " + code + " keeps these mappings until it is switched off or set again\n";
}
