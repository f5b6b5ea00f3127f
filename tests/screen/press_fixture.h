// SPDX-License-Identifier: MIT
#pragma once

#include "keyloft/screen_controller.h"
#include "simulation/embedded_connection.h"
#include "tests/support/captured_output.h"
#include "tests/support/press_lines.h"
#include "tests/support/service_use.h"

/// A screen over the real device layer and the embedded service, in manual time: a press takes no
/// time, and what a machine answers comes in the pause in which it is due.
class Press : public testing::Test {
protected:
    Press();
    ~Press() override;

    /// Each runs an action and gives what it printed.
    [[nodiscard]] std::string appear();
    [[nodiscard]] std::string disappear();
    [[nodiscard]] std::string apply();
    [[nodiscard]] std::string save();

    /// The alert is up, with these texts.
    void expect_alert(const std::string& title, const std::string& message) const;

    EmbeddedBackend service_{EmbeddedBackend::Time::manual};
    ScreenState screen_;
};

// What is printed. `plugged` are the numbers of the machines that are plugged in, in this order.

using Plugged = std::vector<unsigned>;

/// The sixteen probes.
[[nodiscard]] std::string probe_lines(const Plugged& plugged);
/// The automatic choice of a machine.
[[nodiscard]] std::string automatic_lines(unsigned machine, const Plugged& plugged);
/// The choice of a machine by the menu: it finds none, whatever is plugged in.
[[nodiscard]] std::string manual_lines(unsigned machine, const Plugged& plugged);
/// A command that finds no machine.
[[nodiscard]] std::string command_to_nobody_lines(const Plugged& plugged);
/// A command to a machine that is there: `sending` is what is printed while it is sent.
[[nodiscard]] std::string command_lines(unsigned machine, const Plugged& plugged,
                                        const std::string& sending);
/// A whole apply press of a control change, with this machine alone plugged in.
[[nodiscard]] std::string press_lines(unsigned machine, const std::string& sending);
/// What the receive thread prints for an echo of three bytes that was expected.
[[nodiscard]] std::string echo_lines(std::uint8_t status, std::uint8_t data1, std::uint8_t data2);
