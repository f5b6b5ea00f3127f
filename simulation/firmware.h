// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

/// What one hardware part (a key, knob or fader) sends.
struct KeyMapping {
    std::uint8_t type;       ///< 0x80 note off, 0x90 note on, 0xB0 control change, 0xE0 bend
    std::uint8_t channel;    ///< 1 to 16
    std::uint8_t controller; ///< 0 to 127
    bool operator==(const KeyMapping&) const = default;
};

/// The mappings by hardware part code, 0 to 127.
using MappingTable = std::map<std::uint8_t, KeyMapping>;

/// Faults that real cables and firmware have, each switched on by its number.
struct MachineFaults {
    static constexpr unsigned always = ~0U;
    unsigned silent = 0;     ///< so many echoes do not come
    unsigned slow = 0;       ///< so many echoes come `delay_ms` later
    unsigned delay_ms = 0;   ///< milliseconds
    unsigned wrong = 0;      ///< so many echoes have byte `wrong_byte` changed
    unsigned wrong_byte = 2; ///< 1 to 3
    unsigned chatter = 0;    ///< so many echoes come between clocks and notes of the machine's own
    unsigned vanish_after = 0; ///< the machine goes, once, with the n-th message it receives,
                               ///< which it does not read any more; 0: never
};

/// Something that the machine's owner would like to see.
struct MachineEvent {
    enum class Kind : std::uint8_t { mapping, save, power_cycle, vanish };
    Kind kind;
    std::uint8_t part = 0; ///< of a mapping
    KeyMapping mapping{};  ///< of a mapping
};

/// One message that the machine sends.
struct MachineReply {
    unsigned after_ms; ///< counted from the message it answers, at least 1: a USB frame
    std::array<std::uint8_t, 3> bytes;
    std::size_t length; ///< 1 to 3
};

/// What became of some bytes.
struct MachineAnswer {
    std::vector<MachineReply> replies{};
    std::vector<MachineEvent> events{};
};

/// The eight upper-case hexadecimal digits that the names of the machine with this code begin with.
[[nodiscard]] std::string machine_name(std::uint32_t code);

/// The machine's side of the configuration protocol. A message counts when it comes behind at least
/// six timing clocks in a row, a note on and a note off with the message's channel and data bytes.
/// A note off, note on, control change or bend then maps the part in its second data byte to its
/// type, channel and first data byte; AF 7F 7F saves. The machine echoes what counts. Running
/// status is understood, real-time bytes may come anywhere, also between the messages of a
/// sequence, and system-exclusive data are skipped. One thread.
class Firmware {
public:
    explicit Firmware(MachineFaults faults = {});

    /// Reads bytes as they come over the cable: any number, cut anywhere. A machine that has
    /// vanished reads nothing, and what it had still to send is lost.
    [[nodiscard]] MachineAnswer receive(std::span<const std::uint8_t> bytes);

    /// Goes back to the saved table and forgets a sequence that had begun. A machine that has
    /// vanished is back.
    [[nodiscard]] MachineEvent power_cycle();

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

    std::array<std::uint8_t, 3> message_{}; ///< the message that is being read, status first
    std::size_t length_ = 0;                ///< bytes of it so far; 0: data bytes belong to nothing
    unsigned clocks_ = 0;                   ///< timing clocks in a row
    Stage stage_ = Stage::idle;
    std::array<std::uint8_t, 3> note_on_{}; ///< the note on of the sequence
};
