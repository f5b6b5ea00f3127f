// SPDX-License-Identifier: MIT
#pragma once

#include "protocol/mapping.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <span>
#include <vector>

struct ByPart {
    bool operator()(const protocol::KeyMapping& one, const protocol::KeyMapping& other) const {
        return one.part < other.part;
    }
};

/// The mappings that a machine holds, one for each mapped part, in ascending order of the parts.
using MappingTable = std::set<protocol::KeyMapping, ByPart>;

/// The faults of a machine, as real cables and firmware have them. Each counts the echoes that it
/// spoils: 0 is none, `always` is all.
struct MachineFaults {
    static constexpr unsigned always = ~0U;
    unsigned silent = 0;       ///< suppress the next n echoes
    unsigned slow = 0;         ///< delay the next n echoes by `delay_ms`
    unsigned delay_ms = 0;     ///< milliseconds
    unsigned wrong = 0;        ///< change byte `wrong_byte` of the next n echoes
    unsigned wrong_byte = 2;   ///< 1 to 3
    unsigned chatter = 0;      ///< send clocks and notes around the next n echoes
    unsigned vanish_after = 0; ///< the n-th message received unplugs the machine, unread, once;
                               ///< 0: never
};

/// Something that the machine's owner would like to see.
struct MachineEvent {
    enum class Kind : std::uint8_t { mapping, save, power_cycle, vanish };
    Kind kind;
    protocol::KeyMapping mapping{}; ///< only of the kind `mapping`
};

/// One message that the machine sends.
struct MachineReply {
    unsigned after_ms; ///< counted from the message it answers, at least 1: a USB frame
    protocol::Message bytes;
    std::size_t length; ///< 1 to 3
};

/// What the machine makes of the bytes that it read.
struct MachineAnswer {
    std::vector<MachineReply> replies{};
    std::vector<MachineEvent> events{};
};

/// The machine's side of the configuration protocol. A message counts when it comes behind at least
/// six timing clocks in a row, a note on and a note off with the message's channel and data bytes.
/// It then sets a mapping, or saves if it is AF 7F 7F, and the machine echoes it. Running status is
/// understood, real-time bytes may come anywhere, also between the messages of a sequence, and
/// system-exclusive data are skipped. One thread.
///
/// This is the judge of the programs that send the sequence. It therefore recognises the sequence
/// with code of its own instead of comparing with what those programs are built from.
class Firmware {
public:
    /// `saved`: the mappings that the machine starts with.
    explicit Firmware(MachineFaults faults = {}, MappingTable saved = {});

    /// Reads any number of bytes from the cable, cut anywhere. A machine that has vanished reads
    /// nothing and sends nothing.
    [[nodiscard]] MachineAnswer receive(std::span<const std::uint8_t> bytes);

    /// Goes back to the saved table and forgets a sequence that had begun. A machine that has
    /// vanished is back.
    [[nodiscard]] MachineEvent power_cycle();

    /// What a part sends when somebody moves it: the status and first data byte that it is mapped
    /// to, then `value`, 0 to 127. Nothing for another value, and for a part without a mapping.
    [[nodiscard]] std::optional<protocol::Message> play(int part, int value) const;

    [[nodiscard]] const MappingTable& table() const { return table_; }
    [[nodiscard]] const MappingTable& saved_table() const { return saved_; }
    [[nodiscard]] bool vanished() const { return vanished_; }

private:
    /// How far a sequence has come.
    enum class Stage : std::uint8_t { idle, note_on, note_off };

    void read(std::uint8_t byte, MachineAnswer& answer);
    void begin(std::uint8_t status, MachineAnswer& answer);
    void handle(std::span<const std::uint8_t> message, MachineAnswer& answer);
    [[nodiscard]] bool advance(std::span<const std::uint8_t> message);
    [[nodiscard]] bool apply(MachineAnswer& answer);
    void echo(MachineAnswer& answer);

    MachineFaults faults_;
    MappingTable table_;
    MappingTable saved_;
    bool vanished_ = false;

    protocol::Message message_{}; ///< the message that is being read, status first
    std::size_t length_ = 0;      ///< bytes of it so far; 0: data bytes belong to nothing
    unsigned clocks_ = 0;         ///< timing clocks in a row
    Stage stage_ = Stage::idle;
    protocol::Message note_on_{}; ///< the note on of the sequence
};
