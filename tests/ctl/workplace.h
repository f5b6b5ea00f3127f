// SPDX-License-Identifier: MIT
#pragma once

#include "ctl/commands.h"
#include "midi_service/embedded/embedded_backend.h"
#include "simulation/embedded_connection.h"

#include <functional>
#include <memory>
#include <string>
#include <sys/types.h>
#include <vector>

/// The embedded service as a computer's MIDI system: what would come from the sequencer is said by
/// the test.
class TestSystem final : public MidiSystem {
public:
    explicit TestSystem(EmbeddedBackend::Time time = EmbeddedBackend::Time::real) : backend_(time) {
        install_midi_backend(&backend_);
    }
    ~TestSystem() override;

    [[nodiscard]] EmbeddedBackend& backend() override { return backend_; }
    [[nodiscard]] bool is_demo() const override { return demo; }
    [[nodiscard]] std::optional<SystemTrouble> trouble() const override { return trouble_; }
    [[nodiscard]] std::optional<setup::PortAddress>
    address(MIDIEndpointRef endpoint) const override;
    [[nodiscard]] Connections connections(MIDIEndpointRef) const override { return connections_; }
    [[nodiscard]] std::vector<OtherClient> other_clients() const override { return clients_; }
    [[nodiscard]] std::optional<int> places_left() const override { return places_; }
    [[nodiscard]] std::optional<setup::Time> play(setup::Time) override { return std::nullopt; }

    /// A port at 24:0, 25:0 and so on, in the order of these calls.
    MIDIObjectRef attach(EmbeddedObject object, EmbeddedBackend::Receiver receiver = {});
    /// A simulated machine there.
    EmbeddedMachine& add_machine(std::uint32_t code, MachineFaults faults = {});

    bool demo = false;
    std::optional<SystemTrouble> trouble_{};
    Connections connections_{};
    std::vector<OtherClient> clients_{};
    std::optional<int> places_ = 100;
    std::function<void()> when_asked{}; ///< for an address: something else happens just then

private:
    EmbeddedBackend backend_;
    std::vector<MIDIObjectRef> ports_{};
    std::vector<std::unique_ptr<EmbeddedMachine>> machines_{};
};

/// Another process that takes the lock for a port and keeps it until this is destroyed.
class LockHolder {
public:
    /// Throws when it cannot be started or does not get the lock.
    LockHolder(const std::string& folder, const std::string& address);
    ~LockHolder();
    LockHolder(const LockHolder&) = delete;
    LockHolder& operator=(const LockHolder&) = delete;

    [[nodiscard]] pid_t process() const { return process_; }

private:
    pid_t process_ = -1;
};

/// What a command printed and ended with.
struct CommandResult {
    ExitStatus status;
    std::string output;
    std::string errors;
    std::optional<int> stopped_by;
};

/// Runs a command on a system; in text unless the request says JSON. Times of confirmations are
/// replaced by "N ms", times of sums by "N s", and times of day by "TIME".
[[nodiscard]] CommandResult run_command(const Request& request, MidiSystem& system,
                                        StopSignals* signals = nullptr);
