// SPDX-License-Identifier: MIT
#include "simulation/firmware.h"

#include <algorithm>

namespace {

constexpr std::uint8_t timing_clock = 0xF8;
constexpr unsigned burst = 6;
constexpr protocol::Message save_command = {0xAF, 0x7F, 0x7F};

/// Bytes of the message that a status byte opens. System-exclusive data and the undefined statuses
/// count as messages of one byte: the data bytes behind them are skipped.
std::size_t length_of(std::uint8_t status) {
    if (status == 0xF2)
        return 3;
    if (status == 0xF1 || status == 0xF3)
        return 2;
    if (status >= 0xF0)
        return 1;
    return (status & 0xE0) == 0xC0 ? 2 : 3;
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

Firmware::Firmware(MachineFaults faults, MappingTable saved)
    : faults_(faults), table_(saved), saved_(std::move(saved)) {}

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

std::optional<protocol::Message> Firmware::play(int part, int value) const {
    const auto mapping = table_.find({.part = part});
    if (mapping == table_.end() || value < 0 || value > protocol::highest_number)
        return std::nullopt;
    auto message = protocol::message_of(*mapping);
    message->back() = static_cast<std::uint8_t>(value);
    return message;
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
    // Running status: data bytes without a status belong to the last channel message's.
    length_ = message_[0] < 0xF0 ? 1 : 0;
    handle({message_.data(), whole}, answer);
}

void Firmware::begin(std::uint8_t status, MachineAnswer& answer) {
    if (status >= 0xF8) {
        // Real-time bytes may come in the middle of a message and leave it as it is.
        handle({&status, 1}, answer);
        return;
    }
    message_[0] = status;
    length_ = length_of(status) > 1 ? 1 : 0;
    // F7 is not a message: it ends the one that F0 began.
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

/// Follows the sequence by one message. True for the message at its end, the one that counts.
bool Firmware::advance(std::span<const std::uint8_t> message) {
    const Stage stage = stage_;
    stage_ = Stage::idle;
    if (message.size() != 3)
        return false;
    // A new burst begins a new sequence, even in the middle of another.
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

/// Saves or sets a mapping. False if the message means neither.
bool Firmware::apply(MachineAnswer& answer) {
    if (message_ == save_command) {
        saved_ = table_;
        answer.events.push_back({.kind = MachineEvent::Kind::save});
        return true;
    }
    const auto mapping = protocol::mapping_of(message_);
    if (!mapping)
        return false;
    table_.erase(*mapping); // the mapping that the part had so far
    table_.insert(*mapping);
    answer.events.push_back({.kind = MachineEvent::Kind::mapping, .mapping = *mapping});
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
    // On another channel than the message: a note of its own channel could pass for the echo.
    const auto channel = static_cast<std::uint8_t>((message_[0] & 0x0F) ^ 1);
    const auto on = static_cast<std::uint8_t>(0x90 | channel);
    const auto off = static_cast<std::uint8_t>(0x80 | channel);
    answer.replies.insert(answer.replies.end(), {{after, {timing_clock, 0, 0}, 1},
                                                 {after, {on, 60, 100}, 3},
                                                 reply,
                                                 {after, {timing_clock, 0, 0}, 1},
                                                 {after, {off, 60, 0}, 3}});
}
