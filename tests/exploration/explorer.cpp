// SPDX-License-Identifier: MIT
#include "tests/exploration/explorer.h"

#include "keyloft/screen_controller.h"
#include "simulation/embedded_connection.h"
#include "tests/exploration/expected_press.h"
#include "tests/exploration/live_allocations.h"
#include "tests/support/device_state.h"
#include "tests/support/press_lines.h"
#include "tests/support/sequence.h"
#include "tests/support/virtual_pauses.h"

// Behind the service's headers: its global variables have the names of properties there.
#include "Include/usb_midi.h"

#include <algorithm>

namespace {

constexpr std::size_t shown_failures = 10;
constexpr std::uint8_t part = 5;
constexpr std::uint8_t controller = 7;
constexpr std::uint32_t machine_code = 0x4AC5F4C4;

/// Where two texts begin to differ, with a little of each.
std::string difference(const std::string& found, const std::string& wanted) {
    constexpr std::size_t enough = 160;
    const auto at = static_cast<std::size_t>(
        std::mismatch(found.begin(), found.end(), wanted.begin(), wanted.end()).first -
        found.begin());
    return " differs from byte " + std::to_string(at) + " on: found \"" + found.substr(at, enough) +
           "\", not \"" + wanted.substr(at, enough) + '"';
}

std::string kept_of_packets() {
    std::string bytes;
    for (const auto& byte : midi_pack_setup_data)
        bytes += static_cast<char>(byte.load());
    return bytes;
}

/// One screen over one service, from start to end.
class Run {
public:
    Run(const Scenario& scenario, std::span<const Injection> injections, CapturedOutput& output);
    ~Run();
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    void press_with_faults();
    void press_on_a_healthy_machine();

    std::vector<std::string> wrong{};
    std::vector<Step> steps{};
    [[nodiscard]] bool all_happened() const { return injections_.empty(); }

private:
    template<class Value>
    void expect(const std::string& what, const Value& found, const Value& wanted);
    void compare(const std::string& when, const ExpectedPress& expected);
    void judge(const ExpectedPress& expected);
    void set_previous();
    void in_step(const Step& step);

    const Scenario scenario_;
    std::span<const Injection> injections_;
    CapturedOutput& output_;
    EmbeddedBackend service_{EmbeddedBackend::Time::manual};
    SteppingBackend backend_{service_};
    ExploredWorld world_;
    ScreenState screen_{};
    PressMemory memory_{};
};

Run::Run(const Scenario& scenario, std::span<const Injection> injections, CapturedOutput& output)
    : scenario_(scenario), injections_(injections), output_(output),
      world_(service_, backend_, scenario.message()) {
    reset_device_state();
    recorded_pauses.clear();
    install_midi_backend(&backend_);
    paused_backend = &service_;
    before_pause = [this](unsigned microseconds) { backend_.pause(microseconds); };
    screen_.message_type_menu_string = scenario.is_bend ? BEND_CHANGE : CONTROL_CHANGE;
    screen_.hardware_part_number_code_string = std::to_string(part);
    screen_.message_channel_menu_string = "3";
    screen_.message_controller_number_code_string = std::to_string(controller);
    appear_hook();
    ExpectedPress expected(memory_, backend_.journal);
    expected.appear();
    compare("at the start", expected);
}

Run::~Run() {
    before_pause = nullptr;
    paused_backend = nullptr;
    install_midi_backend(nullptr);
}

template<class Value>
void Run::expect(const std::string& what, const Value& found, const Value& wanted) {
    if (found == wanted)
        return;
    if constexpr (std::is_same_v<Value, std::string>)
        wrong.push_back(what + difference(found, wanted));
    else
        wrong.push_back(what + ": found " + std::to_string(found) + ", not " +
                        std::to_string(wanted));
}

void Run::in_step(const Step& step) {
    const std::size_t number = steps.size();
    steps.push_back(step);
    if (injections_.empty())
        return;
    const Injection& next = injections_.front();
    if (next.kind ? *next.kind != step : next.number != number)
        return;
    injections_ = injections_.subspan(1);
    world_.happen(next.fault, step);
}

/// Makes it look as if another command had run before.
void Run::set_previous() {
    Bytes bytes(3);
    if (scenario_.previous == Scenario::Previous::same)
        bytes = scenario_.message();
    if (scenario_.previous == Scenario::Previous::other)
        bytes = {0xC3, 0x21, 0x00};
    std::copy(bytes.begin(), bytes.end(), std::begin(midi_setup_data));
    memory_.expected = {bytes[0], bytes[1]};
    set_up_ok_flag = 185;
    memory_.confirmed = true;
}

void Run::press_with_faults() {
    const bool is_save = scenario_.button == Scenario::Button::save;
    if (is_save) { // goes to the machine that was named last
        backend_.begin_press();
        set_device_name(machine_code);
        ExpectedPress naming(memory_, backend_.journal);
        naming.name_machine(5);
        compare("by the naming", naming);
    }
    set_previous();
    world_.echo = scenario_.echo;
    backend_.begin_press();
    backend_.in_step = [this](const Step& step) { in_step(step); };
    const std::string menu = screen_.machine_type_menu_string;
    is_save ? save_action(screen_) : apply_action(screen_);
    backend_.in_step = nullptr;
    ExpectedPress expected(memory_, backend_.journal);
    expected.menu = menu;
    if (is_save)
        expected.save();
    else
        expected.apply(scenario_.is_bend ? "BEND_CHANGE\n" : "CONTROL_CHANGE\n", menu,
                       scenario_.message());
    judge(expected);
}

/// What was done and printed.
void Run::compare(const std::string& when, const ExpectedPress& expected) {
    expect("done " + when, expected.complaint, std::string());
    expect("printed " + when, output_.take(), expected.printed);
}

void Run::judge(const ExpectedPress& expected) {
    compare("by the press", expected);
    expect("result", static_cast<unsigned>(command_setup_succeed_flag), expected.result);
    expect("title", screen_.showmessage_title, expected.title);
    expect("message", screen_.showmessage, expected.message);
    expect("machine menu", screen_.machine_type_menu_string, expected.menu);
    expect("alert", static_cast<int>(screen_.showAlert), 1);
    expect("flag", static_cast<unsigned>(set_up_ok_flag), memory_.confirmed ? 185U : 0U);
    expect("kept of packets", kept_of_packets(),
           std::string(memory_.packet.begin(), memory_.packet.end()));
    std::size_t sends = 0;
    bool stranger_was_unnamed = false;
    for (const Event& event : backend_.journal) {
        sends += event.kind == Event::Kind::step && event.step.kind >= StepKind::clock &&
                 event.step.kind <= StepKind::closing_clock;
        stranger_was_unnamed =
            stranger_was_unnamed || (event.step == Step{Stage::lookup, StepKind::name} &&
                                     event.object == world_.stranger() && event.status != 0);
    }
    // An endpoint whose name cannot be read counts as the one before it in the list.
    if (!stranger_was_unnamed)
        expect("bytes to a stranger", world_.strangers_bytes.size(), std::size_t{0});
    world_.strangers_bytes.clear();
    if (expected.sequences > 2 || sends > 20)
        wrong.push_back("more than two sequences");
}

void Run::press_on_a_healthy_machine() {
    world_.clear();
    screen_.showAlert = false;
    const EmbeddedMachine machine(service_, machine_code);
    backend_.begin_press();
    apply_action(screen_);
    const std::string printed = output_.take();
    const std::uint8_t status = scenario_.is_bend ? 0xE2 : 0xB2;
    const std::string end = success_line + "0\n";
    expect("end of what the next press printed",
           printed.substr(printed.size() - std::min(printed.size(), end.size())), end);
    expect("title of the next press", screen_.showmessage_title, std::string("设置成功!"));
    expect("message of the next press", screen_.showmessage, std::string("旋钮5--设置成功!"));
    expect("the next sequence is whole",
           machine.received() == sequence(status, controller, part) ? 1 : 0, 1);
    expect("flag of the next press", static_cast<unsigned>(set_up_ok_flag), 185U);
    expect("bytes to a stranger", world_.strangers_bytes.size(), std::size_t{0});
    disappear_hook();
    expect("clients and ports left", backend_.open, 0);
    expect("printed at the end", output_.take(), std::string("midi_exit\r\n"));
}

} // namespace

Bytes Scenario::message() const {
    if (button == Button::save)
        return {0xAF, 0x7F, 0x7F};
    return {static_cast<std::uint8_t>(is_bend ? 0xE2 : 0xB2), controller, part};
}

std::string Scenario::words() const {
    constexpr std::array<const char*, 3> before = {"nothing", "the same message",
                                                   "another message"};
    return std::string(button == Button::save ? "save"
                       : is_bend              ? "apply bend"
                                              : "apply control") +
           " after " + before[static_cast<std::size_t>(previous)] +
           (echo == Echo::absent ? " without echoes" : "");
}

std::vector<Step> Explorer::run(const Scenario& scenario, std::span<const Injection> injections) {
    const std::size_t before = live_allocations();
    std::string words;
    std::vector<Step> steps;
    {
        Run press(scenario, injections, output_);
        press.press_with_faults();
        press.press_on_a_healthy_machine();
        if (press.all_happened())
            ++cases;
        for (const std::string& wrong : press.wrong)
            words += "\n  " + wrong;
        steps = std::move(press.steps);
    }
    // Without those that hold the results.
    const std::size_t left = live_allocations() - before - (steps.capacity() != 0 ? 1 : 0) -
                             (words.capacity() > std::string().capacity() ? 1 : 0);
    if (left != 0)
        words += "\n  " + std::to_string(left) + " allocations left behind";
    if (words.empty() || failures.size() == shown_failures)
        return steps;
    std::string faults;
    for (const Injection& injection : injections)
        faults += std::string(", ") + to_string(injection.fault) + " in " +
                  (injection.kind ? to_string(*injection.kind)
                                  : "step " + std::to_string(injection.number));
    failures.push_back(scenario.words() + faults + words);
    return steps;
}
