// SPDX-License-Identifier: MIT
#pragma once

#include "simulation/firmware.h"
#include "tests/exploration/stepping_backend.h"

#include <memory>

/// How machines answer.
enum class Echo : std::uint8_t {
    normal,
    absent,
    early,      // before the send that it answers returns
    slow,       // but within the wait
    after_wait, // while the sequence is repeated
    much_later, // when the press is over
    doubled,
    wrong_1, // in its status byte
    wrong_2,
    wrong_3,
    split,    // by clocks inside it
    followed, // by a clock and a note
    overlong, // between system-exclusive data longer than the packet buffer
};

/// What can go wrong in a step.
enum class Fault : std::uint8_t {
    source_gone,
    destination_gone,
    device_gone,
    unplugged,
    back_at_the_end, // of the lists
    back_as_it_was,  // without any of its faults
    renamed,
    named_shorter,
    offline,
    offline_unknown,
    name_null,
    model_null,
    query_fails,      // the next one
    connection_fails, // the next one
    send_fails,       // the next one
    sends_fail,       // all of them
    sends_fail_with_low_byte_zero,
    twin_appears,  // a second machine of the same name
    other_appears, // one of another name
    stranger_gone, // without the machine there is nothing left then
    stray_echo,    // the echo, unasked
    stray_other,   // a message whose first two bytes differ from every one before
    stray_clock,
    stranger_echoes, // the instrument sends the echo
    echo_absent,     // this and those below: how machines answer from now on
    echo_early,
    echo_slow,
    echo_after_wait,
    echo_much_later,
    echo_doubled,
    echo_wrong_1,
    echo_wrong_2,
    echo_wrong_3,
    echo_split,
    echo_followed,
    echo_overlong,
};
inline constexpr unsigned fault_count = static_cast<unsigned>(Fault::echo_overlong) + 1;

[[nodiscard]] const char* to_string(Fault fault);

/// Machine 4AC5F4C4 and, after it in the lists, another instrument, on an embedded service in
/// manual time. What happens goes into the backend's journal.
class ExploredWorld {
public:
    /// `message` is what the press will send.
    ExploredWorld(EmbeddedBackend& service, SteppingBackend& backend, const Bytes& message);

    /// Makes a fault happen in the current step.
    void happen(Fault fault, const Step& step);
    /// Takes all machines away, and the faults with them.
    void clear();

    Echo echo = Echo::normal;
    /// Bytes that reached the instrument.
    Bytes strangers_bytes{};
    [[nodiscard]] MIDIObjectRef stranger() const { return stranger_; }
    /// Bytes that reached the machine since it was plugged in.
    [[nodiscard]] const Bytes& machines_bytes() const { return machine_.received; }
    /// What the machine made of them.
    [[nodiscard]] const Firmware& firmware() const { return machine_.firmware; }

private:
    struct Machine {
        EmbeddedObject look;
        Firmware firmware{};
        Bytes received{};
        MIDIObjectRef reference = 0; ///< 0: not plugged in
    };

    void look_different(Fault fault);
    void send_something(Fault fault, const Step& step);
    void plug(Machine& machine);
    void unplug(Machine& machine);
    void update();
    Machine& add(const std::string& name);
    void receive(Machine& machine, std::span<const std::uint8_t> messages);
    void answer(const Machine& machine, const MachineReply& reply);
    void emit(MIDIObjectRef object, const Bytes& bytes, const std::vector<Bytes>& heard,
              std::chrono::microseconds after);

    EmbeddedBackend& service_;
    SteppingBackend& backend_;
    const Bytes message_;
    std::vector<std::unique_ptr<Machine>> machines_{};
    Machine& machine_; ///< the first
    MIDIObjectRef stranger_;
};
