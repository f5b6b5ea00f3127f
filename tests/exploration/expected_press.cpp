// SPDX-License-Identifier: MIT
#include "tests/exploration/expected_press.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace {

constexpr std::uint32_t nowhere = 0xFFFFFFFF;

std::string name_of(unsigned machine) {
    return std::string("4AC") + "0123456789ABCDEF"[machine] + "F4C4";
}

constexpr std::size_t compared = 8; // bytes of a name

} // namespace

// --- reading the journal ---

void ExpectedPress::complain(const std::string& what) {
    if (complaint.empty())
        complaint = what + " (step " + std::to_string(at_) + ")";
}

void ExpectedPress::print(const char* format, ...) {
    std::array<char, 160> line{};
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line.data(), line.size(), format, arguments);
    va_end(arguments);
    printed += line.data();
}

/// Whether the next step is of this kind.
bool ExpectedPress::comes(StepKind kind) const {
    return at_ < journal_.size() && journal_[at_].step.kind == kind;
}

/// The next step, which has to be of this kind, with all that happened in it.
const Event& ExpectedPress::take(StepKind kind) {
    static const Event none{.status = -EPROTO};
    if (!comes(kind)) {
        const std::string found =
            at_ < journal_.size() ? to_string(journal_[at_].step) : "the end of the press";
        complain("expected " + to_string(Step{Stage::probe, kind}).substr(6) + ", found " + found);
        return none;
    }
    const Event& event = journal_[at_++];
    happen();
    return event;
}

void ExpectedPress::happen() {
    for (; at_ < journal_.size() && journal_[at_].kind != Event::Kind::step; ++at_) {
        const Event& event = journal_[at_];
        if (event.kind == Event::Kind::gone) {
            memory_.connected.erase(event.object);
            std::erase_if(memory_.on_the_way,
                          [&](const auto& entry) { return entry.second.from == event.object; });
            continue;
        }
        for (const Bytes& bytes : event.heard) {
            if (event.time.count() != 0)
                memory_.on_the_way.insert({memory_.now + event.time, {event.object, bytes}});
            else if (memory_.connected.contains(event.object))
                hear(bytes);
        }
    }
}

void ExpectedPress::finish() {
    if (at_ != journal_.size())
        complain("something after the end: " + to_string(journal_[at_].step));
}

// --- the reader of echoes ---

void ExpectedPress::hear(const Bytes& bytes) {
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        print("%x\t", bytes[i]);
        if (i < memory_.packet.size())
            memory_.packet[i] = bytes[i];
    }
    printed += "\r\n";
    const auto& expected = memory_.expected;
    const auto& packet = memory_.packet;
    const bool bend = expected[0] >= 0xE0 && expected[0] <= 0xEF;
    const bool equal = expected[0] == packet[0] && (bend || expected[1] == packet[1]);
    if (equal) {
        printed += "\r\n设定回显正常\r\n";
        memory_.confirmed = true;
    }
    print("midi_setup_data 0 %x , p %x\r\n", expected[0], packet[0]);
    print("midi_setup_data 1 %x , p %x\r\n", expected[1], packet[1]);
}

void ExpectedPress::pause(StepKind kind, unsigned microseconds) {
    const Event& event = take(kind);
    const std::chrono::microseconds length{microseconds};
    if (event.time != length)
        complain("a pause of another length");
    memory_.now += length;
    auto& waiting = memory_.on_the_way;
    while (!waiting.empty() && waiting.begin()->first <= memory_.now) {
        const auto due = waiting.extract(waiting.begin()).mapped();
        if (memory_.connected.contains(due.from))
            hear(due.bytes);
    }
}

// --- names and connections ---

/// A text that comes replaces the one before it up to its terminator; else that one stays.
void ExpectedPress::read(StepKind property, MIDIObjectRef object, NameBuffer& buffer) {
    if (object == 0)
        return; // nothing is asked of no object
    const Event& answer = take(property);
    if (answer.object != object)
        complain("another object was asked");
    if (answer.status == 0)
        std::memcpy(buffer.data(), answer.text.c_str(), answer.text.size() + 1);
}

bool ExpectedPress::carries_current(const NameBuffer& buffer) const {
    std::string name = memory_.current;
    name.resize(compared); // zeros take part
    return std::equal(name.begin(), name.end(), buffer.begin());
}

/// Connecting asks whether this source and others, connected earlier, are still there; what it
/// asks last is whether this one is online.
bool ExpectedPress::is_online(MIDIObjectRef source) {
    bool offline = false;
    bool last_was_query = false;
    while (comes(StepKind::offline) || comes(StepKind::connect)) {
        last_was_query = comes(StepKind::offline);
        const Event& event = take(last_was_query ? StepKind::offline : StepKind::connect);
        if (last_was_query)
            offline = event.status == -ENODEV || (event.status == 0 && event.value == 1);
        else if (event.object != source)
            complain("another source was connected");
        else if (event.status == 0)
            memory_.connected.insert(source);
    }
    if (!last_was_query)
        complain("nobody asked whether the source is online");
    return !offline;
}

bool ExpectedPress::connect() {
    const auto& sources = take(StepKind::sources).objects;
    print("MIDIGetNumberOfSources %x \r\n", static_cast<unsigned>(sources.size()));
    std::uint32_t found = nowhere;
    for (std::uint32_t i = 0; i < sources.size(); ++i) {
        if (comes(StepKind::disconnect)) {
            memory_.connected.erase(sources[i]); // nothing arrives any more while it is done
            if (take(StepKind::disconnect).object != sources[i])
                complain("another source was disconnected");
        }
        if (memory_.connected.contains(sources[i]))
            complain("a source stayed connected");
        read(StepKind::name, sources[i], memory_.endpoint);
        memory_.endpoint[compared] = '\0';
        if (carries_current(memory_.endpoint))
            found = i;
    }
    if (found == nowhere) {
        printed += "midi init failed \r\n";
        return false;
    }
    print("midi init success ,number code %x \r\n", found);
    read(StepKind::name, sources[found], memory_.endpoint);
    const bool online = is_online(sources[found]);
    print("%s is %s\r\n", memory_.endpoint.data(), online ? "online" : "offline");
    return online;
}

// --- commands ---

/// 1: the machine is among the devices; 0: there are no devices; -1: there are others.
int ExpectedPress::scan() {
    printed += "send_midi_out_data\r\n";
    const auto& devices = take(StepKind::devices).objects;
    print(" MIDIGetNumberOfDevices  %x\r\n", static_cast<unsigned>(devices.size()));
    for (const MIDIObjectRef device : devices) {
        NameBuffer manufacturer{}; // nobody reads it
        read(StepKind::name, device, memory_.name);
        read(StepKind::manufacturer, device, manufacturer);
        read(StepKind::model, device, memory_.model);
        if (carries_current(memory_.name) && carries_current(memory_.model))
            return 1;
    }
    return devices.empty() ? 0 : -1;
}

std::pair<std::uint32_t, MIDIObjectRef> ExpectedPress::look_up() {
    const auto& destinations = take(StepKind::destinations).objects;
    print("MIDIGetNumberOfDestinations %x \r\n", static_cast<unsigned>(destinations.size()));
    std::pair<std::uint32_t, MIDIObjectRef> found{nowhere, 0};
    for (std::uint32_t i = 0; i < destinations.size(); ++i) {
        read(StepKind::name, destinations[i], memory_.endpoint);
        memory_.endpoint[compared] = '\0';
        if (carries_current(memory_.endpoint))
            found = {i, destinations[i]};
    }
    // What is printed is about the place behind the last one, where nothing is.
    if (!destinations.empty())
        print("CCCCC: %s is online\r\n", memory_.endpoint.data());
    return found;
}

OSStatus ExpectedPress::send(StepKind kind, const Bytes& bytes) {
    if (destination == 0)
        return -ENODEV; // the service does not even try
    const Event& event = take(kind);
    if (event.object != destination)
        complain("sent to another endpoint");
    if (event.bytes != bytes)
        complain("other bytes were sent");
    return event.status;
}

OSStatus ExpectedPress::sequence(const Bytes& bytes) {
    ++sequences;
    const auto channel = static_cast<std::uint8_t>(bytes[0] & 0x0F);
    pause(StepKind::pause_1, 2000);
    for (int i = 0; i < 6; ++i)
        (void)send(StepKind::clock, {0xF8});
    pause(StepKind::pause_2, 1000);
    (void)send(StepKind::note_on, {static_cast<std::uint8_t>(0x90 | channel), bytes[1], bytes[2]});
    pause(StepKind::pause_3, 2000);
    (void)send(StepKind::note_off, {static_cast<std::uint8_t>(0x80 | channel), bytes[1], bytes[2]});
    pause(StepKind::pause_4, 2000);
    (void)send(StepKind::message, bytes);
    memory_.expected = {bytes[0], bytes[1]};
    pause(StepKind::pause_5, 2000);
    const OSStatus last = send(StepKind::closing_clock, {0xF8});
    pause(StepKind::pause_6, 2000);
    return last;
}

unsigned ExpectedPress::send_confirmed(const Bytes& bytes) {
    memory_.confirmed = false;
    destination = look_up().second;
    if (look_up().first == nowhere)
        return 1;
    print("midi_get_destination %x \r\n", look_up().first);
    if (destination != 0) {
        const Event& answer = take(StepKind::offline);
        if (answer.status == -ENODEV || (answer.status == 0 && answer.value == 1)) {
            printed += "offline \r\n";
            return 1;
        }
    }
    printed += "clock mc\r\n";
    OSStatus last = sequence(bytes);
    pause(StepKind::wait, 300'000);
    if (memory_.confirmed) {
        printed += "设置成功了 \r\n";
    } else {
        printed += "设置失败obk\r\n";
        last = sequence(bytes);
    }
    return (static_cast<unsigned>(last) & 0xFF) == 0 ? 0 : 1;
}

unsigned ExpectedPress::command(const Bytes& bytes) {
    for (const char* const before : {"", "key_code_value_set\r\n"}) {
        printed += before;
        if (scan() == 1)
            printed += "no macthing name B \r\n";
    }
    const int found = scan();
    if (found != 1)
        return found == 0 ? 0 : 1;
    printed += "midiOutShortMsg\r\n";
    return send_confirmed(bytes);
}

// --- the hook and the presses ---

void ExpectedPress::appear() {
    memory_.endpoint = memory_.name = memory_.model = {};
    name_machine(12);
    finish();
}

void ExpectedPress::name_machine(unsigned machine) {
    memory_.current = name_of(machine);
    print("set_device_name 4ac%xf4c4 \r\nmiddle_value %x \r\nGenerated device_name: %s\n", machine,
          machine, memory_.current.c_str());
    (void)connect();
}

/// One machine is chosen by itself. Else the menu's is, and it is named like none.
void ExpectedPress::choose(const std::vector<unsigned>& present) {
    if (present.size() == 1) {
        const unsigned machine = present.front();
        menu = name_of(machine);
        name_machine(machine);
        print("-%X--set_device_name(0x%s);\n", machine, menu.c_str());
        return;
    }
    const auto digit = static_cast<unsigned>(std::stoul(menu.substr(3, 1), nullptr, 16));
    memory_.current.clear();
    print("set_device_name 16c%xf4c4 \r\nGenerated device_name: \n", digit);
    (void)connect();
    print("User selected: %s\nset_device_name(0x16C%XF4C4);\n", menu.c_str(), digit);
}

void ExpectedPress::apply(const std::string& type_line, const std::string& menu_text,
                          const Bytes& bytes) {
    menu = menu_text;
    printed += type_line;
    std::vector<unsigned> present;
    for (unsigned i = 0; i < 16; ++i) {
        memory_.current = name_of(i);
        print("set_device_name 4ac%xf4c4 \r\n", i);
        if (connect())
            present.push_back(i);
        print("i = 0x%02X, device_connect_id_arg = 0x%s\n", i, name_of(i).c_str());
    }
    choose(present);
    result = command(bytes);
    print("%u\n", result);
    if (result == 0) {
        title = "设置成功!";
        message = "旋钮" + std::to_string(bytes[2]) + "--设置成功!";
    } else {
        title = "设置失败!";
        message = "设置失败,检查连接状态\n[当前可选-选项-连接列表]\n";
        for (const unsigned machine : present)
            message += name_of(machine) + (machine == present.back() ? "" : "\n");
    }
    finish();
}

void ExpectedPress::save() {
    result = command({0xAF, 0x7F, 0x7F});
    print("%u\n", result);
    title = result == 0 ? "hardware" : "保存失败!";
    message = result == 0 ? "保存成功!" : "hardware";
    finish();
}
