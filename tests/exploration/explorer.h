// SPDX-License-Identifier: MIT
#pragma once

#include "tests/exploration/explored_world.h"
#include "tests/support/captured_output.h"

/// What is pressed, and how things are before.
struct Scenario {
    enum class Button : std::uint8_t { apply, save };
    enum class Previous : std::uint8_t { nothing, same, other };

    Button button = Button::apply;
    bool is_bend = false;                  ///< the message type of an apply press
    Previous previous = Previous::nothing; ///< the message of the command before
    Echo echo = Echo::normal;              ///< before any fault

    [[nodiscard]] Bytes message() const;
    [[nodiscard]] std::string words() const;
};

/// A fault and the step in which it happens: the one with this number, or the first of a kind.
struct Injection {
    Fault fault;
    std::size_t number = 0; ///< of the step, from 0
    std::optional<Step> kind{};
};

/// Runs presses with faults and checks every outcome. Captures what is printed.
class Explorer {
public:
    /// One press with these faults, in this order and at most one per step; then one press on a
    /// healthy machine. Returns the steps of the first press.
    std::vector<Step> run(const Scenario& scenario, std::span<const Injection> injections);

    std::size_t cases = 0;               ///< in which all faults happened
    std::vector<std::string> failures{}; ///< the first few

private:
    CapturedOutput output_;
};
