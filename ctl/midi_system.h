// SPDX-License-Identifier: MIT
#pragma once

#include "midi_service/midi_backend.h"
#include "setup/clock.h"
#include "setup/machine_list.h"

#include <optional>
#include <string>
#include <vector>

/// Another program with a place on the sequencer, or a card.
struct OtherClient {
    std::string name{};    ///< that it gave itself
    std::string program{}; ///< name of the program's process; empty: a card, or not to be seen
    int pid = -1;          ///< -1: the kernel's own, such as a card
};

/// Whether this is keyloft's window. It and keyloftctl do not know of each other's commands.
[[nodiscard]] bool is_window(const OtherClient& client);
/// The client in words: "aseqdump" (process 1234).
[[nodiscard]] std::string client_text(const OtherClient& client);

/// Other clients that are connected to a port.
struct Connections {
    std::vector<OtherClient> readers{}; ///< they get what the port sends
    std::vector<OtherClient> writers{}; ///< what they send goes to the port
};

/// What is wrong with the sequencer, and what helps: texts in lower case, without a full stop.
struct SystemTrouble {
    std::string sentence;
    std::string remedy;
};

/// The MIDI system that the commands work on: the computer's, or a simulated one. It tells what the
/// operations of the MIDI service do not. The calling thread.
class MidiSystem {
public:
    MidiSystem() = default;
    MidiSystem(const MidiSystem&) = delete;
    MidiSystem& operator=(const MidiSystem&) = delete;
    virtual ~MidiSystem() = default;

    /// Is installed behind the operations before a command starts.
    [[nodiscard]] virtual MidiBackend& backend() = 0;
    [[nodiscard]] virtual bool is_demo() const = 0;

    /// By the last call that needed the sequencer; nothing when it works.
    [[nodiscard]] virtual std::optional<SystemTrouble> trouble() const = 0;
    /// Where a port is; nothing when it is gone.
    [[nodiscard]] virtual std::optional<setup::PortAddress>
    address(MIDIEndpointRef endpoint) const = 0;
    /// Who is connected to a port, without this program.
    [[nodiscard]] virtual Connections connections(MIDIEndpointRef endpoint) const = 0;
    /// All clients but this program's own.
    [[nodiscard]] virtual std::vector<OtherClient> other_clients() const = 0;
    /// How many more programs can open the sequencer; nothing where there is no limit.
    [[nodiscard]] virtual std::optional<int> places_left() const = 0;

    /// Plays on simulated machines, when it is time to; says when to call it again.
    [[nodiscard]] virtual std::optional<setup::Time> play(setup::Time now) = 0;
};
