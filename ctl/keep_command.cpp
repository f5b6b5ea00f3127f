// SPDX-License-Identifier: MIT
#include "ctl/commands.h"

#include "ctl/choosing.h"
#include "ctl/file_watch.h"
#include "ctl/keep_pacing.h"
#include "ctl/keeper.h"
#include "ctl/layout_files.h"
#include "ctl/layout_mistakes.h"
#include "ctl/port_right.h"
#include "ctl/wording.h"
#include "protocol/device_code.h"

#include <algorithm>
#include <array>

using setup::Time;

namespace {

KeptMappings mappings_of(const setup::Layout& layout) {
    KeptMappings mappings;
    for (const setup::MachineLayout& machine : layout.machines) {
        for (const setup::LayoutEntry& entry : machine.entries)
            mappings[machine.code].push_back(entry.mapping);
    }
    return mappings;
}

/// "keeping 2 machines with 140 mappings"
std::string intent_text(const KeptMappings& mappings) {
    std::size_t count = 0;
    for (const auto& [code, wanted] : mappings)
        count += wanted.size();
    return "keeping " + count_text(mappings.size(), "machine") + " with " +
           count_text(count, "mapping");
}

/// All that is wrong with a layout, as one text.
std::string mistakes_text(const setup::Layout& layout) {
    std::string text;
    for (const setup::LayoutMistake& mistake : layout.mistakes)
        text += mistake_line(mistake) + "\n";
    return text;
}

/// Keeps the machines of some files as the files say, until a signal comes.
class Keeping final : public KeeperHost {
public:
    Keeping(const Request& request, Workplace& place)
        : request_(request), place_(place), files_(request.files) {}

    void run(const setup::Layout& layout) {
        place_.output.keep_for_slow_reader();
        place_.errors.keep_for_slow_reader();
        mappings_ = mappings_of(layout);
        keeper_.keep(mappings_);
        place_.tell(intent_text(mappings_));
        say_file_trouble();
        settling_.changed(setup::steady_now()); // they may have, before they were watched
        while (true) {
            const auto due = keeper_.step();
            if (locks_.take()) {
                keeper_.try_rights();
                continue;
            }
            if (place_.stopped_by && !due)
                return;
            wait(due);
        }
    }

private:
    [[nodiscard]] std::vector<setup::Machine> machines() override {
        auto machines = settled_machines_of(place_.system);
        const auto trouble = place_.system.trouble();
        look_again_.reset();
        if (trouble)
            look_again_ = setup::steady_now() + Keeper::patience;
        const std::string text = trouble ? trouble->sentence + "; " + trouble->remedy : "";
        if (!text.empty() && text != trouble_)
            place_.tell(text + "; looking again every ten seconds");
        trouble_ = text;
        return machines;
    }

    [[nodiscard]] std::unique_ptr<SendingRight> right_to(const setup::Target& target) override {
        const std::string code = protocol::code_text(target.code);
        return std::make_unique<PortRight>(
            place_.system, address_or_mark(target.destination), locks_,
            [this, code](const std::string& who) { say(code + ": " + who + "; waiting for it"); },
            [this](const std::string& risk) { say(risk); });
    }

    void cannot_set(const setup::Choice& choice) override {
        say(protocol::code_text(choice.candidates.at(0).code) +
            " cannot be set up: " + obstacle_text(choice.obstacle));
    }

    void result(const ResultReport& result) override {
        const bool is_unconfirmed = result.outcome.result == setup::Result::unconfirmed;
        // People read in the sum what was not sent.
        if (request_.json ||
            (is_unconfirmed && is_news(result.code, "part " + std::to_string(result.message[2]))))
            place_.report.result(result);
    }

    void finished(const setup::Target& target, const JobSum& sum, std::int32_t status) override {
        const SumReport report{
            .code = target.code, .port = address_or_mark(target.destination), .sum = sum};
        if (request_.json || is_news(target.code, "sum " + std::to_string(status) +
                                                      (sum.all_confirmed() ? "" : "!")))
            place_.report.sum(report);
    }

    /// Whether this was not said about the machine lately. A demo's machines come and go all the
    /// time, in order to be seen.
    [[nodiscard]] bool is_news(std::uint32_t code, const std::string& what) {
        return place_.system.is_demo() ||
               said_.is_news(protocol::code_text(code) + " " + what, setup::steady_now());
    }

    /// Says something on standard error, unless it was said lately.
    void say(const std::string& sentence) {
        if (said_.is_news(sentence, setup::steady_now()))
            place_.tell(sentence);
    }

    void say_file_trouble() {
        if (!files_.trouble().empty())
            say(files_.trouble());
    }

    void read_files() {
        const setup::Layout layout = read_layout_files(request_.files);
        const std::string mistakes = mistakes_text(layout);
        const bool were_there_any = !mistakes_.empty();
        if (mistakes == mistakes_ && were_there_any)
            return;
        mistakes_ = mistakes;
        if (!mistakes.empty()) {
            (void)accept_layout(layout, place_);
            place_.tell("the last good layout stays");
            return;
        }
        const KeptMappings before = std::exchange(mappings_, mappings_of(layout));
        if (before == mappings_ && !were_there_any)
            return;
        (void)accept_layout(layout, place_); // which has warnings, too
        place_.tell("the files have changed; " + intent_text(mappings_));
        keeper_.keep(mappings_);
    }

    void wait(std::optional<Time> due) {
        const auto readable = [](int descriptor) {
            return pollfd{.fd = descriptor, .events = POLLIN, .revents = 0};
        };
        const auto writable = [](const Output& output) {
            return pollfd{.fd = output.has_kept() ? output.descriptor() : -1,
                          .events = POLLOUT,
                          .revents = 0};
        };
        const bool may_stop = place_.signals != nullptr && !place_.stopped_by;
        std::array<pollfd, 7> polled = {readable(keeper_.inbox().descriptor()),
                                        readable(place_.system.backend().changes()),
                                        readable(files_.descriptor()),
                                        readable(locks_.descriptor()),
                                        readable(may_stop ? place_.signals->descriptor() : -1),
                                        writable(place_.output),
                                        writable(place_.errors)};
        const Time now = setup::steady_now();
        setup::wait_readable(
            polled, earliest({due, look_again_, settling_.due(), place_.system.play(now)}));
        place_.output.write_kept();
        place_.errors.write_kept();
        take_news(polled[1].revents != 0, polled[2].revents != 0);
    }

    void take_news(bool machines_changed, bool files_changed) {
        const Time now = setup::steady_now();
        if (machines_changed || (look_again_ && *look_again_ <= now))
            keeper_.look_around();
        if (files_changed && files_.take_changes()) {
            settling_.changed(now);
            say_file_trouble();
        }
        if (settling_.take(now))
            read_files();
        if (!place_.stopped_by && place_.is_stopped())
            keeper_.stop();
    }

    static std::optional<Time> earliest(const std::array<std::optional<Time>, 4>& times) {
        std::optional<Time> earliest;
        for (const auto& time : times) {
            if (time && (!earliest || *time < *earliest))
                earliest = time;
        }
        return earliest;
    }

    const Request& request_;
    Workplace& place_;
    FileWatch files_; ///< watched before they are read
    KeptMappings mappings_{};
    std::string mistakes_{}; ///< of the files as they were read last; empty: none
    Settling settling_{};
    SaidLately said_{};
    std::string trouble_{}; ///< with the sequencer; empty: none
    std::optional<Time> look_again_{};
    LockWaits locks_{};
    Keeper keeper_{*this}; ///< goes before the locks
};

} // namespace

ExitStatus run_keep(const Request& request, Workplace& place) {
    if (!accept_layout(place.layout, place))
        return ExitStatus::arguments;
    Keeping(request, place).run(place.layout);
    return ExitStatus::done;
}
