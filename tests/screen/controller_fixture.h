// SPDX-License-Identifier: MIT
#pragma once

#include "keyloft/screen_controller.h"
#include "tests/support/captured_output.h"

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

/// A device layer that only records its calls. Each call also prints its line in angle brackets, so
/// one transcript shows calls and printed lines in order.
struct FakeDevice {
    std::vector<std::string> calls{};                       ///< the journal, one line per call
    std::array<std::uint8_t, 16> answers{};                 ///< what the probe of machine i gives
    std::int32_t main_result = 0;                           ///< what usb_midi_main gives
    std::function<void(const std::string& call)> on_call{}; ///< if set, called with each line
};
extern FakeDevice fake_device;

/// The journal lines, with their arguments written as the fake device writes them.
[[nodiscard]] std::string probe_call(unsigned machine);
[[nodiscard]] std::string naming_call(std::uint32_t code);
[[nodiscard]] std::string command_call(unsigned part, unsigned status, unsigned controller);

/// What the sixteen probes print, the fake device's lines included.
[[nodiscard]] std::string probe_transcript();
/// A journal line as it is printed.
[[nodiscard]] std::string printed(const std::string& call);
/// The lines of the choice of a machine by its digit: that of the only one, and that of the menu.
[[nodiscard]] std::string automatic_choice(char digit);
[[nodiscard]] std::string manual_choice(const std::string& menu, char digit);
inline const std::string invalid_middle = "Error: Invalid middle hex value in machine type\n";
inline const std::string invalid_machine = "Error: Invalid machine type selected\n";
/// What a press up to the choice prints, with the initial type; and what a whole successful one
/// does, with all the initial fields and these lines of the choice.
[[nodiscard]] std::string up_to_the_choice();
[[nodiscard]] std::string whole_press(const std::string& choice);

/// The command's bytes, from the first variable to the fourth.
using CommandBytes = std::array<unsigned, 4>;
[[nodiscard]] CommandBytes command_bytes();
void set_command_bytes(const CommandBytes& bytes);

/// A fresh screen over a fresh fake device, the shared variables at their initial values.
class ScreenActions : public testing::Test {
protected:
    ScreenActions();
    ~ScreenActions() override;

    /// Presses apply and gives what was printed.
    [[nodiscard]] std::string apply();

    /// The alert is up, with these texts.
    void expect_alert(const std::string& title, const std::string& message) const;

    ScreenState screen_;
};
