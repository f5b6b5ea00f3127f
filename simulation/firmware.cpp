// SPDX-License-Identifier: MIT
#include "simulation/firmware.h"

#include <algorithm>
#include <cstdio>

namespace {

constexpr std::uint8_t timing_clock = 0xF8;
constexpr unsigned burst = 6;
constexpr std::array<std::uint8_t, 3> save_command = {0xAF, 0x7F, 0x7F};

/// Bytes of the message that a status byte opens. 1 also for what is skipped up to the next status:
/// the ends of system-exclusive data and the undefined ones.
std::size_t length_of(std::uint8_t status) {
    if (status == 0xF2)
        return 3;
    if (status == 0xF1 || status == 0xF3)
        return 2;
    if (status >= 0xF0)
        return 1;
    return (status & 0xE0) == 0xC0 ? 2 : 3;
}

bool is_mapping_type(unsigned type) {
    return type == 0x80 || type == 0x90 || type == 0xB0 || type == 0xE0;
}

/// Uses up one occurrence of a fault, if there is one left.
bool take(unsigned& count) {
    if (count == 0)
        return false;
    if (count != MachineFaults::always)
        --count;
    return true;
}

} // namespace

std::string machine_name(std::uint32_t code) {
    std::array<char, 9> digits{};
    std::snprintf(digits.data(), digits.size(), "%08X", static_cast<unsigned>(code));
    return digits.data();
}

Firmware::Firmware(MachineFaults faults) : faults_(faults) {}

MachineAnswer Firmware::receive(std::span<const std::uint8_t> bytes) {
    MachineAnswer answer;
    for (const std::uint8_t byte : bytes) {
        if (vanished_)
            break;
        read(byte, answer);
    }
    return answer;
}

MachineEvent Firmware::power_cycle() {
    table_ = saved_;
    vanished_ = false;
    length_ = 0;
    clocks_ = 0;
    stage_ = Stage::idle;
    return {.kind = MachineEvent::Kind::power_cycle};
}

void Firmware::read(std::uint8_t byte, MachineAnswer& answer) {
    if (byte >= 0x80) {
        begin(byte, answer);
        return;
    }
    if (length_ == 0)
        return;
    message_[length_++] = byte;
    const std::size_t whole = length_of(message_[0]);
    if (length_ < whole)
        return;
    // The status of a channel message stays for data bytes that come without one.
    length_ = message_[0] < 0xF0 ? 1 : 0;
    handle({message_.data(), whole}, answer);
}

void Firmware::begin(std::uint8_t status, MachineAnswer& answer) {
    if (status >= 0xF8) {
        // A real-time message does not touch the one that it comes in the middle of.
        handle({&status, 1}, answer);
        return;
    }
    message_[0] = status;
    length_ = length_of(status) > 1 ? 1 : 0;
    // The end of system-exclusive data belongs to the message that its beginning stood for.
    if (length_ == 0 && status != 0xF7)
        handle({message_.data(), 1}, answer);
}

void Firmware::handle(std::span<const std::uint8_t> message, MachineAnswer& answer) {
    if (faults_.vanish_after != 0 && --faults_.vanish_after == 0) {
        vanished_ = true;
        answer.replies.clear();
        answer.events.push_back({.kind = MachineEvent::Kind::vanish});
        return;
    }
    if (message[0] >= timing_clock) {
        if (message[0] == timing_clock)
            clocks_ = std::min(clocks_ + 1, burst);
        return;
    }
    if (advance(message) && apply(answer))
        echo(answer);
    clocks_ = 0;
}

/// Takes the sequence one message further; whether the message is the one that was announced.
bool Firmware::advance(std::span<const std::uint8_t> message) {
    const Stage stage = stage_;
    stage_ = Stage::idle;
    if (message.size() != 3)
        return false;
    // A new burst begins a new sequence, whatever had become of the one before it.
    if (clocks_ == burst && (message[0] & 0xF0) == 0x90) {
        std::ranges::copy(message, note_on_.begin());
        stage_ = Stage::note_on;
        return false;
    }
    const bool agrees = (message[0] & 0x0F) == (note_on_[0] & 0x0F) && message[1] == note_on_[1] &&
                        message[2] == note_on_[2];
    if (stage == Stage::note_on && agrees && (message[0] & 0xF0) == 0x80)
        stage_ = Stage::note_off;
    return stage == Stage::note_off && agrees;
}

/// Does what the message says; whether it says anything.
bool Firmware::apply(MachineAnswer& answer) {
    if (message_ == save_command) {
        saved_ = table_;
        answer.events.push_back({.kind = MachineEvent::Kind::save});
        return true;
    }
    const unsigned type = message_[0] & 0xF0U;
    if (!is_mapping_type(type))
        return false;
    const KeyMapping mapping = {.type = static_cast<std::uint8_t>(type),
                                .channel = static_cast<std::uint8_t>((message_[0] & 0x0F) + 1),
                                .controller = message_[1]};
    table_[message_[2]] = mapping;
    answer.events.push_back(
        {.kind = MachineEvent::Kind::mapping, .part = message_[2], .mapping = mapping});
    return true;
}

void Firmware::echo(MachineAnswer& answer) {
    if (take(faults_.silent))
        return;
    const unsigned after = 1 + (take(faults_.slow) ? faults_.delay_ms : 0);
    MachineReply reply = {.after_ms = after, .bytes = message_, .length = 3};
    if (take(faults_.wrong)) // one bit, so that the byte stays a status or a data byte
        reply.bytes.at(faults_.wrong_byte - 1) ^= 1;
    if (!take(faults_.chatter)) {
        answer.replies.push_back(reply);
        return;
    }
    // On another channel than the message, or a note could pass for its echo.
    const auto channel = static_cast<std::uint8_t>((message_[0] & 0x0F) ^ 1);
    const auto on = static_cast<std::uint8_t>(0x90 | channel);
    const auto off = static_cast<std::uint8_t>(0x80 | channel);
    answer.replies.insert(answer.replies.end(), {{after, {timing_clock, 0, 0}, 1},
                                                 {after, {on, 60, 100}, 3},
                                                 reply,
                                                 {after, {timing_clock, 0, 0}, 1},
                                                 {after, {off, 60, 0}, 3}});
}
