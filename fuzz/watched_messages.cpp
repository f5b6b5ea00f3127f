// SPDX-License-Identifier: MIT
// What keyloftctl's watch makes of bytes from a machine. The first byte says how long the message
// is; the reading is computed a second time from the statuses of the MIDI standard.
#include "ctl/message_text.h"
#include "fuzz/target.h"
#include "midi_service/midi_message.h"

#include <string>

namespace {

using Message = std::span<const std::uint8_t>;

/// Whether there is anything to show: whole messages but clocks and active sensing, and the
/// beginning of system-exclusive data.
bool is_shown(Message message) {
    if (message.empty())
        return false;
    const std::uint8_t status = message[0];
    if (status == 0xF0)
        return true;
    if (status == 0xF8 || status == 0xFE || status < 0x80)
        return false;
    return whole_message(message) == message.size();
}

/// The numbers that a message of this form shows, one after the other, as the text has them.
std::string numbers_of(Message message) {
    const std::uint8_t status = message[0];
    const auto number = [](int value) { return " " + std::to_string(value) + ";"; };
    const int wide = message.size() == 3 ? message[1] | message[2] << 7 : 0;
    if (status == 0xF0)
        return "";
    if (status == 0xF2)
        return number(wide);
    std::string text = status < 0xF0 ? number(status % 16 + 1) : "";
    if (status / 16 == 0xE)
        return text + number(wide - 8192);
    for (const std::uint8_t data : message.subspan(1))
        text += number(data);
    return text;
}

void check(Message message) {
    const auto reading = read_message(message);
    require(reading.has_value() == is_shown(message), "what is shown are whole messages");
    if (!reading)
        return;
    std::string numbers;
    for (const auto& [name, value] : reading->numbers) {
        require(!name.empty(), "a number has a name");
        numbers += " " + std::to_string(value) + ";";
        require(reading->text().find(" " + std::to_string(value)) != std::string::npos,
                "the text has each number");
    }
    require(numbers == numbers_of(message), "the numbers are those of the message");
    require(reading->text().starts_with(reading->name), "the text begins with the name");
    require(hex_text(message).size() == 3 * message.size() - 1, "two digits a byte");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    while (!input.empty()) {
        const std::size_t length = input.byte() % 5;
        check(input.bytes(length));
    }
    return 0;
}
