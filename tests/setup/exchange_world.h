// SPDX-License-Identifier: MIT
#pragma once

#include "setup/exchange.h"
#include "simulation/firmware.h"
#include "tests/support/sequence.h"

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

/// One message of each type, and the command that saves.
inline const std::vector<protocol::Message> kinds_of_message = {
    {0x90, 7, 12}, {0x85, 60, 0}, {0xBF, 0, 127}, {0xE3, 99, 1}, protocol::save_command};

/// "BF 00 7F".
[[nodiscard]] std::string hex(const protocol::Message& message);

/// Milliseconds and microseconds behind the start of the world's time.
[[nodiscard]] setup::Time ms(double count);

/// An exchange, a machine or a loop-back cable at the other end, and the time, which passes only
/// here.
class ExchangeWorld {
public:
    struct Sent {
        setup::Time at;      ///< when the exchange gave the bytes
        setup::Time returns; ///< when the send returned
        Bytes bytes;
        std::int32_t status;
        bool operator==(const Sent&) const = default;
    };
    struct Arrived {
        setup::Time at;
        Bytes bytes;
        bool is_held; ///< whether the machine had the exchange's message when this was sent
    };

    explicit ExchangeWorld(MachineFaults faults = {}) : firmware(faults) {}

    /// Runs one exchange to its end, from the time where the last one ended.
    setup::Outcome run(const protocol::Message& message, setup::Pace pace = setup::Pace::brisk);

    /// Lets bytes arrive at a time of the next run.
    void arrives(setup::Time at, const Bytes& bytes) { on_the_way_.emplace(at, OnTheWay{bytes}); }

    /// Whether the machine has the mapping in its table, or has saved.
    [[nodiscard]] bool holds(const protocol::Message& message) const;

    Firmware firmware;
    /// How long a send takes, what the n-th one returns (from 0; -ENODEV once the machine has
    /// vanished), and how much later than it is due the exchange is looked at.
    std::function<setup::Duration()> send_takes = [] { return setup::Duration::zero(); };
    std::function<std::int32_t(std::size_t)> send_status = [](std::size_t) { return 0; };
    std::function<setup::Duration()> is_late = [] { return setup::Duration::zero(); };
    /// Stops the exchange at this time.
    std::optional<setup::Time> stop_at{};
    /// In the machine's place: everything comes back after this time, clocks or not.
    std::optional<setup::Duration> loop{};
    bool loop_passes_clocks = true;

    std::vector<Sent> sent{};       ///< of the last run
    std::vector<Arrived> arrived{}; ///< of the last run
    setup::Time now{};

private:
    struct OnTheWay {
        Bytes bytes;
        bool is_held = false;
    };

    void deliver(setup::Exchange& exchange, setup::Time until);
    void send(setup::Exchange& exchange, const Bytes& bytes, const protocol::Message& message);
    void answer(const Bytes& bytes, const protocol::Message& message);

    std::multimap<setup::Time, OnTheWay> on_the_way_{};
    bool has_saved_ = false;
};
