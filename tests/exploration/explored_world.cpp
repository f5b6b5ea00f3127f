// SPDX-License-Identifier: MIT
#include "tests/exploration/explored_world.h"

#include "tests/support/service_use.h"

#include <array>
#include <cerrno>

using namespace std::chrono_literals;

namespace {

constexpr std::array<const char*, fault_count> fault_names = {
    "source gone",
    "destination gone",
    "device gone",
    "unplugged",
    "back at the end",
    "back as it was",
    "renamed",
    "named shorter",
    "offline",
    "offline unknown",
    "name null",
    "model null",
    "query fails",
    "connection fails",
    "send fails",
    "sends fail",
    "sends fail with low byte zero",
    "twin appears",
    "other appears",
    "stranger gone",
    "stray echo",
    "stray other",
    "stray clock",
    "stranger echoes",
    "echo absent",
    "echo early",
    "echo slow",
    "echo after the wait",
    "echo much later",
    "echo doubled",
    "echo wrong in byte 1",
    "echo wrong in byte 2",
    "echo wrong in byte 3",
    "echo split by clocks",
    "echo followed by others",
    "echo between long data",
};

constexpr const char* machine_name = "4AC5F4C4";
constexpr OSStatus low_byte_zero = -256;

EmbeddedObject look_of(const std::string& machine) {
    return {.name = machine + " MIDI 1", .manufacturer = "keyloft", .model = machine};
}

/// The pieces that system-exclusive data arrive in.
std::vector<Bytes> pieces_of(const Bytes& bytes) {
    std::vector<Bytes> pieces;
    for (std::size_t at = 0; at < bytes.size(); at += 256) {
        const std::size_t end = std::min(at + 256, bytes.size());
        pieces.emplace_back(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                            bytes.begin() + static_cast<std::ptrdiff_t>(end));
    }
    return pieces;
}

} // namespace

const char* to_string(Fault fault) {
    return fault_names[static_cast<std::size_t>(fault)];
}

ExploredWorld::ExploredWorld(EmbeddedBackend& service, SteppingBackend& backend,
                             const Bytes& message)
    : service_(service), backend_(backend), message_(message), machine_(add(machine_name)),
      stranger_(service.attach(look_of("Piano"), [this](std::span<const std::uint8_t> bytes) {
          strangers_bytes.insert(strangers_bytes.end(), bytes.begin(), bytes.end());
      })) {}

void ExploredWorld::happen(Fault fault, const Step& step) {
    switch (fault) {
    case Fault::unplugged:
        return unplug(machine_);
    case Fault::back_at_the_end:
        unplug(machine_);
        return plug(machine_);
    case Fault::query_fails:
        backend_.refuse_query = -EIO;
        return;
    case Fault::connection_fails:
        backend_.refuse_connection = -EACCES;
        return;
    case Fault::send_fails:
        backend_.refuse_send = -ENOBUFS;
        return;
    case Fault::twin_appears:
        add(machine_name);
        return;
    case Fault::other_appears:
        add("4AC9F4C4");
        return;
    case Fault::stranger_gone:
        service_.detach(stranger_);
        backend_.journal.push_back({.kind = Event::Kind::gone, .object = stranger_});
        return;
    case Fault::stray_echo:
    case Fault::stray_other:
    case Fault::stray_clock:
    case Fault::stranger_echoes:
        return send_something(fault, step);
    default:
        break;
    }
    if (fault >= Fault::echo_absent) {
        const auto which = static_cast<unsigned>(fault) - static_cast<unsigned>(Fault::echo_absent);
        echo = static_cast<Echo>(which + static_cast<unsigned>(Echo::absent));
        return;
    }
    look_different(fault);
}

void ExploredWorld::look_different(Fault fault) {
    EmbeddedObject& look = machine_.look;
    if (fault == Fault::source_gone)
        look.is_source = false;
    if (fault == Fault::destination_gone)
        look.is_destination = false;
    if (fault == Fault::device_gone)
        look.is_device = false;
    if (fault == Fault::renamed)
        look.name = look.model = "Organ MIDI 1";
    if (fault == Fault::named_shorter)
        look.name = look.model = "4AC5F4C";
    if (fault == Fault::offline)
        look.offline = 1;
    if (fault == Fault::offline_unknown)
        look.offline.reset();
    if (fault == Fault::name_null)
        look.name.reset();
    if (fault == Fault::model_null)
        look.model.reset();
    if (fault == Fault::sends_fail)
        look.send_status = -EIO;
    if (fault == Fault::sends_fail_with_low_byte_zero)
        look.send_status = low_byte_zero;
    if (fault == Fault::back_as_it_was) {
        look = look_of(machine_name);
        echo = Echo::normal;
        plug(machine_);
    }
    update();
}

void ExploredWorld::send_something(Fault fault, const Step& step) {
    // A connection is looked up under the lock that a delivery waits for.
    const auto after = step.kind == StepKind::offline ? 1us : 0us;
    const MIDIObjectRef from = fault == Fault::stranger_echoes ? stranger_ : machine_.reference;
    Bytes bytes = message_;
    if (fault == Fault::stray_other)
        bytes = {0xC3, 0x21};
    if (fault == Fault::stray_clock)
        bytes = {0xF8};
    if (from == stranger_ || (from != 0 && machine_.look.is_source))
        emit(from, bytes, {bytes}, after);
}

void ExploredWorld::clear() {
    for (const auto& machine : machines_)
        unplug(*machine);
    backend_.refuse_query = backend_.refuse_connection = backend_.refuse_send = 0;
}

ExploredWorld::Machine& ExploredWorld::add(const std::string& machine) {
    machines_.push_back(std::make_unique<Machine>(Machine{.look = look_of(machine)}));
    plug(*machines_.back());
    return *machines_.back();
}

void ExploredWorld::plug(Machine& machine) {
    if (machine.reference != 0)
        return;
    (void)machine.firmware.power_cycle();
    machine.received.clear();
    machine.reference =
        service_.attach(machine.look, [this, &machine](std::span<const std::uint8_t> messages) {
            receive(machine, messages);
        });
}

void ExploredWorld::unplug(Machine& machine) {
    if (machine.reference == 0)
        return;
    service_.detach(machine.reference);
    backend_.journal.push_back({.kind = Event::Kind::gone, .object = machine.reference});
    machine.reference = 0;
}

void ExploredWorld::update() {
    if (machine_.reference != 0)
        service_.update_object(machine_.reference, machine_.look);
}

void ExploredWorld::receive(Machine& machine, std::span<const std::uint8_t> messages) {
    machine.received.insert(machine.received.end(), messages.begin(), messages.end());
    for (const MachineReply& reply : machine.firmware.receive(messages).replies) {
        if (machine.look.is_source)
            answer(machine, reply);
    }
}

void ExploredWorld::answer(const Machine& machine, const MachineReply& reply) {
    const MIDIObjectRef from = machine.reference;
    const Bytes right(reply.bytes.begin(), reply.bytes.end());
    const std::chrono::microseconds after{reply.after_ms * 1000};
    const Bytes clock = {0xF8};
    switch (echo) {
    case Echo::normal:
        return emit(from, right, {right}, after);
    case Echo::absent:
        return;
    case Echo::early:
        return emit(from, right, {right}, 0us);
    case Echo::slow:
        return emit(from, right, {right}, 250ms);
    case Echo::after_wait:
        return emit(from, right, {right}, 308ms);
    case Echo::much_later:
        return emit(from, right, {right}, 400ms);
    case Echo::doubled:
        emit(from, right, {right}, after);
        return emit(from, right, {right}, after);
    case Echo::wrong_1:
    case Echo::wrong_2:
    case Echo::wrong_3: {
        Bytes wrong = right;
        wrong[static_cast<unsigned>(echo) - static_cast<unsigned>(Echo::wrong_1)] ^= 1;
        return emit(from, wrong, {wrong}, after);
    }
    case Echo::split:
        return emit(from, {right[0], 0xF8, right[1], 0xF8, right[2]}, {clock, clock, right}, after);
    case Echo::followed:
        return emit(from, {right[0], right[1], right[2], 0xF8, 0x9E, 0x3C, 0x40},
                    {right, clock, {0x9E, 0x3C, 0x40}}, after);
    case Echo::overlong: {
        const Bytes before = exclusive(100), behind = exclusive(300);
        emit(from, before, pieces_of(before), after);
        emit(from, right, {right}, after);
        return emit(from, behind, pieces_of(behind), after);
    }
    }
}

void ExploredWorld::emit(MIDIObjectRef object, const Bytes& bytes, const std::vector<Bytes>& heard,
                         std::chrono::microseconds after) {
    backend_.journal.push_back(
        {.kind = Event::Kind::emission, .object = object, .heard = heard, .time = after});
    service_.emit(object, bytes, after);
    if (after == 0us)
        service_.advance(0us); // it has arrived
}
