// SPDX-License-Identifier: MIT
#pragma once

#include "tests/exploration/stepping_backend.h"

#include <array>
#include <map>
#include <set>

/// What the program has to remember from press to press.
struct PressMemory {
    using NameBuffer = std::array<char, 64>;
    NameBuffer endpoint{}, name{}, model{};
    std::string current{};                  ///< name of the current machine
    std::array<std::uint8_t, 2> expected{}; ///< the two bytes of the echo that are compared
    std::array<std::uint8_t, 64> packet{};  ///< what packets left behind
    bool confirmed = false;                 ///< the flag
    std::set<MIDIObjectRef> connected{};    ///< sources, to the input port
    std::chrono::microseconds now{0};

    struct Message {
        MIDIObjectRef from;
        Bytes bytes;
    };
    std::multimap<std::chrono::microseconds, Message> on_the_way{};
};

/// The expected outcome of a hook, a naming or a press, computed from the service's answers.
class ExpectedPress {
public:
    ExpectedPress(PressMemory& memory, std::span<const Event> journal)
        : memory_(memory), journal_(journal) {}

    void appear();
    /// The naming of a machine of the family by its code.
    void name_machine(unsigned machine);
    /// `type_line` is printed for the message type, `menu` is the machine menu's text, `bytes` the
    /// message.
    void apply(const std::string& type_line, const std::string& menu, const Bytes& bytes);
    void save();

    std::string printed{};
    unsigned result = 0;
    std::string title{};
    std::string message{};
    std::string menu{};
    unsigned sequences = 0;
    MIDIObjectRef destination = 0; ///< of the sequences; 0 if there was none
    /// The first step that was not as expected.
    std::string complaint{};

private:
    using NameBuffer = PressMemory::NameBuffer;

    [[nodiscard]] bool comes(StepKind kind) const;
    const Event& take(StepKind kind);
    void happen();
    void hear(const Bytes& bytes);
    void complain(const std::string& what);

    void read(StepKind property, MIDIObjectRef object, NameBuffer& buffer);
    [[nodiscard]] bool carries_current(const NameBuffer& buffer) const;
    [[nodiscard]] bool connect();
    void connect_to(MIDIObjectRef source);
    [[nodiscard]] bool is_online(MIDIObjectRef endpoint);
    void choose(const std::vector<unsigned>& present);
    [[nodiscard]] unsigned command(const Bytes& bytes);
    [[nodiscard]] int scan();
    [[nodiscard]] std::pair<std::uint32_t, MIDIObjectRef> look_up();
    [[nodiscard]] unsigned send_confirmed(const Bytes& bytes);
    [[nodiscard]] OSStatus sequence(const Bytes& bytes);
    [[nodiscard]] OSStatus send(StepKind kind, const Bytes& bytes);
    void pause(StepKind kind, unsigned microseconds);
    void finish();

    PressMemory& memory_;
    std::span<const Event> journal_;
    std::size_t at_ = 0;
};
