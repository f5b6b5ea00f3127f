// SPDX-License-Identifier: MIT
// The five texts of the screen through the apply action, over the embedded service and simulated
// machines. An input is lines of text: the digits of the machines that are plugged in, then part,
// message type, channel, controller and machine for one press after the other. The mapping that the
// machine keeps has to be the numbers that were typed.
#include "fuzz/target.h"
#include "keyloft/screen_controller.h"
#include "midi_service/embedded/embedded_backend.h"
#include "protocol/device_code.h"
#include "simulation/embedded_connection.h"
#include "tests/screen/throwing_stop.h"
#include "tests/support/device_state.h"
#include "tests/support/sequence.h"
#include "tests/support/virtual_pauses.h"

#include <map>
#include <memory>
#include <optional>
#include <string>

namespace {

std::string read_line(Input& input) {
    std::string line;
    while (!input.empty()) {
        const auto character = static_cast<char>(input.byte());
        if (character == '\n')
            break;
        line += character;
    }
    return line;
}

std::optional<unsigned> hexadecimal_digit(char c) {
    static const std::string digits = "0123456789ABCDEFabcdef";
    const std::size_t at = digits.find(c);
    if (at == std::string::npos)
        return std::nullopt;
    return static_cast<unsigned>(at < 16 ? at : at - 6);
}

/// A decimal number of 64 bits with at most one sign.
std::optional<std::int64_t> number_in(std::string text) {
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+'))
        text.erase(0, 1);
    if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos)
        return std::nullopt;
    text.erase(0, text.find_first_not_of('0'));
    if (text.size() > 19)
        return std::nullopt;
    std::uint64_t magnitude = 0;
    for (const char digit : text)
        magnitude = magnitude * 10 + static_cast<std::uint64_t>(digit - '0');
    const std::uint64_t limit = (std::uint64_t{1} << 63) - (negative ? 0 : 1);
    if (magnitude > limit)
        return std::nullopt;
    return static_cast<std::int64_t>(negative ? 0 - magnitude : magnitude);
}

/// Whether a text of the menu names a machine.
bool names_machine(const std::string& text) {
    if (text.size() < 8 || text.substr(0, 3) != "4AC" || text.substr(text.size() - 4) != "F4C4")
        return false;
    unsigned value = 0;
    for (const char c : text.substr(3, text.size() - 7)) {
        const auto digit = hexadecimal_digit(c);
        if (!digit || value != 0)
            return false;
        value = *digit;
    }
    return true;
}

/// What a press should make of its texts.
struct Press {
    bool stops = false;
    std::uint8_t part = 0;
    std::uint8_t controller = 0;
    std::optional<std::uint8_t> status{}; ///< none: the previous press's is sent

    explicit Press(const ScreenState& screen) {
        const auto part_number = number_in(screen.hardware_part_number_code_string);
        const auto channel = number_in(screen.message_channel_menu_string);
        const auto controller_number = number_in(screen.message_controller_number_code_string);
        const auto is_byte = [](const auto& number) { return number && (*number | 0xFF) == 0xFF; };
        // 15 digits or more after the type's digit do not fit into 64 bits.
        const bool is_channel = channel && *channel >= 1 && *channel <= 16;
        const bool is_nothing = channel && (*channel < 1 || *channel - 1 >= 1LL << 56);
        stops = !is_byte(part_number) || !is_byte(controller_number) || !(is_channel || is_nothing);
        if (stops)
            return;
        part = static_cast<std::uint8_t>(*part_number);
        controller = static_cast<std::uint8_t>(*controller_number);
        static const std::map<std::string, unsigned> types = {
            {"Note Off", 0x80}, {"Note On", 0x90}, {"Control Change", 0xB0}, {"Bend Change", 0xE0}};
        const auto type = types.find(screen.message_type_menu_string);
        if (is_channel)
            status = static_cast<std::uint8_t>((type == types.end() ? 0xB0 : type->second) +
                                               static_cast<unsigned>(*channel - 1));
    }
};

/// The bytes of one confirmed sequence. The service refuses a message whose status is none.
Bytes accepted_sequence(std::uint8_t status, std::uint8_t data1, std::uint8_t data2) {
    Bytes bytes;
    for (const Bytes& event : sequence_events(status, data1, data2)) {
        if (event[0] >= 0x80)
            bytes.insert(bytes.end(), event.begin(), event.end());
    }
    return bytes;
}

/// The embedded service and the machines of one run.
class World {
public:
    World() {
        install_midi_backend(&backend_);
        paused_backend = &backend_;
    }
    ~World() {
        paused_backend = nullptr;
        install_midi_backend(nullptr);
    }
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    void plug(const std::string& digits) {
        for (const char c : digits) {
            const auto digit = hexadecimal_digit(c);
            if (digit && machines.size() < 3 && !machines.contains(*digit))
                machines[*digit] =
                    std::make_unique<EmbeddedMachine>(backend_, 0x4AC0F4C4 + (*digit << 16));
        }
    }

    /// The machine that a press talks to.
    [[nodiscard]] const EmbeddedMachine* current(const std::string& menu) const {
        if (machines.size() == 1)
            return machines.begin()->second.get();
        // A text that names none leaves the machine that was probed last.
        const auto last = machines.find(15);
        return names_machine(menu) || last == machines.end() ? nullptr : last->second.get();
    }

    std::map<unsigned, std::unique_ptr<EmbeddedMachine>> machines{};

private:
    EmbeddedBackend backend_{EmbeddedBackend::Time::manual};
};

std::size_t bytes_received(const World& world) {
    std::size_t bytes = 0;
    for (const auto& [digit, machine] : world.machines)
        bytes += machine->received().size();
    return bytes;
}

void check_result(const World& world, const ScreenState& screen, const Press& press,
                  const EmbeddedMachine* machine) {
    const bool succeeds = machine || world.machines.empty();
    std::string text = "旋钮" + std::to_string(press.part) + "--设置成功!";
    if (!succeeds) {
        text = "设置失败,检查连接状态\n[当前可选-选项-连接列表]\n";
        for (const auto& [digit, present] : world.machines)
            text += (digit == world.machines.begin()->first ? "" : "\n") +
                    protocol::code_text(protocol::family_code(digit));
    }
    require(screen.showmessage == text, "the alert says what became of it");
    require(screen.showmessage_title == (succeeds ? "设置成功!" : "设置失败!"),
            "so does its title");
}

/// Checks a press that did not stop the program, which sent the bytes behind `before`.
void check_press(const World& world, const Press& press, const EmbeddedMachine* machine,
                 std::uint8_t status, std::size_t before) {
    if (!machine)
        return;
    const auto controller = static_cast<std::uint8_t>(press.controller & 0x7F);
    const auto part = static_cast<std::uint8_t>(press.part & 0x7F);
    Bytes wanted = accepted_sequence(status, controller, part);
    if (status == 0) { // nothing that a machine could echo
        const Bytes again = wanted;
        wanted.insert(wanted.end(), again.begin(), again.end());
    }
    const Bytes received = machine->received();
    require(Bytes(received.begin() + static_cast<std::ptrdiff_t>(before), received.end()) == wanted,
            "the machine gets the sequence");
    if (status == 0)
        return;
    const protocol::KeyMapping mapping{.part = part,
                                       .type = static_cast<protocol::MessageType>(status & 0xF0),
                                       .channel = (status & 0x0F) + 1,
                                       .controller = controller};
    const MappingTable table = machine->table();
    const auto found = table.find(mapping);
    require(found != table.end() && *found == mapping, "the mapping is what was typed");
    require(world.machines.size() == 1 || machine == world.machines.at(15).get(),
            "no machine but the chosen one");
}

/// Whether the program goes on.
bool press_apply(const World& world, ScreenState& screen, Input& input, std::uint8_t& status) {
    screen.hardware_part_number_code_string = read_line(input);
    screen.message_type_menu_string = read_line(input);
    screen.message_channel_menu_string = read_line(input);
    screen.message_controller_number_code_string = read_line(input);
    screen.machine_type_menu_string = read_line(input);
    const Press press{screen};
    const EmbeddedMachine* const machine = world.current(screen.machine_type_menu_string);
    const std::size_t before = machine ? machine->received().size() : 0;
    const std::size_t all_before = bytes_received(world);
    const bool alert = screen.showAlert;
    bool stopped = false;
    try {
        apply_action(screen);
    } catch (const FatalStop&) {
        stopped = true;
    }
    require(stopped == press.stops, "a text that is no number in range ends the program");
    if (stopped) {
        require(bytes_received(world) == all_before, "before anything was sent");
        require(screen.showAlert == alert, "and without an alert");
        return false;
    }
    status = press.status.value_or(status);
    require(screen.showAlert != alert, "the alert comes up");
    check_result(world, screen, press, machine);
    check_press(world, press, machine, status, before);
    const std::size_t sent = machine ? machine->received().size() - before : 0;
    require(bytes_received(world) - all_before == sent, "nothing goes anywhere else");
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static World world;
    Input input{data, size};
    reset_device_state();
    recorded_pauses.clear();
    c_arg_transfer_UInt8_2 = 0;
    world.plug(read_line(input));
    ScreenState screen;
    std::uint8_t status = 0; // of the press before
    appear_hook();
    int presses = 0;
    while (presses < 3 && !input.empty() && press_apply(world, screen, input, status))
        ++presses;
    disappear_hook();
    world.machines.clear();
    return 0;
}
