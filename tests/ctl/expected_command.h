// SPDX-License-Identifier: MIT
#pragma once

#include "tests/ctl/command_run.h"

#include <map>
#include <optional>
#include <set>
#include <string>

/// The expected outcome of a command, worked out from what the service answered and what the
/// machines sent.
class ExpectedCommand {
public:
    explicit ExpectedCommand(const CommandRun& run)
        : journal_(run.journal()), times_(run.times()) {}

    void list();
    /// set, with `save` behind it if the mapping is confirmed; or the save command alone.
    void set(bool save);
    void save();
    /// apply, of the layout with both explored mappings.
    void apply(bool save);
    void watch();
    void identify();

    ExitStatus status = ExitStatus::done;
    std::string output{};
    std::string errors{};
    /// The refusal is only part of a sentence about the machines.
    bool errors_are_part = false;
    bool all_sent = true;                ///< no send failed
    std::vector<std::string> messages{}; ///< lines of watch beside `output`, which has the others

private:
    using Time = std::chrono::microseconds;

    /// The ports of one code.
    struct Ports {
        std::vector<MIDIObjectRef> sources{};
        std::vector<MIDIObjectRef> destinations{};
        std::string name{}; ///< of the first destination, else of the first source
        bool is_online = true;
    };
    using Machines = std::map<std::string, Ports>;

    /// A message that came from the machine.
    struct Arrival {
        Time at;
        Bytes message;
        std::size_t emission; ///< where the journal has it
    };

    /// When an echo of one attempt counts.
    struct Window {
        Time opens;
        Time closes;
    };

    /// What happens to one message.
    struct Course {
        Bytes message;
        std::vector<Window> windows{}; ///< of the attempts whose message was sent
        Time end{0};
        OSStatus failure = 0; ///< the first that a send returned
        bool is_cut_off = false;
    };

    [[nodiscard]] Machines look_around();
    [[nodiscard]] std::vector<std::vector<MIDIObjectRef>> counts();
    [[nodiscard]] Machines look_until_settled();
    void note(Machines& machines, StepKind list, const Event& query) const;
    [[nodiscard]] static setup::Obstacle obstacle(const Ports& ports);
    [[nodiscard]] bool choose();
    [[nodiscard]] bool find();
    [[nodiscard]] bool connect();
    [[nodiscard]] bool exchange(const std::string& words, const Bytes& message);
    void set_parts();
    void listen_to_parts();
    void hear(const Bytes& message);
    [[nodiscard]] std::optional<bool> next_count();
    [[nodiscard]] bool attempt(Course& course);
    [[nodiscard]] unsigned confirming_attempt(const Course& course) const;
    [[nodiscard]] std::string reason(const Course& course) const;
    void find_arrivals();
    [[nodiscard]] bool comes(StepKind kind);
    [[nodiscard]] bool is_heard(std::size_t emission) const;
    [[nodiscard]] bool update_watched(std::map<MIDIObjectRef, std::string>& known);

    const std::vector<Event>& journal_;
    const std::vector<Time>& times_;
    std::size_t at_ = 0;
    MIDIObjectRef source_ = 0;
    MIDIObjectRef destination_ = 0;
    std::vector<Arrival> arrivals_{}; ///< in their order
    unsigned attempt_ = 0;            ///< that confirmed the last message
    unsigned not_sent_ = 0;           ///< parts of an identification
    std::set<int> late_{};            ///< parts whose echo may come late
    std::optional<int> last_{};       ///< the part that moved last
    std::set<Bytes> others_{};        ///< what else was told
    bool is_away_ = false;
    OSStatus gone_ = 0; ///< why nothing can be sent any more
};
