// SPDX-License-Identifier: MIT
#include "ctl/argument_values.h"

#include "protocol/device_code.h"

#include <algorithm>
#include <array>

namespace {

std::string quoted(std::string_view text) {
    return "\"" + std::string(text) + "\"";
}

char lower(char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

bool equal_in_any_case(std::string_view one, std::string_view other) {
    return std::ranges::equal(one, other, {}, lower, lower);
}

struct ShortName {
    std::string_view name;
    protocol::MessageType type;
};

constexpr std::array<ShortName, 6> short_names = {{
    {"note-on", protocol::MessageType::note_on},
    {"note-off", protocol::MessageType::note_off},
    {"control-change", protocol::MessageType::control_change},
    {"cc", protocol::MessageType::control_change},
    {"bend-change", protocol::MessageType::bend_change},
    {"bend", protocol::MessageType::bend_change},
}};

std::uint32_t code_argument(std::string_view name, std::string_view text) {
    if (const auto code = protocol::parse_code(text))
        return *code;
    throw WrongArguments(std::string(name) + " names " + quoted(text) +
                         ", which is no device code: that has eight hexadecimal digits, such as "
                         "4AC5F4C4");
}

} // namespace

int number_argument(std::string_view name, std::string_view text, unsigned least, unsigned most) {
    return static_cast<int>(count_argument(std::string(name), std::string(text), least, most));
}

protocol::MessageType type_argument(std::string_view text) {
    for (const ShortName& known : short_names) {
        if (equal_in_any_case(text, known.name))
            return known.type;
    }
    for (const protocol::NamedType& known : protocol::message_types) {
        if (equal_in_any_case(text, known.name))
            return known.type;
    }
    throw WrongArguments("TYPE is " + quoted(text) +
                         ": it has to be note-on, note-off, control-change (or cc) or bend-change "
                         "(or bend)");
}

MachineChoice machine_argument(std::string_view text) {
    const std::size_t at = text.find('@');
    MachineChoice choice{.code = code_argument("-m", text.substr(0, at))};
    if (at == std::string_view::npos)
        return choice;
    const std::string_view address = text.substr(at + 1);
    const std::size_t colon = address.find(':');
    if (colon == std::string_view::npos)
        throw WrongArguments("-m names the port " + quoted(address) +
                             ": it has to be CLIENT:PORT, such as 24:0");
    choice.port =
        setup::PortAddress{number_argument("CLIENT of -m", address.substr(0, colon), 0, 255),
                           number_argument("PORT of -m", address.substr(colon + 1), 0, 255)};
    return choice;
}

std::vector<std::uint32_t> demo_argument(std::string_view text) {
    std::vector<std::uint32_t> codes;
    if (text == "all") {
        for (std::uint32_t number = 0; number < protocol::family_size; ++number)
            codes.push_back(protocol::family_code(number));
        return codes;
    }
    for (std::size_t start = 0; start <= text.size();) {
        const std::size_t comma = std::min(text.find(',', start), text.size());
        codes.push_back(code_argument("--demo", text.substr(start, comma - start)));
        start = comma + 1;
    }
    return codes;
}
